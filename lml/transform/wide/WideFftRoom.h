// What the wide transform engine's common part and its three builds share: tables, arguments, entries.
#ifndef LML_WIDEFFTROOM_H
#define LML_WIDEFFTROOM_H

#include "base/Isa.h"
#include "transform/EngineTable.h"
#include "transform/wide/WideFft.h"

#include <cstddef>
#include <cstdint>

namespace LumoraLib::detail
{
/// Longest lengths done in one visit of a row or a column; longer ones are split in two levels.
inline constexpr int kWideMaxRowLg = 16;
inline constexpr int kWideMaxColumnLg = 14;
inline constexpr int kWideMaxLongLg = kLongestTransformLg;

/// Columns of a strip: 512 bytes of every row at once, whatever the lane count. Narrower pieces cost up to four times
/// as much for grids out of cache, since rows a power of two apart leave nothing in the caches for the neighbour.
inline constexpr std::size_t kWideStrip = 64;

/// Up to this many bytes a grid stays in the caches, and its strips are read without tiles; beyond the other, the cache
/// next to the processor, rows are fetched ahead.
inline constexpr std::size_t kWideNear = std::size_t{8} << 20;
inline constexpr std::size_t kWideNext = std::size_t{1} << 20;

/// Floats of a spectrum row's factors that are kept for the mirrored strip: a strip and one column more, both parts.
inline constexpr std::size_t kWideKeptRow = 2 * (kWideStrip + 1);

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
    /// differently with 16 lanes, where four vectors of a line hold 16 samples (see WideFft-inl.h).
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

struct WideRowArgs
{
    WideRows job;
    const WideLength* length;
    bool stream = false; ///< stores past the caches
};

/// Factors on the way of a strip: per row, or per row and column (twist).
struct WideStripArgs
{
    WideStrips job;
    const WideLength* length;
    bool stream = false;               ///< stores past the caches
    std::size_t bytes = 0;             ///< of the rows that are read or written
    const float* pre = nullptr;        ///< pairs per axis index, applied to the samples read
    const float* post = nullptr;       ///< pairs per axis index, applied to the samples written
    const WideLength* twist = nullptr; ///< first level of a two-level length: roots by row and column
    const float* rowFactor = nullptr;  ///< fused only: pairs per spectrum row instead of the callback
    const WideFused* fused = nullptr;  ///< fused only
    bool pairs = false;                ///< fused only: strips are done in mirrored pairs
};

struct WideConvolveArgs
{
    WideConvolution job;
    const WideLength* length; ///< of 2n
};

/// The columns [begin, end) of the grid that strip `index` of a range covers, strip borders at multiples of 64.
struct WideStripAt
{
    std::size_t column; ///< first column of the strip
    std::size_t lo;     ///< covered part, from its first column
    std::size_t hi;
};

inline std::size_t WideStripCount(std::size_t begin, std::size_t end)
{
    return end > begin ? (end - 1) / kWideStrip - begin / kWideStrip + 1 : 0;
}

inline std::size_t WideStripCount(WideRange which, std::size_t columns)
{
    if (which.begin <= which.end)
        return WideStripCount(which.begin, which.end);
    return WideStripCount(0, which.end) + WideStripCount(which.begin, columns);
}

inline WideStripAt WideStripOf(std::size_t begin, std::size_t end, std::size_t index)
{
    const std::size_t column = (begin / kWideStrip + index) * kWideStrip;
    const std::size_t lo = begin > column ? begin - column : 0;
    const std::size_t hi = end - column < kWideStrip ? end - column : kWideStrip;
    return {column, lo, hi};
}

inline WideStripAt WideStripOf(WideRange which, std::size_t columns, std::size_t index)
{
    if (which.begin <= which.end)
        return WideStripOf(which.begin, which.end, index);
    const std::size_t first = WideStripCount(0, which.end);
    return index < first ? WideStripOf(0, which.end, index) : WideStripOf(which.begin, columns, index - first);
}

/// Floats of scratch per thread.
std::size_t WideRowScratch(const WideLength& length);
std::size_t WideStripScratch(const WideLength& length);
std::size_t WideFusedScratch(const WideLength& length, bool pairs, bool turned);
std::size_t WideConvolveScratch(const WideLength& length);

/// Entries of one instruction set, for lengths done in one visit.
struct WideKernels
{
    Isa isa;
    int lanes;
    /// One row of a direct length, y may be x.
    void (*row)(const WideLength& length, const float* x, float* y, bool inverse, bool shiftIn, bool shiftOut,
                float scale, float* scratch);
    void (*rows)(const WideRowArgs& args, std::size_t first, std::size_t last, float* scratch);
    /// Strips first..last of the job's column range.
    void (*strips)(const WideStripArgs& args, std::size_t first, std::size_t last, float* scratch);
    /// The same; with pairs, strip pairs.
    void (*fused)(const WideStripArgs& args, std::size_t first, std::size_t last, float* scratch);
    void (*convolveRows)(const WideConvolveArgs& args, std::size_t first, std::size_t last, float* scratch);
    /// Exchanges (r, c) and (c, r) of a square of `side` (a multiple of 32) 64-bit items, for the 32-row bands
    /// first, first + step, ... on and right of the diagonal.
    void (*transpose)(float* square, std::size_t stride, std::size_t side, std::size_t first, std::size_t step);
    /// target[c * count + b] = source[b * ways + c]: 64-bit items dealt out to `ways` runs of `count`.
    void (*deal)(const float* source, float* target, std::size_t count, std::size_t ways);
};

namespace sse2
{
extern const WideKernels wideFftKernels;
}
namespace avx2
{
extern const WideKernels wideFftKernels;
}
namespace avx512
{
extern const WideKernels wideFftKernels;
}
} // namespace LumoraLib::detail

#endif
