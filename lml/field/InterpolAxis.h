// Interpolation along one axis: from a coordinate to the samples that take part and their factors.
//
// The plain interpolators call these for every point, the resampling operations once per column and row of a call, so
// that both give the same bits. The wide lookup of the rotation (WideInterpol-inl.h) repeats the arithmetic in lanes
// and must agree with it.
#ifndef LML_INTERPOLAXIS_H
#define LML_INTERPOLAXIS_H

#include "base/IntMath.h"
#include "field/CubicKernels.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace LumoraLib::detail
{
/// Throws away what stands past the fourth decimal of a sample index, so that a point within rounding noise of a sample
/// falls exactly on it.
inline double Trunc4(double z)
{
    return std::trunc(z * 10000.0) / 10000.0;
}

/// Continuous index, quantised, the half size in floating point.
inline double QuantisedIndex(double coordinate, double pitch, std::int32_t size)
{
    return Trunc4(size * 0.5 + coordinate / pitch);
}

/// Continuous index, not quantised, the half size in integer division.
inline double PlainIndex(double coordinate, double pitch, std::int32_t size)
{
    return coordinate / pitch + size / 2;
}

/// The samples first to last, both inclusive.
struct TapRange
{
    std::int32_t first;
    std::int32_t last;
};

/// The taps of a kernel of half-width h about the continuous index x, cut to 0 ... size - 1. A tap outside would add a
/// zero sample, which changes no sum. Not-a-number and indices beyond 32 bits give an empty range.
inline TapRange TapsAbout(double x, int h, std::int32_t size)
{
    return {std::max(TruncI32(std::ceil(x - h)), 0), std::min(TruncI32(std::floor(x + h)), size - 1)};
}

/// Taps and kernel values about a point: one more than twice the half-width when the point falls on a sample, and then
/// the outer two weigh 0.
struct KernelTaps
{
    TapRange range;
    double value[9];
};

template <class Kernel>
KernelTaps KernelTapsAbout(double x, int h, std::int32_t size, const Kernel& kernel)
{
    KernelTaps taps;
    taps.range = TapsAbout(x, h, size);
    for (std::int32_t i = taps.range.first; i <= taps.range.last; ++i)
        taps.value[i - taps.range.first] = kernel(i - x);
    return taps;
}

/// The cell of a bilinear scheme: two neighbours and the fraction of the way from the first to the second.
struct Cell
{
    bool inside;
    std::int32_t first;
    std::int32_t second;
    double fraction;
};

/// Not quantised; the last sample blends with itself and reaches one pitch further.
inline Cell BiLinearCell(double coordinate, double pitch, std::int32_t size)
{
    const double x = PlainIndex(coordinate, pitch, size);
    const std::int32_t i = TruncI32(std::floor(x));
    if (i < 0 || i > size - 1)
        return {false, 0, 0, 0.0};
    return {true, i, i == size - 1 ? i : i + 1, x - i};
}

/// Quantised before the half size is added, but the fraction comes from the unquantised coordinate. The last cell
/// serves the last sample with a fraction of 1, and a point beyond it by any amount is outside.
inline Cell LinearCell(double coordinate, double pitch, std::int32_t size)
{
    const double x = Trunc4(coordinate / pitch) + size / 2;
    if (!(x >= 0.0 && x <= size - 1))
        return {false, 0, 0, 0.0};
    std::int32_t i = TruncI32(std::floor(x));
    if (i == size - 1)
        i = size - 2;
    const double fraction = (coordinate - (i - size / 2) * pitch) / pitch;
    // An axis of one sample has no left neighbour; the sample itself takes its place, where it weighs at most 1e-4.
    return {true, std::max(i, 0), i + 1, fraction};
}

/// The sample nearest to a coordinate.
inline Cell NearestCell(double coordinate, double pitch, std::int32_t size)
{
    const std::int32_t i = NearestIndex(coordinate, pitch, size / 2);
    return {i >= 0 && i < size, i, i, 0.0};
}
} // namespace LumoraLib::detail

#endif
