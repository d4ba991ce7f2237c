// The wide transform engine: power-of-two transforms of complex single-precision samples, in place, without plans.
//
//   X[k] = scale * sum over j of x[j] exp(sign 2 pi i j k / n),  sign < 0 minus, sign >= 0 plus.
//
// Results are the same bits for every instruction set, thread count, range and alignment of the samples (16 bytes are
// promised by the fields, 4 are enough here). The order of operations depends on the length alone: there is one for
// transforms along rows (WideFft1d, WideRowPass, the rows of WideFft2d) and one for those along columns (WideStripPass,
// the columns of WideFft2d); a fused pass and a column convolution go back by the columns' steps in reverse. Between
// these results differ in rounding. A convolution along rows has the bits of its transforms done one after another.
//
// Half shift: index j of an array stands for index j ^ (n/2) of the transform, so that a transform with both shifts is
// exchange of halves, transform, exchange of halves. It costs nothing.
//
// Whole operations: WideFft1d, WideFft2d, and the ...All functions; WideReadyGrid where the caller must know before
// it touches anything that the transform cannot fail. For several sweeps in one parallel region make the
// pass objects first (they take tables and scratch and may fail with ERR_MEMORY), then
//
//   ParallelTeam(threads, [&](int index, int size) {
//       rows.Part(index, size);  TeamBarrier(size);  columns.Part(index, size);  TeamBarrier(size);
//       back.Part(index, size);
//       });
//
// Part() never fails and never allocates. Every pass of one region must have been made for at least the team's size.
#pragma once

#include "LmlTypes.h"
#include "base/Scratch.h"

#include <cstddef>
#include <optional>

