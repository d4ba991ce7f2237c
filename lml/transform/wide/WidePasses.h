// Passes of the wide transform engine: transforms along all rows or columns of a grid, one sweep each.
//
// For several sweeps in one parallel region make the pass objects first (they take tables and scratch and may fail with
// ERR_MEMORY), then
//
//   ParallelTeam(threads, [&](int index, int size) {
//       rows.Part(index, size);  TeamBarrier(size);  columns.Part(index, size);  TeamBarrier(size);
//       back.Part(index, size);
//       });
//
// Part() never fails and never allocates. Every pass of one region must have been made for at least the team's size.
#ifndef LML_WIDEPASSES_H
#define LML_WIDEPASSES_H

#include "LmlTypes.h"
#include "base/Scratch.h"

#include <cstddef>

namespace LumoraLib::detail
{
struct WideLength;  // tables of one length (WideTables.h)
struct WideKernels; // entries of one instruction set (WideKernels.h)

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

/// Where the axis of a transform lies in an array of samples, and what of it is read or written: the whole axis, or the
/// part of it that an embedded field holds, where it is.
template <class Sample>
struct AxisView
{
    Sample* samples = nullptr;
    std::size_t stride = 0; ///< samples from one row of the array to the next
    std::size_t origin = 0; ///< axis index of the array's first column (transforms along rows) or row (along columns)
    WideRange range = {};   ///< axis indices read, the others are zero; or written, the others are left alone
    bool shift = false;     ///< index j of the array stands for index j ^ (n/2) of the transform
};

/// Below this many samples a 2-D operation runs on the calling thread alone: a team costs more than it gains.
inline constexpr std::size_t kWideTeamSamples = std::size_t{128} * 128;

/// Threads worth asking for: 1 below kWideTeamSamples, otherwise the count given.
inline int WideThreads(std::size_t samples, int threads)
{
    return samples < kWideTeamSamples || threads < 1 ? 1 : threads;
}

// ------------------------------------------------------------------------------------------------------------ rows

/// Transforms along rows. A range of the source does not begin before its origin.
struct WideRows
{
    AxisView<const Complex> source = {};
    AxisView<Complex> target = {}; ///< may be the source, with the same stride
    std::size_t rows = 0;          ///< number of rows
    std::size_t n = 0;             ///< length of the transform
    int sign = -1;
    float scale = 1.0f;
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
    /// The same for so many rows that lie elsewhere, strides and parts as the job says, by the scratch of thread
    /// `index`: for whoever has the rows of a job in pieces.
    void Rows(int index, const Complex* source, Complex* target, std::size_t rows) const noexcept;

private:
    WideRows job_;
    const WideKernels* kernels_;
    const WideLength* length_;
    bool stream_;
    Scratch own_;
    const Scratch* scratch_;
};

// --------------------------------------------------------------------------------------------------------- columns

/// Transforms along columns, the same with rows and columns exchanged. The work is cut in strips of 64 columns.
struct WideStrips
{
    AxisView<const Complex> source = {};
    AxisView<Complex> target = {};
    std::size_t columns = 0; ///< width of the grid
    WideRange which = {};    ///< columns to do, a cyclic range of the grid; the others are left alone
    std::size_t n = 0;       ///< length of the transform
    int sign = -1;
    float scale = 1.0f;
};

class WideStripPass
{
public:
    WideStripPass(const WideStrips& job, int threads);
    void Part(int index, int size) const noexcept;
    const Scratch& Memory() const { return scratch_; }

private:
    WideStrips job_;
    const WideKernels* kernels_;
    const WideLength* length_;
    bool stream_;
    Scratch scratch_;
};

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
    WideStrips strips = {}; ///< sign is not used; shifts belong to the data side, the spectrum is in transform order
    WideFactor factor = nullptr;
    const void* context = nullptr;
    /// Spectrum rows (transform order) that are zero whatever the factor, which is not asked for there.
    WideRange zeroRows = {};
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
    /// What a WideKeepPass over `keptColumns`, which hold all columns to do, has left of the source: the forward half
    /// is done then, and the source is not read. Same bits as without.
    const float* kept = nullptr;
    WideRange keptColumns = {};
};

/// The forward half of a WideFused alone, for several ways back with different factors: whole strips around the columns
/// to do, their spectra one after the other in the order in which a fused pass works on them. Not for lengths that take
/// more than one visit.
class WideKeepPass
{
public:
    static bool Takes(std::size_t n);
    /// Floats for the columns `which` of a grid with `columns` columns; aligned to 64 bytes.
    static std::size_t Floats(WideRange which, std::size_t columns, std::size_t n);
    /// The target, the sign and the scale of the job are not looked at.
    WideKeepPass(const WideStrips& job, float* kept, int threads);
    void Part(int index, int size) const noexcept;
    const Scratch& Memory() const { return scratch_; }

private:
    WideStrips job_;
    float* kept_;
    const WideKernels* kernels_;
    const WideLength* length_;
    Scratch scratch_;
};

class WideFusedPass
{
public:
    WideFusedPass(const WideFused& job, int threads);
    void Part(int index, int size) const noexcept;
    const Scratch& Memory() const { return scratch_; }

private:
    WideFused job_;
    const WideKernels* kernels_;
    const WideLength* length_;
    bool stream_;
    bool pairs_;
    std::size_t firstPair_ = 0; // the mirrored pairs that have a wanted column
    std::size_t lastPair_ = 0;
    Scratch scratch_;
};

// ---------------------------------------------------------------------------------------------------- convolutions

/// Chirp-style convolution of n samples through length 2n, in place on a grid:
/// y[k] = scale * post[k] * inverse( spectrum * forward( pre[j] x[j], zeros ) )[k], k in 0..n. Along rows or columns.
struct WideConvolution
{
    Complex* data = nullptr;
    std::size_t stride = 0;
    std::size_t columns = 0; ///< grid size; along the axis of the convolution the size is n
    std::size_t rows = 0;
    const Complex* pre = nullptr;      ///< n values
    const Complex* spectrum = nullptr; ///< 2n values in transform order
    const Complex* post = nullptr;     ///< n values
    float scale = 1.0f;                ///< 1/(2n) belongs here or in the spectrum
};

class WideRowConvolution
{
public:
    WideRowConvolution(const WideConvolution& job, int threads);
    void Part(int index, int size) const noexcept;
    /// The same for so many rows at `data`, by the scratch of thread `index`.
    void Rows(int index, Complex* data, std::size_t rows) const noexcept;

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
} // namespace LumoraLib::detail

#endif
