// The values that the pixels of a field's picture show: samples averaged or repeated, and the range of their colours.

#include "pictures/Sampling.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace LumoraLib::pictures
{
namespace
{
constexpr double kPi = 3.141592653589793;
constexpr float kNone = std::numeric_limits<float>::quiet_NaN();

/// Samples from..to-1 that a pixel averages, and the weights of the first and the last one.
struct Span
{
    std::int32_t from;
    std::int32_t to;
    double first;
    double last;

    double Weight(std::int32_t n) const { return n == from ? first : n == to - 1 ? last : 1.0; }
};

/// Where a pixel is no larger than a sample it shows the sample at its middle.
Span SpanOf(std::int32_t pixel, std::int32_t pixels, std::int32_t samples)
{
    const double step = static_cast<double>(samples) / pixels;
    if (step <= 1.0)
    {
        const std::int32_t n = std::min(static_cast<std::int32_t>((pixel + 0.5) * step), samples - 1);
        return {n, n + 1, 1.0, 1.0};
    }
    const double begin = pixel * step;
    const double end = std::min((pixel + 1) * step, static_cast<double>(samples));
    const std::int32_t from = static_cast<std::int32_t>(begin + 1e-9);
    const std::int32_t to = std::min(static_cast<std::int32_t>(std::ceil(end - 1e-9)), samples);
    return {from, to, std::min(from + 1.0, end) - begin, end - (to - 1)};
}

struct Sums
{
    double intensity = 0.0;
    double re = 0.0;
    double im = 0.0;
    double weight = 0.0;
};

float Value(const Sums& s, PictureQuantity quantity)
{
    if (!(s.weight > 0.0))
        return kNone;
    switch (quantity)
    {
    case PICTURE_REAL:
        return static_cast<float>(s.re / s.weight);
    case PICTURE_IMAGINARY:
        return static_cast<float>(s.im / s.weight);
    case PICTURE_PHASE:
        return s.re == 0.0 && s.im == 0.0 ? kNone : static_cast<float>(std::atan2(s.im, s.re));
    default:
        return static_cast<float>(QuantityOf(quantity, std::sqrt(s.intensity / s.weight), 0.0));
    }
}
} // namespace

double QuantityOf(PictureQuantity quantity, double re, double im)
{
    switch (quantity)
    {
    case PICTURE_INTENSITY:
        return re * re + im * im;
    case PICTURE_DECIBEL:
        return 10.0 * std::log10(re * re + im * im);
    case PICTURE_PHASE:
        return std::atan2(im, re);
    case PICTURE_REAL:
        return re;
    case PICTURE_IMAGINARY:
        return im;
    default:
        return std::sqrt(re * re + im * im);
    }
}

Parts PartsOf(const Lumora& field, const Complex& sample)
{
    const double first = sample.GetReal();
    const double second = sample.GetImag();
    if (field.IsComplexForm())
        return {first, second};
    return {first * std::cos(second), first * std::sin(second)};
}

Raster Sample(const Lumora& field, const View& view, PictureQuantity quantity)
{
    Raster raster;
    const std::size_t width = static_cast<std::size_t>(view.width);
    raster.value.resize(width * static_cast<std::size_t>(view.height));
    if (quantity == PICTURE_COMPLEX)
        raster.phase.resize(raster.value.size());
    std::vector<Span> columns(width);
    for (std::int32_t i = 0; i < view.width; ++i)
        columns[static_cast<std::size_t>(i)] = SpanOf(i, view.width, view.samples.right - view.samples.left);
    std::vector<Sums> sums(width);
    const Complex* const data = field.GetDataPointer();
    for (std::int32_t j = 0; j < view.height; ++j)
    {
        std::fill(sums.begin(), sums.end(), Sums{});
        // The top row of the picture is the upper end of y.
        const Span rows = SpanOf(view.height - 1 - j, view.height, view.samples.top - view.samples.bottom);
        for (std::int32_t y = rows.from; y < rows.to; ++y)
        {
            const std::size_t row =
                static_cast<std::size_t>(field.GetNx()) * static_cast<std::size_t>(view.samples.bottom + y);
            const Complex* const from = data + row + static_cast<std::size_t>(view.samples.left);
            for (std::size_t i = 0; i < width; ++i)
                for (std::int32_t x = columns[i].from; x < columns[i].to; ++x)
                {
                    const auto [re, im] = PartsOf(field, from[x]);
                    const double intensity = re * re + im * im;
                    const double weight = rows.Weight(y) * columns[i].Weight(x);
                    if (!std::isfinite(intensity))
                        continue;
                    sums[i].intensity += weight * intensity;
                    sums[i].re += weight * re;
                    sums[i].im += weight * im;
                    sums[i].weight += weight;
                }
        }
        const std::size_t at = width * static_cast<std::size_t>(j);
        for (std::size_t i = 0; i < width; ++i)
        {
            raster.value[at + i] = Value(sums[i], quantity);
            if (quantity == PICTURE_COMPLEX)
                raster.phase[at + i] = static_cast<float>(std::atan2(sums[i].im, sums[i].re));
        }
    }
    return raster;
}

PictureRange RangeOf(const Raster& raster, const PictureStyle& style)
{
    if (style.quantity == PICTURE_PHASE)
        return {-kPi, kPi};
    if (style.low != style.high)
        return {style.low, style.high};
    const bool bothWays = style.quantity == PICTURE_REAL || style.quantity == PICTURE_IMAGINARY;
    std::vector<float> values;
    values.reserve(raster.value.size());
    for (const float v : raster.value)
        if (std::isfinite(v))
            values.push_back(bothWays ? std::fabs(v) : v);
    const bool decibels = style.quantity == PICTURE_DECIBEL;
    if (values.empty())
        return decibels ? PictureRange{-style.decibels, 0.0} : PictureRange{bothWays ? -1.0 : 0.0, 1.0};
    const std::size_t rank = static_cast<std::size_t>(
        std::ceil(std::clamp(style.clip / 100.0, 0.0, 1.0) * static_cast<double>(values.size())));
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(std::max<std::size_t>(rank, 1) - 1);
    std::nth_element(values.begin(), place, values.end());
    double top = *place;
    if (decibels)
        return {top - style.decibels, top};
    if (!(top > 0.0))
        top = *std::max_element(values.begin(), values.end());
    if (!(top > 0.0))
        top = 1.0; // a dark field
    return {bothWays ? -top : 0.0, top};
}
} // namespace LumoraLib::pictures
