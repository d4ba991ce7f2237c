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
// Here are the whole transforms: WideFft1d and WideFft2d, and WideReadyGrid where the caller must know before it
// touches anything that the transform cannot fail. WidePasses.h has the sweeps that they and the fused operations
// consist of.
#ifndef LML_WIDEFFT_H
#define LML_WIDEFFT_H

#include "LmlTypes.h"
#include "base/Scratch.h"
#include "transform/wide/WidePasses.h"

#include <cstddef>
#include <optional>

namespace LumoraLib::detail
{
/// 1-D transform in place of x[0..n), n a power of two up to kLongestTransform (the callers' check); with `halfShift`
/// both quadrant exchanges are folded in. Up to 65536 it runs on the calling thread, within a buffer of about n samples
/// (on the stack up to 4096); longer ones take three sweeps by the team in place, with tables of about n/20 samples.
/// Not for use inside a parallel region of the library. Errors: ERR_MEMORY as Malloc(), x is then untouched.
void WideFft1d(Complex* x, std::size_t n, int sign, bool halfShift, float scale, int threads);

/// 2-D transform in place of ny rows of nx samples, both powers of two; any shape, the best speed for 256..16384.
/// Scratch per thread: a strip of 64 columns. `scale` is applied last. Errors: ERR_MEMORY as Malloc(), x untouched.
void WideFft2d(Complex* x, std::size_t nx, std::size_t ny, int sign, bool halfShift, float scale, int threads);

/// WideFft1d in two steps: the constructor takes tables and scratch, Run() transforms the row that starts at `offset`.
class WideReadyRow
{
public:
    WideReadyRow(Complex* x, std::size_t n, int sign, bool halfShift, float scale, int threads);
    void Run(std::size_t offset = 0) const noexcept;

private:
    Complex* x_;
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
    /// The same with questions to the progress handler between the sweeps: a cancellation leaves samples between.
    void RunWatched() const;

private:
    std::size_t nx_;
    std::size_t rows_; // done one after another by lines_
    int team_;
    std::optional<WideReadyRow> lines_;
    std::optional<WideStripPass> stripPass_;
    std::optional<WideRowPass> rowPass_; // borrows the strips' scratch
};
} // namespace LumoraLib::detail

#endif
