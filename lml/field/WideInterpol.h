// Interpolation several destination samples at a time: rows of resampling and rows of the rotation's lookup.
//
// Lanes are neighbouring destination samples. Every lane goes through the arithmetic of its interpolator, operation by
// operation and with the taps added in the same order, so the bits are those of the plain members at every instruction
// set, start and length of a row.
//
// The cubic kernels count on one thing: a tap of weight 0 adds nothing. So the tap too many of a point on a sample is
// left out, and taps outside the grid read a sample inside with weight 0. That holds where the samples are finite;
// callers check (AllFinite, or a finite energy) and use the plain members otherwise.
//
// Samples are pairs of floats, real then imaginary: Floats() gives them.
#ifndef LML_WIDEINTERPOL_H
#define LML_WIDEINTERPOL_H

#include "LmlApi.h"
#include "LmlTypes.h"

#include <cstddef>
#include <cstdint>

namespace LumoraLib::detail
{

/// The interpolators with a wide form: the functions of GetInterpolFunc.
enum class WideKernel : int
{
    Nearest,
    BiLinear,
    Linear,
    BiCubic,
    Cubic4,
    Cubic6,
    Cubic8
};
constexpr int kWideKernels = 7;
/// Taps per axis of a kernel, in the order of WideKernel.
constexpr int kWideTaps[kWideKernels] = {1, 2, 2, 4, 4, 6, 8};

/// What the columns of one resampling call share, one entry per destination column and kWidePadding more that repeat
/// the last.
struct ResampleColumns
{
    const std::int32_t* start;  ///< the first tap's place in a source row
    const std::int32_t* second; ///< the second sample of a cell (BiLinear, Linear)
    const std::int32_t* run;    ///< this column and how many after it take their taps one sample further each
    const double* weight;       ///< kernel value of tap t for column i at weight[t * pitch + i]; 1 - d and d of a cell
    std::size_t pitch;
};
constexpr int kWidePadding = 16;

/// What the columns of one destination row share.
struct ResampleRow
{
    const float* rows[9]; ///< the source rows that take part, in the order of addition
    double weight[9];     ///< their kernel values; 1 - d and d of a cell
    int count;
};

/// What the rows of one rotation share.
struct RotationLookup
{
    const float* samples; ///< the source's grid
    std::int32_t nx, ny;
    double px, py;
    double r[2][3];          ///< the first two rows of the inverse rotation
    double limit;            ///< 1 / lambda^2
    double centerU, centerV; ///< the carrier
    double ax, ay, az;       ///< of the Jacobian
    bool jacobian;
    double pitch;      ///< of the destination's columns
    std::int32_t half; ///< the destination's column of frequency zero
};

/// One instruction set's kernels, indexed by WideKernel where there is one per interpolator.
struct InterpolTable
{
    /// to := the values of `count` columns from column `first` of the tables on.
    void (*resample[kWideKernels])(const ResampleColumns& columns, const ResampleRow& row, std::size_t first,
                                   std::size_t count, float* to);
    /// The first `count` samples of the destination row at frequency v; returns `energy` plus the squares of the
    /// samples, added one by one. Needs kWideTaps columns in the source, and two rows for Linear.
    double (*rotate[kWideKernels])(const RotationLookup& lookup, double v, std::size_t count, float* to, double energy);
    /// to += value in single precision, and to := to times value in double, rounded once.
    void (*add)(float* to, const float* value, std::size_t count);
    void (*multiply)(float* to, const float* value, std::size_t count);
    /// True when all `count` floats are finite.
    bool (*finite)(const float* values, std::size_t count);
};

/// The table for the instruction set in force.
const InterpolTable& Interpolation() noexcept;

} // namespace LumoraLib::detail

#endif
