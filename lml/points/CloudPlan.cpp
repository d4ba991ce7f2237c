// What a cloud of points takes: the soft band of its light, the separable expansion, plans of both methods.
#include "points/CloudPlan.h"
#include "base/Constants.h"

#include "base/Parallel.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace LumoraLib::detail
{
namespace
{

// Seconds of one core that the work of both methods takes, fitted once to runs of 2^16 to 2^24 samples. They choose the
// method and the division of the work, and so they must not depend on the processor: samples would.
constexpr double kSecondsTransform = 0.9e-9; // per sample of a transform along a row, with its moves
constexpr double kSecondsRadix = 0.13e-9;    // per sample and odd radix, of lengths that are no power of two
constexpr double kSecondsColumn = 0.8e-9;    // per sample that is fetched from a column besides
constexpr double kSecondsTurn = 1.3e-9;      // per frequency that is turned to the field's plane
constexpr double kSecondsStart = 1.0e-3;     // tables of a run
constexpr double kSecondsPoint = 150e-9;     // per point: sorting, its place, its amplitude
constexpr double kSecondsProfile = 2.0e-9;   // per sample and term of a point's row and column
constexpr double kSecondsSpread = 0.2e-9;    // per sample of a point's patch,
constexpr double kSecondsTerm = 0.12e-9;     // and per term
constexpr double kSecondsTable = 1.5e-9;     // per sample of the table's transforms
constexpr double kSecondsDirect = 0.075e-9;  // per sample and term of a block
constexpr double kSecondsAxis = 4.0e-9;      // per frequency of a block's row or column,
constexpr double kSecondsAxisTerm = 1.5e-9;  // and per term
constexpr double kSecondsVisit = 1.2e-6;     // per point and block
constexpr double kSecondsDesk = 30e-6;       // per run of direct sums
constexpr double kSecondsAdd = 0.6e-9;       // per sample of the field, once

// Share of a fringe over which light keeps its full weight: a band that falls closer to a sample's own direction shows.
constexpr double kFlatFringe = 0.25;

double Square(double v)
{
    return v * v;
}

double Power(double v, int n)
{
    double p = 1.0;
    for (; n > 0; --n)
        p *= v;
    return p;
}

double Factorial(int n)
{
    double f = 1.0;
    for (int i = 2; i <= n; ++i)
        f *= i;
    return f;
}

double Log10Inverse(double tolerance)
{
    return -std::log10(tolerance);
}

double TransformSeconds(std::size_t n)
{
    std::size_t radix = n;
    while (radix % 2 == 0)
        radix /= 2;
    return static_cast<double>(n) * (kSecondsTransform + (radix > 1 ? kSecondsRadix * static_cast<double>(radix) : 0));
}
} // namespace

double CloudEdge(double u, const CloudBand& band)
{
    u = std::abs(u);
    if (u <= band.flat)
        return 1.0;
    if (u >= band.end)
        return 0.0;
    const double s = 2.0 * (u - band.flat) / (band.end - band.flat) - 1.0;
    return 0.5 * std::erfc(2.4 * s / std::sqrt(1.0 - 0.98 * s * s));
}

CloudAxis MakeCloudAxis(std::int64_t count, double pitch, double first, double lambda, double edge)
{
    const double end = std::min(0.5 / pitch, kCloudSine / lambda);
    return {count, pitch, first, {end * (1.0 - edge), end}};
}

double CloudTangent(double a, double b)
{
    return a / std::sqrt(std::max(1.0 - a * a - b * b, 1e-3));
}

double CloudReach(const CloudScene& scene, const CloudAxis& axis, double z)
{
    const CloudAxis& other = &axis == &scene.x ? scene.y : scene.x;
    return std::abs(z) * CloudTangent(scene.lambda * axis.band.end, scene.lambda * other.band.end);
}

// The edge is close to a step smoothed by a Gaussian of sigma 0.147 (end - flat): its tail falls with the transform of
// that Gaussian.
double CloudTail(const CloudScene& scene, const CloudAxis& axis)
{
    return 1.1 * std::sqrt(std::log(1.0 / scene.tolerance) / 0.426) / (axis.band.end - axis.band.flat);
}

double CloudFringe(const CloudScene& scene, double z)
{
    return (2.6 + 1.0 * Log10Inverse(scene.tolerance)) * std::sqrt(scene.lambda * std::abs(z));
}

std::size_t CloudLength(double n)
{
    constexpr std::array<std::size_t, 5> radices = {1, 3, 5, 7, 9};
    std::size_t best = 0;
    for (const std::size_t radix : radices)
    {
        std::size_t length = radix * 16;
        while (static_cast<double>(length) < n && length < (std::size_t{1} << 40))
            length *= 2;
        if (best == 0 || length < best)
            best = length;
    }
    return best;
}

// ------------------------------------------------------------------------------------------------------- expansion

namespace
{
/// A frequency in the middle of w's range over [lo, hi], and the end that is farther from it.
void Middle(double lo, double hi, double& middle, double& end)
{
    const double far = std::max(std::abs(lo), std::abs(hi));
    const double near = lo <= 0.0 && hi >= 0.0 ? 0.0 : std::min(std::abs(lo), std::abs(hi));
    const double sign = std::abs(hi) >= std::abs(lo) ? 1.0 : -1.0;
    middle = sign * std::sqrt(Square(near) + 0.45 * (Square(far) - Square(near)));
    end = sign * far;
}
} // namespace

CloudCross::CloudCross(double lambda, double uLo, double uHi, double vLo, double vHi)
    : inverse2_(1.0 / (lambda * lambda)), uLo_(uLo), uHi_(uHi), vLo_(vLo), vHi_(vHi)
{
    Middle(uLo, uHi, uc_, ue_);
    Middle(vLo, vHi, vc_, ve_);
    w0_ = W(uc_, vc_);
    corner_ = Rest(ue_, ve_);
    if (corner_ == 0.0)
        return;
    scale_ = 1.0 / corner_;
    growth_ = W(ue_, vc_) * W(uc_, ve_) / (w0_ * W(ue_, ve_)) - 1.0;
    constexpr int kGrid = 7;
    double sum = 0.0;
    double a[kGrid];
    double b[kGrid];
    for (int n = 0; n < kGrid; ++n)
    {
        const double t = (n + 0.5) / kGrid;
        a[n] = A(uLo + t * (uHi - uLo));
        b[n] = B(vLo + t * (vHi - vLo));
        largest_ = std::max(largest_, std::abs(a[n]));
    }
    double largestB = 0.0;
    for (int j = 0; j < kGrid; ++j)
    {
        largestB = std::max(largestB, std::abs(b[j]));
        for (int i = 0; i < kGrid; ++i)
            sum += Square(Rest(uLo + (i + 0.5) / kGrid * (uHi - uLo), vLo + (j + 0.5) / kGrid * (vHi - vLo)) -
                          corner_ * a[i] * b[j]);
    }
    largest_ *= largestB * std::abs(corner_);
    residue_ = std::sqrt(sum / (kGrid * kGrid));
}

double CloudCross::W(double u, double v) const
{
    return std::sqrt(std::max(inverse2_ - u * u - v * v, 1e-3 * inverse2_));
}

// The first term left out is (2 pi z A B)^R / R!. A and B fall about evenly between their ends, which makes the rms of
// their powers 1 / (2 R + 1) of the largest.
double CloudCross::Error(double z, int terms) const
{
    const double left = Power(kTwoPi * std::abs(z) * largest_, terms) / Factorial(terms) / (2 * terms + 1);
    return std::hypot(left, Residue(z));
}

double CloudCross::Residue(double z) const
{
    return kTwoPi * std::abs(z) * residue_;
}

// ----------------------------------------------------------------------------------------------------------- slabs

CloudBand CloudPlaneBand(const CloudScene& scene, const SlabAxis& slab, const CloudAxis& axis, double other, double far)
{
    CloudBand band = axis.band;
    if (slab.free >= CloudReach(scene, axis, far) + CloudTail(scene, axis))
        return band;
    // The light of one frequency lands farther out the more of the other axis's frequency it has.
    const double tangent = slab.free / far;
    const double cosine = 1.0 - Square(scene.lambda * other);
    band.end = std::min(band.end, tangent * std::sqrt(cosine / (1.0 + tangent * tangent)) / scene.lambda);
    const double right = slab.need + kFlatFringe * CloudFringe(scene, far);
    band.flat = std::min({band.flat, right / std::hypot(right, far) / scene.lambda, 0.98 * band.end});
    return band;
}

namespace
{
/// The share of the tolerance that each of the approximations may take.
constexpr double kShare = 0.3;

/// Extent of an axis for slabs of this depth: what must be right, what may be lit, and the period for both.
SlabAxis MakeSlabAxis(const CloudScene& scene, const CloudAxis& axis, const CloudExtent& e, double depth)
{
    const bool isX = &axis == &scene.x;
    const double lo = isX ? e.xMin : e.yMin;
    const double hi = isX ? e.xMax : e.yMax;
    const double far = std::max(std::abs(e.zMin), std::abs(e.zMax));
    SlabAxis s{};
    s.band = axis.band;
    s.need = std::max(axis.Last() - lo, hi - axis.first);
    // A slab's light is limited by its farthest point, and its nearest must still light all that it should.
    const double tail = CloudTail(scene, axis);
    const double wide = depth > 0.0 ? std::min(far, e.nearest + depth) : far;
    const double stretch = std::max(far / std::max(far - depth, 1e-3 * far), wide / std::max(e.nearest, 1e-3 * wide));
    double free = 0.0;
    for (const double z : {far, wide})
        free = std::max(free, std::min(CloudReach(scene, axis, z) + tail,
                                       (s.need + CloudFringe(scene, z)) * std::min(stretch, 1e3)));
    s.free = free;
    // The points themselves and what they cover on their planes have to fit too.
    const double slope = CloudTangent(scene.lambda * s.band.end, 0.0);
    s.period = std::max(s.need + free, (hi - lo) + 1.5 * depth * slope + 48 * axis.pitch);
    s.output = CloudLength(std::max(s.period / axis.pitch, static_cast<double>(axis.count)));
    s.period = static_cast<double>(s.output) * axis.pitch;
    s.free = s.period - s.need;
    return s;
}

/// Width of a spreading kernel whose images stay below the tolerance.
int KernelWidth(double tolerance, double oversampling)
{
    const double rate = kTwoPi / 2.0 * std::sqrt(1.0 - 1.0 / oversampling);
    return std::clamp(static_cast<int>(std::ceil(std::log(2.0 / tolerance) / rate)), 4, 16);
}

/// Band, grid and reach on the planes, when the period is known.
void MakeSlabGrid(const CloudScene& scene, const CloudAxis& axis, const CloudExtent& e, double depth, SlabAxis& s,
                  const SlabAxis& other, double oversampling)
{
    const bool isX = &axis == &scene.x;
    // All slabs but the nearest carry less.
    const double far = std::min(std::max(std::abs(e.zMin), std::abs(e.zMax)), e.nearest + depth);
    s.band = CloudPlaneBand(scene, s, axis, other.band.end, std::max(far, 1e-9));
    s.most = static_cast<std::int64_t>(std::floor(s.band.end * s.period));
    s.most = std::max<std::int64_t>(1, std::min<std::int64_t>(s.most, static_cast<std::int64_t>(s.output / 2) - 1));
    s.grid = CloudLength(std::max(oversampling * 2.0 * s.band.end * s.period, 64.0));
    s.step = s.period / static_cast<double>(s.grid);
    const double lo = (isX ? e.xMin : e.yMin) - axis.Middle();
    const double hi = (isX ? e.xMax : e.yMax) - axis.Middle();
    const double half = 0.5 * depth * CloudTangent(scene.lambda * s.band.end, 0.7 * scene.lambda * other.band.end);
    const double touched = std::ceil(half / s.step) + 2.5 * KernelWidth(scene.tolerance, oversampling) + 6.0;
    s.first = static_cast<std::int64_t>(std::floor(lo / s.step) - touched);
    s.count = static_cast<std::size_t>(static_cast<std::int64_t>(std::ceil(hi / s.step) + touched) - s.first + 1);
    s.count = (s.count + 7) / 8 * 8;
}

struct SlabShape
{
    SlabAxis x;
    SlabAxis y;
    bool fits = false;
};

SlabShape ShapeOf(const CloudScene& scene, const CloudExtent& e, double depth)
{
    SlabShape s;
    s.x = MakeSlabAxis(scene, scene.x, e, depth);
    s.y = MakeSlabAxis(scene, scene.y, e, depth);
    constexpr double kOversampling = 1.25;
    constexpr std::size_t kLongest = std::size_t{9} << 14;
    if (s.x.output > kLongest || s.y.output > kLongest)
        return s; // before lengths are counted in samples
    MakeSlabGrid(scene, scene.x, e, depth, s.x, s.y, kOversampling);
    MakeSlabGrid(scene, scene.y, e, depth, s.y, s.x, kOversampling);
    s.fits = true;
    for (const SlabAxis* a : {&s.x, &s.y})
        s.fits = s.fits && a->grid <= kLongest && a->count <= a->grid;
    return s;
}

/// Bytes of the spectrum, of the rows on their way to it and of the way back, in `panels` parts.
std::uint64_t SlabBytes(const CloudScene& scene, const SlabShape& s, int panels)
{
    const double panel = std::ceil(static_cast<double>(s.x.Bands()) / panels);
    const double rows = static_cast<double>(s.y.count) * panel;
    const double back = static_cast<double>(scene.y.count) * static_cast<double>(s.x.Bands());
    const double spectrum = static_cast<double>(s.y.Bands()) * panel;
    const double samples = spectrum + (panels == 1 ? std::max(rows, back) : rows + back);
    return static_cast<std::uint64_t>(8.0 * samples);
}

/// What the threads hold and the points take beside that.
std::uint64_t SlabExtraBytes(const SlabShape& s, const CloudExtent& e, int planes)
{
    const std::uint64_t threads = static_cast<std::uint64_t>(GetNumThreads());
    const std::uint64_t points = static_cast<std::uint64_t>(e.points);
    const std::uint64_t strip = 256 * 8 * s.x.count;
    return threads * (strip + 8 * 20 * (s.x.grid + s.y.grid)) + 8 * points +
           44 * std::min<std::uint64_t>(points, 4 * points / static_cast<std::uint64_t>(planes) + 1);
}

/// Samples that a point `off` its plane covers on an axis of it.
double PatchWidth(const CloudScene& scene, const SlabAxis& axis, double off, int kernel)
{
    const double slope = CloudTangent(scene.lambda * axis.band.end, 0.0);
    return std::ceil((2.0 * off * slope / axis.step + 1.35 * kernel) / 8.0 + 0.5) * 8.0;
}

double SlabSeconds(const CloudScene& scene, const SlabShape& s, const CloudExtent& e, const SlabPlan& plan)
{
    const double bandsX = static_cast<double>(s.x.Bands());
    const double bandsY = static_cast<double>(s.y.Bands());
    const double plane =
        static_cast<double>(s.y.count) * TransformSeconds(s.x.grid) +
        bandsX * (TransformSeconds(s.y.grid) + kSecondsColumn * static_cast<double>(s.y.count) + kSecondsTurn * bandsY);
    const double back = bandsX * (TransformSeconds(s.y.output) + kSecondsColumn * static_cast<double>(scene.y.count)) +
                        static_cast<double>(scene.y.count) * TransformSeconds(s.x.output) +
                        static_cast<double>(scene.x.count * scene.y.count) * kSecondsAdd;
    double point = 0.0;
    constexpr int kParts = 8;
    for (int n = 0; n < kParts; ++n)
    {
        const double half = 0.5 * plan.depth * (n + 0.5) / kParts;
        const double w = PatchWidth(scene, s.x, half, plan.kernel);
        const double h = PatchWidth(scene, s.y, half, plan.kernel);
        point += kSecondsPoint + plan.terms * kSecondsProfile * (w + h) +
                 w * h * (kSecondsSpread + kSecondsTerm * plan.terms);
    }
    const double nodes = plan.depth * scene.lambda * (Square(s.x.band.end) + Square(s.y.band.end)) * 8.0 + 5.0;
    const double table = nodes * plan.terms * (plan.degree + 1) * kSecondsTable *
                         (4.0 * (PatchWidth(scene, s.x, 0.5 * plan.depth, plan.kernel) +
                                 PatchWidth(scene, s.y, 0.5 * plan.depth, plan.kernel)) +
                          256.0);
    return plan.panels * static_cast<double>(e.points) * point / kParts +
           plan.planes * (plane + (plan.panels - 1) * static_cast<double>(s.y.count) * TransformSeconds(s.x.grid)) +
           back + table + kSecondsStart;
}

/// Terms for points up to half a slab's depth off their plane; 0 where the most are not enough.
int SlabTerms(const CloudScene& scene, const SlabShape& s, double depth, double& error)
{
    const CloudCross cross(scene.lambda, -s.x.band.end, s.x.band.end, -s.y.band.end, s.y.band.end);
    const double z = 0.5 * depth;
    for (int terms = 1; terms <= kCloudTerms; ++terms)
    {
        // Points lie evenly between 0 and z off their plane.
        error = std::hypot(cross.Error(z, terms) / std::sqrt(2.0 * terms + 1.0), cross.Residue(z) / std::sqrt(3.0));
        if (error <= kShare * scene.tolerance)
            return terms;
    }
    return 0;
}

void Adopt(SlabPlan& best, const SlabPlan& plan, const SlabShape& shape, double error)
{
    best = plan;
    best.possible = true;
    best.x = shape.x;
    best.y = shape.y;
    best.error = error;
}
} // namespace

SlabPlan PlanSlabs(const CloudScene& scene, const CloudExtent& extent)
{
    SlabPlan best;
    const double deep = extent.zMax - extent.zMin;
    for (int planes = 1; planes <= 20000; planes = planes < 16 ? planes + 1 : planes + planes / 12)
    {
        SlabPlan plan;
        plan.planes = planes;
        plan.depth = deep / planes;
        const SlabShape shape = ShapeOf(scene, extent, plan.depth);
        double cross = 0.0;
        plan.terms = shape.fits ? SlabTerms(scene, shape, plan.depth, cross) : 0;
        if (plan.terms > 0)
        {
            const double over =
                std::min(1.0 / (2.0 * shape.x.band.end * shape.x.step), 1.0 / (2.0 * shape.y.band.end * shape.y.step));
            plan.kernel = KernelWidth(scene.tolerance, over);
            plan.degree = scene.tolerance > 3e-3 ? 4 : scene.tolerance > 3e-4 ? 5 : scene.tolerance > 3e-5 ? 6 : 8;
            plan.memory = SlabExtraBytes(shape, extent, planes);
            while (plan.memory + SlabBytes(scene, shape, plan.panels) > scene.memory && plan.panels < 32)
                ++plan.panels;
            plan.memory += SlabBytes(scene, shape, plan.panels);
            plan.seconds = SlabSeconds(scene, shape, extent, plan);
            plan.width = static_cast<int>(PatchWidth(scene, shape.x, 0.5 * plan.depth, plan.kernel));
            if (plan.memory <= scene.memory && (!best.possible || plan.seconds < best.seconds))
                Adopt(best, plan, shape, std::hypot(cross, 0.6 * scene.tolerance));
        }
        if (deep == 0.0 || (best.possible && planes > 4 * best.planes + 8))
            break;
    }
    return best;
}

// ---------------------------------------------------------------------------------------------------------- direct

namespace
{
/// Frequencies that carry light from a point to samples at `a` to `b` from it, `across` being the other axis's range.
void SpanAxis(const CloudScene& scene, double a, double b, const double* across, double z, DirectAxis& s)
{
    const double farY = std::max(std::abs(across[0]), std::abs(across[1]));
    const double nearY =
        across[0] <= 0.0 && across[1] >= 0.0 ? 0.0 : std::min(std::abs(across[0]), std::abs(across[1]));
    const auto sine = [&](double d, double other)
    {
        return d / std::sqrt(d * d + other * other + z * z) / scene.lambda;
    };
    const double fringe = CloudFringe(scene, z);
    const double otherFar = farY + fringe;
    const double otherNear = std::max(nearY - fringe, 0.0);
    const double flat = kFlatFringe * fringe;
    s.lo = sine(a - flat, a - flat < 0.0 ? otherNear : otherFar);
    s.hi = sine(b + flat, b + flat > 0.0 ? otherNear : otherFar);
    s.loEnd = sine(a - fringe, a - fringe < 0.0 ? otherNear : otherFar);
    s.hiEnd = sine(b + fringe, b + fringe > 0.0 ? otherNear : otherFar);
}

std::size_t DirectLength(const CloudScene& scene, const CloudAxis& axis, const DirectAxis& s, double other, double a,
                         double b, double z)
{
    const double reach = CloudReach(scene, axis, z) + CloudTail(scene, axis);
    const double fringe = CloudFringe(scene, z);
    const auto lands = [&](double u)
    {
        return z * CloudTangent(scene.lambda * std::min(std::abs(u), axis.band.end), scene.lambda * other);
    };
    // How far beyond the block the light goes that is not cut off.
    const double right = std::min(s.hiEnd > 0.0 ? lands(s.hiEnd) + fringe : fringe, reach) - b;
    const double left = a + std::min(s.loEnd < 0.0 ? lands(s.loEnd) + fringe : fringe, reach);
    const double length = (b - a) + std::max({right, left, fringe});
    std::size_t n = 16;
    while (static_cast<double>(n) * axis.pitch < length + 2.0 * axis.pitch && n < (std::size_t{1} << 30))
        n *= 2;
    return n;
}
} // namespace

bool DirectSpan(const CloudScene& scene, const double* dx, const double* dy, double depth, DirectAxis& x, DirectAxis& y)
{
    const double z = std::abs(depth);
    const double reachX = CloudReach(scene, scene.x, z) + CloudTail(scene, scene.x);
    const double reachY = CloudReach(scene, scene.y, z) + CloudTail(scene, scene.y);
    if (dx[0] > reachX || dx[1] < -reachX || dy[0] > reachY || dy[1] < -reachY)
        return false;
    x.band = scene.x.band;
    y.band = scene.y.band;
    SpanAxis(scene, dx[0], dx[1], dy, z, x);
    SpanAxis(scene, dy[0], dy[1], dx, z, y);
    // The weight falls over as many frequencies as keep its own tail within the fringe.
    const double fall = (1.0 - kFlatFringe) * CloudFringe(scene, z) / (scene.lambda * z);
    const auto clip = [fall](DirectAxis& s)
    {
        // Next to the geometric edge the light has the frequencies of the edge.
        s.lo = std::min(s.lo, s.band.flat);
        s.hi = std::max(s.hi, -s.band.flat);
        s.loEnd = std::max(std::min(s.loEnd, s.lo - fall), -s.band.end);
        s.hiEnd = std::min(std::max(s.hiEnd, s.hi + fall), s.band.end);
    };
    clip(x);
    clip(y);
    const double mostX = std::max(std::abs(x.loEnd), std::abs(x.hiEnd));
    const double mostY = std::max(std::abs(y.loEnd), std::abs(y.hiEnd));
    x.length = DirectLength(scene, scene.x, x, mostY, dx[0], dx[1], z);
    y.length = DirectLength(scene, scene.y, y, mostX, dy[0], dy[1], z);
    // Converging light comes from the other side.
    if (depth > 0.0)
        for (DirectAxis* s : {&x, &y})
        {
            std::swap(s->lo, s->hi);
            std::swap(s->loEnd, s->hiEnd);
            for (double* u : {&s->lo, &s->hi, &s->loEnd, &s->hiEnd})
                *u = -*u;
        }
    return true;
}

int DirectTerms(const CloudScene& scene, const CloudCross& cross, double z)
{
    for (int terms = 1; terms <= kCloudTerms; ++terms)
        if (cross.Error(z, terms) <= kShare * scene.tolerance)
            return terms;
    return 0;
}

namespace
{
/// Seconds of one point on all blocks; negative where a block takes too many terms or too long a transform.
double DirectPoint(const CloudScene& scene, const CloudPoint& p, std::int64_t bx, std::int64_t by, int& most)
{
    // A few of the blocks in each direction stand for the rest.
    const std::int64_t nx = (scene.x.count + bx - 1) / bx;
    const std::int64_t ny = (scene.y.count + by - 1) / by;
    const std::int64_t stepX = std::max<std::int64_t>(1, nx / 8);
    const std::int64_t stepY = std::max<std::int64_t>(1, ny / 8);
    double seconds = 0.0;
    for (std::int64_t j = 0; j < ny; j += stepY)
        for (std::int64_t i = 0; i < nx; i += stepX)
        {
            const double dx[2] = {
                scene.x.first + static_cast<double>(i * bx) * scene.x.pitch - p.x,
                scene.x.first + static_cast<double>(std::min((i + 1) * bx, scene.x.count) - 1) * scene.x.pitch - p.x};
            const double dy[2] = {
                scene.y.first + static_cast<double>(j * by) * scene.y.pitch - p.y,
                scene.y.first + static_cast<double>(std::min((j + 1) * by, scene.y.count) - 1) * scene.y.pitch - p.y};
            DirectAxis x;
            DirectAxis y;
            if (!DirectSpan(scene, dx, dy, p.z, x, y))
                continue;
            const CloudCross cross(scene.lambda, x.loEnd, x.hiEnd, y.loEnd, y.hiEnd);
            const int terms = DirectTerms(scene, cross, p.z);
            if (terms == 0 || std::max(x.length, y.length) > kDirectLength)
                return -1.0;
            most = std::max(most, terms);
            seconds +=
                kSecondsVisit + static_cast<double>(x.length + y.length) * (kSecondsAxis + terms * kSecondsAxisTerm) +
                static_cast<double>(std::min(bx, scene.x.count) * std::min(by, scene.y.count)) * terms * kSecondsDirect;
        }
    return seconds * static_cast<double>(stepX * stepY);
}
} // namespace

std::size_t DirectFloats(std::int64_t blockX, std::int64_t blockY)
{
    const std::size_t width = (static_cast<std::size_t>(blockX) + 7) / 8 * 8;
    const std::size_t height = static_cast<std::size_t>(blockY);
    return (2 * kCloudTerms + 4) * kDirectLength + kDirectTerms * (4 * width + 2 * height) + 2 * width * height + 256;
}

namespace
{
/// The threads' room, the sum of all blocks, and the points in the plane's coordinates.
std::uint64_t DirectBytes(const CloudScene& scene, const CloudExtent& extent, const DirectPlan& plan)
{
    return static_cast<std::uint64_t>(GetNumThreads()) * sizeof(float) * DirectFloats(plan.blockX, plan.blockY) +
           static_cast<std::uint64_t>(scene.x.count + plan.blockX) *
               static_cast<std::uint64_t>(scene.y.count + plan.blockY) * 8 +
           static_cast<std::uint64_t>(extent.points) * sizeof(CloudPoint);
}
} // namespace

namespace
{
/// Whether blocks of this size take few enough terms and short enough transforms at every depth of the cloud, straight
/// behind a point, half way out to its light's reach and at its rim.
bool DirectFits(const CloudScene& scene, const CloudExtent& extent, std::int64_t blockX, std::int64_t blockY)
{
    const double far = std::max(std::abs(extent.zMin), std::abs(extent.zMax));
    const int depths = 1 + static_cast<int>(std::ceil(2.0 * std::log2(far / extent.nearest)));
    constexpr double kPlaces[] = {0.0, 0.5, 0.95};
    const double needX = std::max(scene.x.Last() - extent.xMin, extent.xMax - scene.x.first);
    const double needY = std::max(scene.y.Last() - extent.yMin, extent.yMax - scene.y.first);
    const auto range = [&](const CloudAxis& axis, std::int64_t block, double place, double z, double* d)
    {
        const double size = static_cast<double>(block - 1) * axis.pitch;
        const double need = std::max(&axis == &scene.x ? needX : needY, size) - size;
        d[0] = place * std::min(CloudReach(scene, axis, z), need) - (place == 0.0 ? 0.5 * size : 0.0);
        d[1] = d[0] + size;
    };
    for (int n = 0; n < depths; ++n)
    {
        const double z = extent.nearest * std::pow(far / extent.nearest, depths > 1 ? n / (depths - 1.0) : 0.0);
        for (const double across : kPlaces)
            for (const double down : kPlaces)
            {
                double dx[2];
                double dy[2];
                DirectAxis x;
                DirectAxis y;
                range(scene.x, blockX, across, z, dx);
                range(scene.y, blockY, down, z, dy);
                if (!DirectSpan(scene, dx, dy, z, x, y))
                    continue;
                const CloudCross cross(scene.lambda, x.loEnd, x.hiEnd, y.loEnd, y.hiEnd);
                if (DirectTerms(scene, cross, z) == 0 || std::max(x.length, y.length) > kDirectLength)
                    return false;
            }
    }
    return true;
}
} // namespace

DirectPlan PlanDirect(const CloudScene& scene, const CloudExtent& extent, const std::vector<CloudPoint>& sample)
{
    DirectPlan best;
    constexpr std::array<std::int64_t, 6> sides = {1024, 512, 256, 128, 64, 32};
    for (const std::int64_t side : sides)
    {
        if (side > 32 && side / 2 >= std::max(scene.x.count, scene.y.count))
            continue;
        DirectPlan plan;
        plan.blockX = std::min(side, scene.x.count);
        plan.blockY = std::min(side, scene.y.count);
        double seconds = 0.0;
        bool possible = DirectFits(scene, extent, plan.blockX, plan.blockY);
        for (const CloudPoint& p : sample)
        {
            const double one = possible ? DirectPoint(scene, p, plan.blockX, plan.blockY, plan.terms) : -1.0;
            possible = one >= 0.0;
            seconds += one;
        }
        if (!possible)
            continue;
        plan.memory = DirectBytes(scene, extent, plan);
        plan.possible = plan.memory <= scene.memory;
        plan.seconds = kSecondsDesk + seconds / static_cast<double>(std::max<std::size_t>(sample.size(), 1)) *
                                          static_cast<double>(extent.points);
        plan.error = scene.tolerance; // terms and the edges of a block's frequencies share it
        if (plan.possible && (!best.possible || plan.seconds < best.seconds))
            best = plan;
    }
    return best;
}
} // namespace LumoraLib::detail
