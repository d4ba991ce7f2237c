// Profiles of points on the planes of slabs: the response of one axis's band, shifted by part of a grid pitch, carried
// over part of a slab's depth and spread by a kernel, as tables for interpolation.
#ifndef LML_CLOUDPROFILE_H
#define LML_CLOUDPROFILE_H

#include "points/CloudPlan.h"
#include "points/WideCloud.h"

#include <cstddef>
#include <vector>

namespace LumoraLib::detail
{
/// What one axis of a profile is made of. With x for the axis, c for the lines of the expansion:
/// response(u) = exp(2 pi i (root(u) - offset - centre) dz) A(u)^term, or B.
struct CloudResponse
{
    SlabAxis axis;
    double square; ///< root(u) = sqrt(square - u^2)
    double offset;
    const CloudCross* cross;
    bool isX; ///< whose function, A or B, it has
};

class CloudProfile
{
public:
    /// Takes memory for its tables; runs on the library's threads.
    CloudProfile(const CloudResponse& response, const SlabPlan& plan, double tolerance);

    /// Phase per metre of depth that was taken out, in turns.
    double Centre() const { return centre_; }
    /// Place of a depth difference in the tables: the first of four, and the fraction between the middle two.
    void Find(double dz, std::int32_t& node, float& fraction) const;
    double DepthOf(std::int32_t node, float fraction) const;
    /// Half-width of the patch at a node, in grid samples, a multiple of 4.
    int Half(std::int32_t node) const;
    int LargestHalf() const { return half_; }
    /// The floats of term `term` at shift `shift` into out, 4 * half of them.
    void Get(std::int32_t node, float fraction, float shift, int half, int term, float* out) const;
    /// The transform of the spreading kernel at frequency index m of the axis.
    double Kernel(std::int64_t m) const;
    std::size_t Bytes() const { return table_.size() * sizeof(float); }

private:
    struct Build;
    void MakeTables(const Build& build);
    void MakeNode(const Build& build, std::size_t node, void* memory, std::vector<double>& tails);
    void MakeKernel();
    double Transform(double nu) const;

    static constexpr int kKernelPoints = 24;

    SlabAxis axis_;
    double beta_;
    double width_;  ///< of the kernel
    double centre_; ///< turns per metre
    double pitch_;  ///< metres of depth between tables
    int degree_;
    int terms_;
    int half_;                       ///< of all tables
    int nodes_;                      ///< tables; the middle one has depth difference 0
    double kernelAt_[kKernelPoints]; ///< the kernel's transform as a sum of cosines
    double kernelWeight_[kKernelPoints];
    std::vector<float> table_;
    std::vector<int> halves_;
    const CloudKernels* kernels_;
};
} // namespace LumoraLib::detail

#endif
