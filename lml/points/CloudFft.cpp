// Rows of length c 2^m with pruned inputs and outputs, on top of the wide engine.
#include "points/CloudFft.h"
#include "base/Constants.h"

#include "base/Floats.h"
#include "simd/SinCos.h"

#include <algorithm>
#include <cstring>

namespace LumoraLib::detail
{
namespace
{
// Short transforms lie a little more than a power of two apart, so that their samples do not share cache sets.
constexpr std::size_t kApart = 8;

std::size_t Modulo(std::int64_t i, std::size_t n)
{
    const std::int64_t m = i % static_cast<std::int64_t>(n);
    return static_cast<std::size_t>(m < 0 ? m + static_cast<std::int64_t>(n) : m);
}

std::size_t OddPart(std::size_t n)
{
    while (n % 2 == 0)
        n /= 2;
    return n;
}
} // namespace

CloudFft::CloudFft(const Shape& shape, int batch, int threads)
    : shape_(shape), batch_(batch), radix_(OddPart(shape.n)), part_(shape.n / radix_), stride_(part_ + kApart),
      kernels_(&WideClouds()),
      memory_(threads, (static_cast<std::size_t>(batch) + 1) * radix_ * stride_ * sizeof(Complex))
{
    places_.resize(shape.inCount);
    for (std::size_t t = 0; t < shape.inCount; ++t)
    {
        const std::size_t n = Modulo(shape.inFirst + static_cast<std::int64_t>(t), shape.n);
        places_[t] = static_cast<std::uint32_t>(n % radix_ * stride_ + n / radix_);
    }
    re_.resize((radix_ - 1) * shape.outCount);
    im_.resize(re_.size());
    for (std::size_t b = 1; b < radix_; ++b)
        for (std::size_t n = 0; n < shape.outCount; ++n)
        {
            const std::size_t k = Modulo(shape.outFirst + static_cast<std::int64_t>(n), shape.n);
            double s = 0.0;
            double c = 0.0;
            SinCos1(kTwoPi * static_cast<double>(b * k % shape.n) / static_cast<double>(shape.n), s, c);
            re_[(b - 1) * shape.outCount + n] = static_cast<float>(c);
            im_[(b - 1) * shape.outCount + n] = static_cast<float>(shape.sign < 0 ? -s : s);
        }
    // Inputs that no sample goes to stay zero: the short transforms write elsewhere.
    for (int thread = 0; thread < threads; ++thread)
    {
        std::memset(memory_[thread], 0, memory_.Bytes());
        Complex* const target = Row(thread, batch);
        for (int row = 0; row < batch; ++row)
        {
            const WideRange all = {0, part_};
            const WideRows job = {.source = {.samples = Row(thread, row), .stride = stride_, .range = all},
                                  .target = {.samples = target, .stride = stride_, .range = all},
                                  .rows = radix_,
                                  .n = part_,
                                  .sign = shape.sign};
            passes_.push_back(std::make_unique<WideRowPass>(job, 1));
        }
    }
}

void CloudFft::Run(int thread, int row, Complex* output) const noexcept
{
    passes_[static_cast<std::size_t>(thread) * static_cast<std::size_t>(batch_) + static_cast<std::size_t>(row)]->Part(
        0, 1);
    const float* const parts = Floats(Row(thread, batch_));
    // The short transforms are periodic: the wanted outputs pass through them once or several times. A single one has
    // no factors.
    const std::size_t step = radix_ > 1 ? 1 : 0;
    std::size_t done = 0;
    while (done < shape_.outCount)
    {
        const std::size_t at = Modulo(shape_.outFirst + static_cast<std::int64_t>(done), part_);
        const std::size_t count = std::min(part_ - at, shape_.outCount - done);
        kernels_->combine(parts + 2 * at, 2 * stride_, radix_, re_.data() + step * done, im_.data() + step * done,
                          shape_.outCount, count, Floats(output + done));
        done += count;
    }
}
} // namespace LumoraLib::detail
