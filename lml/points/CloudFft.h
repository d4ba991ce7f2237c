// Transforms of one row at a time of lengths c 2^m, c = 1, 3, 5, 7 or 9, with a range of inputs and a range of outputs:
// c transforms of the wide engine on every c-th sample, joined where an output is wanted.
#ifndef LML_CLOUDFFT_H
#define LML_CLOUDFFT_H

#include "base/Scratch.h"
#include "points/WideCloud.h"
#include "transform/wide/WideFft.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace LumoraLib::detail
{
class CloudFft
{
public:
    /// X[k] = sum over t of x[t] exp(sign 2 pi i t k / n) for k = outFirst ... outFirst + outCount - 1 and as many t
    /// from inFirst on; indices of either sign, counts up to n. For `threads` threads with `batch` rows each.
    struct Shape
    {
        std::size_t n;
        int sign;
        std::int64_t inFirst;
        std::size_t inCount;
        std::int64_t outFirst;
        std::size_t outCount;
    };
    CloudFft(const Shape& shape, int batch, int threads);

    int Batch() const { return batch_; }
    /// Where the inputs of row `row` go: input t at index Places()[t].
    Complex* Row(int thread, int row) const
    {
        return memory_.As<Complex>(thread) + static_cast<std::size_t>(row) * RowStride();
    }
    std::size_t RowStride() const { return radix_ * stride_; }
    const std::uint32_t* Places() const { return places_.data(); }
    void Load(int thread, int row, const Complex* input) const
    {
        Complex* const to = Row(thread, row);
        for (std::size_t t = 0; t < shape_.inCount; ++t)
            to[places_[t]] = input[t];
    }
    /// Transforms row `row` of the thread and writes its outputs. Never fails.
    void Run(int thread, int row, Complex* output) const noexcept;

private:
    Shape shape_;
    int batch_;
    std::size_t radix_;
    std::size_t part_;   ///< length of the short transforms
    std::size_t stride_; ///< samples from one of them to the next
    const CloudKernels* kernels_;
    std::vector<std::uint32_t> places_;
    std::vector<float> re_; ///< roots of parts 1 ... radix - 1 at the outputs
    std::vector<float> im_;
    Scratch memory_;
    std::vector<std::unique_ptr<WideRowPass>> passes_; ///< thread by thread, row by row
};
} // namespace LumoraLib::detail

#endif
