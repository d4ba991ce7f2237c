// What a cloud of points takes: the soft band of its light, the expansion that makes the light separable, and the plan
// of both methods with error bound and cost. Nothing here knows how samples are stored: an axis of samples is a
// coordinate, a pitch and a count.
//
// The light of a point at (x0, y0, z0), with f = (u, v) in cycles per metre and w = sqrt(1 / lambda^2 - u^2 - v^2):
//
//   U(x, y) = s i amplitude exp(i phase) integral E(u) E(v) exp(2 pi i (u (x - x0) + v (y - y0) - w z0)) / w du dv
//
// with s = +1 behind the plane (z0 < 0) and -1 in front; without E that is exp(+-i k r) / r times the amplitude. E is
// CloudEdge() of the axis. All coordinates are local to the plane of the samples.
#ifndef LML_CLOUDPLAN_H
#define LML_CLOUDPLAN_H

#include "LmlCloud.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace LumoraLib::detail
{
/// The soft band of one axis: weight 1 up to `flat`, 0 from `end` on, in cycles per metre.
struct CloudBand
{
    double flat;
    double end;
};

/// The weight of the band at frequency u: erfc(2.4 s / sqrt(1 - 0.98 s^2)) / 2, s from -1 at `flat` to 1 at `end`.
double CloudEdge(double u, const CloudBand& band);

/// One axis of samples.
struct CloudAxis
{
    std::int64_t count;
    double pitch;
    double first; ///< coordinate of sample 0
    CloudBand band;
    double Last() const { return first + static_cast<double>(count - 1) * pitch; }
    double Middle() const { return first + static_cast<double>(count / 2) * pitch; }
};

/// Samples and light that a plan is made for.
struct CloudScene
{
    double lambda;
    CloudAxis x;
    CloudAxis y;
    double tolerance;
    double edge;
    std::uint64_t memory; ///< bytes that the working memory may have
};

/// An axis whose band follows from its pitch: the sampling's band, at most kCloudSine / lambda.
CloudAxis MakeCloudAxis(std::int64_t count, double pitch, double first, double lambda, double edge);

/// Largest direction sine on an axis: both together stay inside the circle of propagating light, where 1 / w and the
/// separable terms are tame.
inline constexpr double kCloudSine = 0.65;

/// What a scan of the points tells, all in local coordinates, of those whose light reaches the samples.
struct CloudExtent
{
    std::int64_t points = 0;
    double xMin, xMax, yMin, yMax, zMin, zMax;
    double nearest; ///< smallest |z|
};

/// How far from the foot of a point its light reaches on an axis, and the tail of the soft edge beyond that.
double CloudReach(const CloudScene& scene, const CloudAxis& axis, double z);
double CloudTail(const CloudScene& scene, const CloudAxis& axis);
/// Width around a geometric edge of light at distance z that counts as lit, a few times sqrt(lambda z).
double CloudFringe(const CloudScene& scene, double z);
/// Largest lateral part of a direction with sines a and b on the axes, as a tangent on the first.
double CloudTangent(double a, double b);

/// w(u, v) = w(u, vc) + w(uc, v) - w(uc, vc) + corner A(u) B(v) on a rectangle of frequencies, exact on the lines u =
/// uc, ue and v = vc, ve; A and B are as small as they can be where uc and vc lie in the middle of w's range.
class CloudCross
{
public:
    CloudCross(double lambda, double uLo, double uHi, double vLo, double vHi);
    double W(double u, double v) const;
    /// Both are 1 at the ends (ue, ve); on equal bands they are one function.
    double A(double u) const { return scale_ * Rest(u, ve_); }
    double B(double v) const { return scale_ * Rest(ue_, v); }
    /// What A B is to be multiplied by, in cycles per metre.
    double Corner() const { return corner_; }
    /// Relative growth of 1 / w against the separable w0 / (w(u, vc) w(uc, v)), per unit of A B.
    double Growth() const { return growth_; }
    double Uc() const { return uc_; }
    double Vc() const { return vc_; }
    double Ve() const { return ve_; }
    double Ue() const { return ue_; }
    double Scale() const { return scale_; }
    double W0() const { return w0_; }
    /// Bound of the relative error of light at depth difference z with `terms` terms: rms over the band.
    double Error(double z, int terms) const;
    /// The part of it that no number of terms takes away.
    double Residue(double z) const;

private:
    double Rest(double u, double v) const { return (W(u, v) - W(uc_, v)) - (W(u, vc_) - w0_); }

    double inverse2_; // 1 / lambda^2
    double uLo_, uHi_, vLo_, vHi_;
    double uc_, vc_, ue_, ve_;
    double w0_ = 0.0;
    double corner_ = 0.0;
    double scale_ = 0.0; // 1 / corner
    double growth_ = 0.0;
    double largest_ = 0.0; // of |corner A B|
    double residue_ = 0.0; // rms of what A B leaves
};

/// Terms that the kernels are built for at most.
inline constexpr int kCloudTerms = 16;

/// One axis of the slab method: period of the spectrum, grid of the planes, band.
struct SlabAxis
{
    CloudBand band;     ///< the widest that any slab carries
    double period;      ///< metres
    std::size_t output; ///< samples of the period at the axis's pitch
    std::size_t grid;   ///< samples of the period on the planes
    double step;        ///< pitch on the planes
    std::int64_t most;  ///< frequencies -most ... most
    std::int64_t first; ///< grid index of the first sample that a point may touch
    std::size_t count;  ///< grid samples that points may touch
    std::size_t Bands() const { return static_cast<std::size_t>(2 * most + 1); }
    double need; ///< farthest sample from a point
    double free; ///< farthest that light may go without coming round onto a sample
};

struct SlabPlan
{
    bool possible = false;
    int planes = 0;
    int terms = 0;
    int kernel = 0; ///< width of the spreading kernel in grid samples
    int degree = 0; ///< of the polynomials in the shift from a grid point
    double depth = 0.0;
    SlabAxis x;
    SlabAxis y;
    int panels = 1; ///< parts of the spectrum, one after another, to keep within the memory
    std::uint64_t memory = 0;
    double seconds = 0.0;
    double error = 0.0;
    int width = 0;
};

/// The band that a plane may carry whose points lie up to `far` from the samples: light that lands on no sample but
/// might come round onto one is left out. `other` is the end of the other axis's band.
CloudBand CloudPlaneBand(const CloudScene& scene, const SlabAxis& slab, const CloudAxis& axis, double other,
                         double far);

SlabPlan PlanSlabs(const CloudScene& scene, const CloudExtent& extent);

struct DirectPlan
{
    bool possible = false;
    std::int64_t blockX = 0;
    std::int64_t blockY = 0;
    int terms = 0;
    std::uint64_t memory = 0;
    double seconds = 0.0;
    double error = 0.0;
};

/// Longest transform of a block's row, and terms of a block that are summed in one visit.
inline constexpr std::size_t kDirectLength = std::size_t{1} << 15;
inline constexpr std::size_t kDirectTerms = 48;
/// Floats that a thread works with.
std::size_t DirectFloats(std::int64_t blockX, std::int64_t blockY);

/// The frequencies with which a point lights a block of samples, and what one row of it takes.
struct DirectAxis
{
    CloudBand band;      ///< of the axis
    double lo, hi;       ///< frequencies that reach the block
    double loEnd, hiEnd; ///< and where the weight has fallen to 0
    std::size_t length;  ///< of the transform
};

/// False where no light arrives. `dx` and `dy` are the block's first and last sample against the point.
bool DirectSpan(const CloudScene& scene, const double* dx, const double* dy, double z, DirectAxis& x, DirectAxis& y);
/// Terms that a block takes from a point; 0 where more than kCloudTerms would be needed.
int DirectTerms(const CloudScene& scene, const CloudCross& cross, double z);

/// A plan from a few of the points, `sample` of `extent.points`.
DirectPlan PlanDirect(const CloudScene& scene, const CloudExtent& extent, const std::vector<CloudPoint>& sample);

/// Smallest length c 2^m of at least n, c = 1, 3, 5, 7 or 9: what CloudFft takes.
std::size_t CloudLength(double n);
} // namespace LumoraLib::detail

#endif
