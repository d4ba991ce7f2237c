// Floats of scratch per thread that the wide transforms take. The layouts are those of StripLayout, FusedStrips,
// ManyShortRows, TransformShort and LongRow in the rooms and of WideLong.cpp; they hold for every lane count.
#include "transform/wide/WideScratch.h"

#include "transform/wide/WideKernels.h"
#include "transform/wide/WideLong.h"

#include <algorithm>

namespace LumoraLib::detail
{
namespace
{
constexpr std::size_t kPairRow = 2 * kWideStrip; // a pair of every vector across a strip
constexpr std::size_t kWidestPair = 32;          // floats of a pair of the widest build

std::size_t DirectRow(const WideLength& length)
{
    const std::size_t n = length.n;
    if (length.lg >= 8)
        return 2 * n + 16 * 32;
    return 2 * n * 16 + (2 * n + 128) * kWidestPair;
}

std::size_t DirectStrip(const WideLength& length)
{
    return (std::max(length.a, length.b) + 1 + length.a * (length.b + 1) + 1) * kPairRow + 128 * kWidestPair;
}

std::size_t LongStrip(const WideLength& length)
{
    return 2 * length.n * WideLongColumns(length.n) + kWideLongValues + WideLineFloats(length);
}
} // namespace

std::size_t WideLineFloats(const WideLength& length)
{
    if (IsDirectRow(length))
        return DirectRow(length);
    return std::max(DirectStrip(*length.sideLength), 2 * length.rowLength->n + WideLineFloats(*length.rowLength));
}

std::size_t WideRowFloats(const WideLength& length)
{
    return IsDirectRow(length) ? DirectRow(length) : 2 * length.n + WideLineFloats(length);
}

std::size_t WideStripFloats(const WideLength& length)
{
    return IsDirectColumn(length) ? DirectStrip(length) : LongStrip(length);
}

std::size_t WideFusedFloats(const WideLength& length, bool pairs, bool turned)
{
    if (!IsDirectColumn(length))
        return LongStrip(length);
    return DirectStrip(length) + 2 * (kWideStrip + 16) + (length.b + 1) * kWidestPair +
           (turned ? 2 : 1) * length.b * kPairRow + (pairs ? (length.n / 2 + 1) * kWideKeptRow : 0);
}

std::size_t WideConvolveFloats(const WideLength& length)
{
    return length.lg < 8 ? DirectRow(length) : 2 * length.n + WideLineFloats(length);
}
} // namespace LumoraLib::detail
