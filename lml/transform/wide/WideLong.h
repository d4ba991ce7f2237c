// Lengths that take more than one visit of a row or a column: split in two levels, or gathered from a grid's columns.
#ifndef LML_WIDELONG_H
#define LML_WIDELONG_H

#include "transform/wide/WideKernels.h"

#include <cstddef>

namespace LumoraLib::detail
{
/// One row of any length in place; x and y of the line are the same.
struct WideLong
{
    const WideKernels* kernels = nullptr;
    const WideLength* length = nullptr;
    WideLine line = {};
};

/// Sweeps that a row takes, each over all of it.
inline constexpr int kWideLongSweeps = 3;
/// Part `index` of `size` of one sweep of a row; all parts of the one before must have ended.
void WideLongPart(const WideLong& job, int sweep, int index, int size, float* scratch);

/// Rows, strips (or strips fused) and rows convolved as the entries of WideKernels do them, for longer lengths.
void WideLongRows(const WideRowArgs& p, const WideKernels& kernels, std::size_t first, std::size_t last,
                  float* scratch);
void WideLongStrips(const WideStripArgs& p, const WideKernels& kernels, std::size_t first, std::size_t last,
                    float* scratch);
void WideLongConvolve(const WideConvolveArgs& p, const WideKernels& kernels, std::size_t first, std::size_t last,
                      float* scratch);

/// Columns of one group of the strip path: a cache line of every row, fewer where their copy would grow too large.
inline std::size_t WideLongColumns(std::size_t n)
{
    constexpr std::size_t kCopySamples = std::size_t{1} << 21;
    const std::size_t fit = kCopySamples / n;
    return fit < 1 ? 1 : fit > 8 ? 8 : fit;
}

/// Floats for the factors of a group.
inline constexpr std::size_t kWideLongValues = 64;
} // namespace LumoraLib::detail

#endif
