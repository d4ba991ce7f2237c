// What the wide transform engine's common part and its three builds share: strips, arguments, entries.
#ifndef LML_WIDEKERNELS_H
#define LML_WIDEKERNELS_H

#include "base/Isa.h"
#include "transform/wide/WidePasses.h"
#include "transform/wide/WideTables.h"

#include <cstddef>
#include <cstdint>

namespace LumoraLib::detail
{
static_assert(sizeof(Complex) == 8, "samples are pairs of floats");

/// Up to this many bytes a grid stays in the caches, and its strips are read without tiles; beyond the other, the cache
/// next to the processor, rows are fetched ahead.
inline constexpr std::size_t kWideNear = std::size_t{8} << 20;
inline constexpr std::size_t kWideNext = std::size_t{1} << 20;

/// Floats of a spectrum row's factors that are kept for the mirrored strip: a strip and one column more, both parts.
inline constexpr std::size_t kWideKeptRow = 2 * (kWideStrip + 1);

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

/// Which strip of a range of columns the one at `column` is, and the floats of a strip's spectrum.
inline std::size_t WideStripIndex(WideRange which, std::size_t column)
{
    const std::size_t strip = column / kWideStrip;
    if (which.begin <= which.end)
        return strip - which.begin / kWideStrip;
    return column < which.end ? strip : WideStripCount(0, which.end) + strip - which.begin / kWideStrip;
}
inline std::size_t WideKeptFloats(std::size_t n)
{
    return 2 * kWideStrip * n;
}

/// One whole row on its own.
struct WideLine
{
    const Complex* x = nullptr;
    Complex* y = nullptr; ///< may be x
    int sign = -1;
    bool shiftInput = false;
    bool shiftOutput = false;
    float scale = 1.0f;
};

struct WideRowArgs
{
    WideRows job = {};
    const WideLength* length = nullptr;
    bool stream = false; ///< stores past the caches
};

/// Factors on the way of a strip: per row, or per row and column (twist).
struct WideStripArgs
{
    WideStrips job = {};
    const WideLength* length = nullptr;
    bool stream = false;               ///< stores past the caches
    std::size_t bytes = 0;             ///< of the rows that are read or written
    const float* pre = nullptr;        ///< pairs per axis index, applied to the samples read
    const float* post = nullptr;       ///< pairs per axis index, applied to the samples written
    const WideLength* twist = nullptr; ///< first level of a two-level length: roots by row and column
    const float* rowFactor = nullptr;  ///< fused only: pairs per spectrum row instead of the callback
    const WideFused* fused = nullptr;  ///< fused only
    float* kept = nullptr;             ///< keep only: where the spectra go
    bool pairs = false;                ///< fused only: strips are done in mirrored pairs
    bool halves = false;               ///< fused only: and a unit of work is half a pair
};

struct WideConvolveArgs
{
    WideConvolution job = {};
    const WideLength* length = nullptr; ///< of 2n
};

/// Entries of one instruction set, for lengths done in one visit.
struct WideKernels
{
    Isa isa;
    /// A row of a direct length.
    void (*row)(const WideLength& length, const WideLine& line, float* scratch);
    void (*rows)(const WideRowArgs& args, std::size_t first, std::size_t last, float* scratch);
    /// Strips first..last of the job's column range.
    void (*strips)(const WideStripArgs& args, std::size_t first, std::size_t last, float* scratch);
    /// The same; with pairs, strip pairs, or with halves both strips of pair 0, of pair 1, ...
    void (*fused)(const WideStripArgs& args, std::size_t first, std::size_t last, float* scratch);
    /// The forward half of fused alone, to `kept`.
    void (*keep)(const WideStripArgs& args, std::size_t first, std::size_t last, float* scratch);
    void (*convolveRows)(const WideConvolveArgs& args, std::size_t first, std::size_t last, float* scratch);
    /// Exchanges (r, c) and (c, r) of a square of `side` (a multiple of 32) 64-bit items, for the 32-row bands
    /// first, first + step, ... on and right of the diagonal.
    void (*transpose)(float* square, std::size_t stride, std::size_t side, std::size_t first, std::size_t step);
    /// target[c * count + b] = source[b * ways + c]: 64-bit items dealt out to `ways` runs of `count`.
    void (*deal)(const float* source, float* target, std::size_t count, std::size_t ways);
};

namespace sse2
{
extern const WideKernels wideKernels;
}
namespace avx2
{
extern const WideKernels wideKernels;
}
namespace avx512
{
extern const WideKernels wideKernels;
}

/// Above this a grid does not survive in the last cache from one pass to the next, and plain stores would only displace
/// what does. Below it stores past the caches cost up to twice the time.
inline constexpr std::size_t kWideStream = std::size_t{24} << 20;

/// Rows longer than this are out of the first cache before they are written.
inline constexpr std::size_t kWideNearRow = 4096;

/// Whether so many samples of a target are stored past the caches.
inline bool WideMayStream(const AxisView<Complex>& target, std::size_t samples)
{
    return samples * sizeof(Complex) > kWideStream && reinterpret_cast<std::uintptr_t>(target.samples) % 64 == 0 &&
           target.stride * sizeof(Complex) % 64 == 0;
}

/// Bytes of the rows that strips read or write, the larger of the two.
inline std::size_t WideRowBytes(const WideStrips& job)
{
    const std::size_t read = job.source.range.Count(job.n) * job.source.stride;
    const std::size_t written = job.target.range.Count(job.n) * job.target.stride;
    return sizeof(Complex) * (read > written ? read : written);
}

/// The kernels for the instruction set in force.
inline const WideKernels& BoundKernels()
{
    return PickIsa(sse2::wideKernels, avx2::wideKernels, avx512::wideKernels);
}
} // namespace LumoraLib::detail

#endif
