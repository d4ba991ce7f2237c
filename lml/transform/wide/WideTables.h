// Tables of the wide transform engine: roots of unity, and how a length is made of shorter ones.
#ifndef LML_WIDETABLES_H
#define LML_WIDETABLES_H

#include "base/Isa.h"
#include "transform/EngineTable.h"

#include <cstddef>

namespace LumoraLib::detail
{
/// Longest lengths done in one visit of a row or a column; longer ones are split in two levels.
inline constexpr int kWideMaxRowLg = 16;
inline constexpr int kWideMaxColumnLg = 14;

/// Columns of a strip: 512 bytes of every row at once, whatever the lane count. Narrower pieces cost up to four times
/// as much for grids out of cache, since rows a power of two apart leave nothing in the caches for the neighbour.
inline constexpr std::size_t kWideStrip = 64;

/// First of the two radices that a lane-parallel transform of length 2^lg, lg <= 7, takes; up to 16 it is the only one.
constexpr int WideFirstRadix(int lg)
{
    constexpr int radix[8] = {1, 2, 4, 8, 16, 4, 8, 16};
    return radix[lg];
}

/// Rows take 16 first. Radix that comes next where 2^lg samples of a place are left, lg 5..12, until 16 are left.
constexpr int WideLineRadix(int lg)
{
    constexpr int radix[8] = {2, 4, 8, 16, 4, 8, 16, 16};
    return radix[lg - 5];
}

/// Tables of one length for one instruction set, immutable once published. Roots are exp(-2 pi i e / n), each part
/// correctly rounded from double.
struct WideLength
{
    int lg = 0;
    std::size_t n = 0;

    /// Lane-parallel transforms, 2^5..2^7: roots of n at q k, [q][k] with k < WideFirstRadix, as (re, im) pairs.
    const float* inner = nullptr;

    /// Strips: n = a b, sample a' b + b', spectrum k = k1 + a k2. Roots at b' k1: [b'][k1] and [k1][b'] as pairs.
    std::size_t a = 1;
    std::size_t b = 1;
    const float* twiddle = nullptr;
    const float* twiddleT = nullptr;
    const WideLength* lengthA = nullptr;
    const WideLength* lengthB = nullptr;

    /// Rows: roots at b k as vectors over b < n / R, [vector][k < R][re W, im W]. rowRoots (2^8 up) are for R = 16 on
    /// samples as loaded; lineRoots (2^5..2^12) for R = WideLineRadix on the lines between the passes. The two lie
    /// differently with 16 lanes, where four vectors of a line hold 16 samples (see WideLongRows-inl.h).
    const float* rowRoots = nullptr;
    const WideLength* rowNext = nullptr; ///< n / 16
    const float* lineRoots = nullptr;
    const WideLength* lineNext = nullptr; ///< n / R

    /// Two-level lengths: n = A R A, columns of length A, rows of length R A, roots at k1 c for column c = 64 s + l as
    /// the product of stripRoot[s][k1] (pairs) and laneRoot[k1][re 64, im 64].
    std::size_t side = 0;
    std::size_t middle = 0;
    const WideLength* sideLength = nullptr;
    const WideLength* rowLength = nullptr;
    const float* stripRoot = nullptr;
    const float* laneRoot = nullptr;
};

/// Which sample stands in lane l of the vectors of `lanes` floats that even/odd shuffles within 128 bits give.
constexpr int WideLaneSample(int l, int lanes)
{
    const int quarter = l / 4, s = l % 4;
    return s < 2 ? quarter * 2 + s : lanes / 2 + quarter * 2 + (s - 2);
}

/// The tables of a length for an instruction set, made when they are first asked for and kept for the process. Errors:
/// ERR_MEMORY as Malloc().
const WideLength& WideLengthOf(std::size_t n, Isa isa);

inline bool IsDirectRow(const WideLength& length)
{
    return length.lg <= kWideMaxRowLg;
}

inline bool IsDirectColumn(const WideLength& length)
{
    return length.lg <= kWideMaxColumnLg;
}
} // namespace LumoraLib::detail

#endif
