// Index boxes of band limits, in the centred order of a spectrum, and their ranges in the transform's order.
#ifndef LML_BAND_H
#define LML_BAND_H

#include "transform/wide/WideFft.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace LumoraLib::detail
{
/// Half-open ranges of columns i0 <= i < i1 and rows j0 <= j < j1 that a band limit leaves, in centred order.
struct IndexBox
{
    std::int32_t i0, i1, j0, j1;
};

/// A centred range [first, last) of an axis of n indices in the transform's order (frequency zero at index 0).
inline WideRange TransformRange(std::int32_t first, std::int32_t last, std::int32_t n)
{
    const std::int32_t from = std::clamp(first, 0, n);
    const std::int32_t to = std::clamp(last, 0, n);
    if (from >= to)
        return {0, 0};
    if (to - from == n)
        return {0, static_cast<std::size_t>(n)};
    const auto turned = [n](std::int32_t i)
    {
        return static_cast<std::size_t>((i + n - n / 2) % n);
    };
    return {turned(from), turned(to)};
}

/// What a range leaves out of an axis of n indices.
inline WideRange Complement(const WideRange& range, std::int32_t n)
{
    const std::size_t size = static_cast<std::size_t>(n);
    if (range.Count(size) == size)
        return {0, 0};
    if (range.Count(size) == 0)
        return {0, size};
    return {range.end, range.begin};
}
} // namespace LumoraLib::detail

#endif