namespace LumoraLib::detail
{
struct WideLength;  // tables of one length (WideFftRoom.h)
struct WideKernels; // entries of one instruction set (WideFftRoom.h)

/// Half-open cyclic range of indices of an axis of length n: [begin, end), or [begin, n) and [0, end) when begin > end.
/// Both bounds lie in 0..n; begin == end is the empty range.
struct WideRange
{
    std::size_t begin = 0;
    std::size_t end = 0;
    bool Has(std::size_t i) const { return begin <= end ? i >= begin && i < end : i >= begin || i < end; }
    bool IsAll(std::size_t n) const { return begin == 0 && end == n; }
    std::size_t Count(std::size_t n) const { return begin <= end ? end - begin : n - begin + end; }
};

/// Below this many samples a 2-D operation runs on the calling thread alone: a team costs more than it gains.
inline constexpr std::size_t kWideTeamSamples = std::size_t{128} * 128;

/// Threads worth asking for: 1 below kWideTeamSamples, otherwise the count given.
inline int WideThreads(std::size_t samples, int threads)
{
    return samples < kWideTeamSamples || threads < 1 ? 1 : threads;
}

// ------------------------------------------------------------------------------------------------ whole transforms

/// 1-D transform in place of x[0..n), n a power of two up to kLongestTransform (the callers' check); with `halfShift`
/// both quadrant exchanges are folded in. Up to 65536 it runs on the calling thread, within a buffer of about n samples
/// (on the stack up to 4096); longer ones take three sweeps by the team in place, with tables of about n/20 samples.
/// Not for use inside a parallel region of the library. Errors: ERR_MEMORY as Malloc(), x is then untouched.
void WideFft1d(Complex* x, std::size_t n, int sign, bool halfShift, float scale, int threads);

/// 2-D transform in place of ny rows of nx samples, both powers of two; any shape, the best speed for 256..16384.
/// Scratch per thread: a strip of 64 columns. `scale` is applied last. Errors: ERR_MEMORY as Malloc(), x untouched.
void WideFft2d(Complex* x, std::size_t nx, std::size_t ny, int sign, bool halfShift, float scale, int threads);

// ---------------------------------------------------------------------------------------------------------- passes

/// Transforms along rows. An array of rows holds index `Origin` of the axis in its first column, so that a row shorter
/// than the transform (an embedded field) is read or written where it is.
struct WideRows
{
    const Complex* source = nullptr;
    std::size_t sourceStride = 0; ///< samples from one row to the next
    std::size_t sourceOrigin = 0; ///< axis index of source column 0; not above input.begin
    Complex* target = nullptr;    ///< may be the source, with the same stride
    std::size_t targetStride = 0;
    std::size_t targetOrigin = 0;
    std::size_t rows = 0; ///< number of rows
    std::size_t n = 0;    ///< length of the transform
    int sign = -1;
    bool shiftInput = false;
    bool shiftOutput = false;
    float scale = 1.0f;
    WideRange input;        ///< axis indices read; the others are zero. {0, n} reads all
    WideRange output;       ///< axis indices written; the others are left alone, or
    bool clearRest = false; ///< set to zero (then the target holds the whole axis)
};

class WideRowPass
{
public:
    /// With a lender, another pass of the same operation made for at least as many threads, its scratch is used where
    /// it is large enough.
    WideRowPass(const WideRows& job, int threads, const Scratch* lender = nullptr);
    WideRowPass(const WideRowPass&) = delete;
    WideRowPass& operator=(const WideRowPass&) = delete;
    /// The rows of thread `index` in a team of `size`.
    void Part(int index, int size) const noexcept;

private:
    friend struct WideFftAccess;
    WideRows job_;
    const WideKernels* kernels_;
    const WideLength* length_;
    bool stream_;
    Scratch own_;
    const Scratch* scratch_;
};
void WideRowsAll(const WideRows& job, int threads);

/// Transforms along columns, the same with rows and columns exchanged. The work is cut in strips of 64 columns.
struct WideStrips
{
    const Complex* source = nullptr;
    std::size_t sourceStride = 0;
    std::size_t sourceOrigin = 0; ///< axis index of source row 0
    Complex* target = nullptr;
    std::size_t targetStride = 0;
    std::size_t targetOrigin = 0;
    std::size_t columns = 0; ///< width of the grid
    WideRange which;         ///< columns to do, a cyclic range of the grid; the others are left alone
    std::size_t n = 0;       ///< length of the transform
    int sign = -1;
    bool shiftInput = false;
    bool shiftOutput = false;
    float scale = 1.0f;
    WideRange input;        ///< axis indices read; the others are zero
    WideRange output;       ///< axis indices written; the others are left alone, or
    bool clearRest = false; ///< set to zero
};

class WideStripPass
{
public:
    WideStripPass(const WideStrips& job, int threads);
    void Part(int index, int size) const noexcept;
    const Scratch& Memory() const { return scratch_; }

private:
    friend struct WideFftAccess;
    WideStrips job_;
    const WideKernels* kernels_;
    const WideLength* length_;
    bool stream_;
    Scratch scratch_;
};
void WideStripsAll(const WideStrips& job, int threads);

/// Delivers the factors of spectrum row `row` (transform order) for columns column .. column + count - 1 of the grid.
/// May write up to the next multiple of 16 values (the arrays are that long and aligned to 64 bytes). Called from all
/// threads of a team, so it must not fail or allocate.
using WideFactor = void (*)(const void* context, std::size_t row, std::size_t column, std::size_t count, float* re,
                            float* im);

/// Columns: forward transform (minus sign), times a factor, inverse transform (plus sign), in one visit. The product is
/// in single precision, re = a.re b.re - a.im b.im, im = a.re b.im + a.im b.re. The inverse half runs the forward
/// half's steps backwards, so that it differs from a separate WideStripPass in rounding.
struct WideFused
{
    WideStrips strips; ///< sign is not used; shifts belong to the data side, the spectrum is in transform order
    WideFactor factor = nullptr;
    const void* context = nullptr;
    /// Spectrum rows (transform order) that are zero whatever the factor, which is not asked for there.
    WideRange zeroRows;
    /// The factor is even on both axes: equal at rows k and n - k, and at columns c and columns - c. Where strips can
    /// be done in mirrored pairs (a width that is a multiple of 128, n up to 16384) it is then asked for about a
    /// quarter of the spectrum only, rows 0..n/2 and columns 0..columns/2; elsewhere for all of it. Same bits as
    /// without.
    bool symmetric = false;
    /// Both or none: the factor is factor() times (column[c] times row[k]), in single precision; in transform order,
    /// `column` with room up to a multiple of 64. Shifts of the field are such outer products, which leave the rest of
    /// the factor even.
    const Complex* column = nullptr;
    const Complex* row = nullptr;
};

class WideFusedPass
{
public:
    WideFusedPass(const WideFused& job, int threads);
    void Part(int index, int size) const noexcept;
    const Scratch& Memory() const { return scratch_; }

private:
    friend struct WideFftAccess;
    WideFused job_;
    const WideKernels* kernels_;
    const WideLength* length_;
    bool stream_;
    bool pairs_;
    std::size_t firstPair_ = 0; // the mirrored pairs that have a wanted column
    std::size_t lastPair_ = 0;
    Scratch scratch_;
};
void WideFusedAll(const WideFused& job, int threads);

/// Chirp-style convolution of n samples through length 2n, in place on a grid:
/// y[k] = scale * post[k] * inverse( spectrum * forward( pre[j] x[j], zeros ) )[k], k in 0..n. Along rows or columns.
struct WideConvolution
{
    Complex* data = nullptr;
    std::size_t stride = 0;
    std::size_t columns = 0; ///< grid size; along the axis of the convolution the size is n
    std::size_t rows = 0;
    const Complex* pre = nullptr;      ///< n values, null for ones
    const Complex* spectrum = nullptr; ///< 2n values in transform order
    const Complex* post = nullptr;     ///< n values, null for ones
    float scale = 1.0f;                ///< 1/(2n) belongs here or in the spectrum
};

class WideRowConvolution
{
public:
    WideRowConvolution(const WideConvolution& job, int threads);
    void Part(int index, int size) const noexcept;

private:
    WideConvolution job_;
    const WideKernels* kernels_;
    const WideLength* length_;
    Scratch scratch_;
};

class WideColumnConvolution
{
public:
    WideColumnConvolution(const WideConvolution& job, int threads);
    void Part(int index, int size) const noexcept;

private:
    WideConvolution job_;
    const WideKernels* kernels_;
    const WideLength* length_;
    bool stream_;
    Scratch scratch_;
};

// ------------------------------------------------------------------------------------------- transforms made ready

/// WideFft1d in two steps: the constructor takes tables and scratch, Run() transforms the row that starts at `offset`.
class WideReadyRow
{
public:
    WideReadyRow(Complex* x, std::size_t n, int sign, bool halfShift, float scale, int threads);
    void Run(std::size_t offset = 0) const noexcept;

private:
    float* x_;
    int sign_;
    bool halfShift_;
    float scale_;
    const WideKernels* kernels_;
    const WideLength* length_;
    int team_;
    std::optional<Scratch> scratch_; // none for rows that fit the stack
};

/// WideFft2d in two steps.
class WideReadyGrid
{
public:
    WideReadyGrid(Complex* x, std::size_t nx, std::size_t ny, int sign, bool halfShift, float scale, int threads);
    WideReadyGrid(const WideReadyGrid&) = delete;
    WideReadyGrid& operator=(const WideReadyGrid&) = delete;
    void Run() const noexcept;

private:
    std::size_t nx_;
    std::size_t rows_; // done one after another by lines_
    int team_;
    std::optional<WideReadyRow> lines_;
    std::optional<WideStripPass> stripPass_;
    std::optional<WideRowPass> rowPass_; // borrows the strips' scratch
};
} // namespace LumoraLib::detail
