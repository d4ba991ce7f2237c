// Pictures as fields: where a picture comes to stand, its pixels averaged or interpolated to samples, and their phases.

#include "pictures/PictureFile.h"

#include <algorithm>
#include <cmath>

namespace LumoraLib
{
namespace pictures
{
namespace
{
constexpr char kLoad[] = "LumoraLib::LoadPicture";
constexpr char kPlace[] = "LumoraLib::PlacePicture";
constexpr double kPi = 3.141592653589793;
constexpr double kMaxSamples = 268435456.0; // 2^28, 2 GiB

/// Under which name and of which file failures are told.
struct Told
{
    const char* operation;
    std::string path;

    void Insist(bool condition, const char* cure) const
    {
        if (!condition)
            Refuse(ERR_PARAMETER, operation, path, cure);
    }
};

void RequireOptions(const PictureLoadOptions& o, const Told& told)
{
    told.Insist(o.width >= 0.0 && std::isfinite(o.width), "width must be 0 or a number of metres above");
    told.Insist(o.height >= 0.0 && std::isfinite(o.height), "height must be 0 or a number of metres above");
    told.Insist(o.value >= PICTURE_VALUE_INTENSITY && o.value <= PICTURE_VALUE_PHASE, "value: one of the list");
    told.Insist(o.phase == PICTURE_PHASE_CONSTANT || o.phase == PICTURE_PHASE_RANDOM, "phase: one of the list");
    told.Insist(o.gamma >= 0.01 && o.gamma <= 100.0, "gamma must be 0.01 to 100");
    told.Insist(std::isfinite(o.phaseValue), "phaseValue must be finite");
    told.Insist(o.pitch >= 0.0 && std::isfinite(o.pitch), "pitch must be 0 or a number of metres above");
    told.Insist(o.wavelength >= 0.0 && std::isfinite(o.wavelength), "wavelength must be 0 or a number of metres above");
    told.Insist(o.room >= 1.0 && o.room <= 64.0, "room must be 1 to 64");
}

struct Metres
{
    double width = 0.0; // 0: a sample a pixel
    double height = 0.0;
};

Metres SizeOf(const PictureImage& picture, const PictureLoadOptions& o)
{
    const double aspect = static_cast<double>(picture.width) / picture.height;
    if (o.width > 0.0 && o.height > 0.0)
    {
        if (!o.keepAspect)
            return {o.width, o.height};
        const double width = std::min(o.width, o.height * aspect);
        return {width, width / aspect};
    }
    if (o.width > 0.0)
        return {o.width, o.width / aspect};
    return {o.height * aspect, o.height};
}

/// Samples that the picture takes.
struct Samples
{
    std::int32_t nx;
    std::int32_t ny;
};

Samples SamplesOf(const PictureImage& picture, const PictureLoadOptions& o, double px, double py, const Told& told)
{
    const Metres size = SizeOf(picture, o);
    if (size.width == 0.0)
        return {picture.width, picture.height};
    const double nx = std::floor(size.width / px + 0.5);
    const double ny = std::floor(size.height / py + 0.5);
    told.Insist(nx >= 1.0 && ny >= 1.0, "the picture is smaller than a sample: a larger width or a smaller pitch");
    told.Insist(nx <= 1e9 && ny <= 1e9, "the picture takes too many samples: a smaller width or a larger pitch");
    return {static_cast<std::int32_t>(nx), static_cast<std::int32_t>(ny)};
}

/// The pixels that a sample is made of, and their weights: all those that it covers, or the two beside its middle.
struct Taps
{
    std::int32_t from;
    std::vector<double> weights;
};

Taps TapsOf(std::int32_t sample, std::int32_t samples, std::int32_t pixels, bool nearest)
{
    const double step = static_cast<double>(pixels) / samples;
    const double middle = (sample + 0.5) * step;
    if (nearest)
        return {std::min(static_cast<std::int32_t>(middle), pixels - 1), {1.0}};
    if (samples == pixels)
        return {sample, {1.0}};
    if (step < 1.0)
    {
        const double place = std::clamp(middle - 0.5, 0.0, pixels - 1.0);
        const std::int32_t from = static_cast<std::int32_t>(place);
        const double f = place - from;
        return f > 0.0 ? Taps{from, {1.0 - f, f}} : Taps{from, {1.0}};
    }
    const double begin = sample * step;
    const double end = std::min((sample + 1) * step, static_cast<double>(pixels));
    Taps taps{static_cast<std::int32_t>(begin), {}};
    for (std::int32_t n = taps.from; n < end; ++n)
        taps.weights.push_back((std::min(n + 1.0, end) - std::max(static_cast<double>(n), begin)) / (end - begin));
    return taps;
}

/// Number n of a stream of uniform numbers 0 to 1: a counter with a mixing function (ACM SIGPLAN Notices 49, 10 (2014)
/// 453), the same everywhere.
double Uniform(std::uint64_t seed, std::uint64_t n)
{
    constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15u;
    std::uint64_t z = seed * 0xD1342543DE82EF95u + (n + 1) * kStep;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
    z = (z ^ z >> 27) * 0x94D049BB133111EBu;
    return static_cast<double>((z ^ z >> 31) >> 11) * 0x1p-53;
}

/// Rows of the picture as the values that are averaged, 0 to 1.
void GreyRow(const PictureImage& picture, std::int32_t row, const PictureLoadOptions& o, std::vector<double>& values)
{
    for (std::int32_t i = 0; i < picture.width; ++i)
    {
        double v = std::clamp(picture.Grey(i, row), 0.0, 1.0);
        if (o.gamma != 1.0)
            v = std::pow(v, o.gamma);
        values[static_cast<std::size_t>(i)] = o.negative ? 1.0 - v : v;
    }
}

Complex SampleOf(double value, const PictureLoadOptions& o, std::uint64_t number, bool polar)
{
    double amplitude = value;
    double phase = o.phaseValue;
    if (o.value == PICTURE_VALUE_PHASE)
    {
        amplitude = 1.0;
        phase = 2.0 * kPi * value - kPi;
    }
    else
    {
        if (o.value == PICTURE_VALUE_INTENSITY)
            amplitude = std::sqrt(value);
        if (o.phase == PICTURE_PHASE_RANDOM)
            phase = 2.0 * kPi * Uniform(o.seed, number) - kPi;
    }
    if (polar)
        return Complex(amplitude, phase);
    return phase == 0.0 ? Complex(amplitude, 0.0) : Complex(amplitude * std::cos(phase), amplitude * std::sin(phase));
}

void RequireField(const Lumora& field, const char* operation)
{
    RequireGrid(field, operation);
    if (field.IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, operation, "a picture is no spectrum: transform the field back first");
}

/// All memory is there before the field is touched.
void Place(Lumora& field, const PictureImage& picture, const PictureLoadOptions& o, const Told& told)
{
    const Samples n = SamplesOf(picture, o, field.GetPx(), field.GetPy(), told);
    const std::int32_t left = field.GetNx() / 2 - n.nx / 2;
    const std::int32_t bottom = field.GetNy() / 2 - n.ny / 2;
    const std::int32_t fromX = std::max(-left, 0);
    const std::int32_t toX = std::min(n.nx, field.GetNx() - left);
    const std::int32_t fromY = std::max(-bottom, 0);
    const std::int32_t toY = std::min(n.ny, field.GetNy() - bottom);
    const bool nearest = o.value == PICTURE_VALUE_PHASE;
    std::vector<Taps> columns;
    for (std::int32_t i = fromX; i < toX; ++i)
        columns.push_back(TapsOf(i, n.nx, picture.width, nearest));
    std::vector<Taps> rows; // row 0 of the picture is its top, sample row 0 is the lowest
    for (std::int32_t j = fromY; j < toY; ++j)
        rows.push_back(TapsOf(n.ny - 1 - j, n.ny, picture.height, nearest));
    std::vector<double> greys(static_cast<std::size_t>(picture.width));
    std::vector<double> sums(columns.size());

    field.Clear();
    for (std::int32_t j = fromY; j < toY; ++j)
    {
        const Taps& taken = rows[static_cast<std::size_t>(j - fromY)];
        std::fill(sums.begin(), sums.end(), 0.0);
        for (std::size_t r = 0; r < taken.weights.size(); ++r)
        {
            GreyRow(picture, taken.from + static_cast<std::int32_t>(r), o, greys);
            for (std::size_t i = 0; i < columns.size(); ++i)
            {
                const Taps& taps = columns[i];
                double sum = 0.0;
                for (std::size_t t = 0; t < taps.weights.size(); ++t)
                    sum += taps.weights[t] * greys[static_cast<std::size_t>(taps.from) + t];
                sums[i] += taken.weights[r] * sum;
            }
        }
        const std::uint64_t first = static_cast<std::uint64_t>(j) * static_cast<std::uint64_t>(n.nx);
        for (std::size_t i = 0; i < columns.size(); ++i)
        {
            const std::int32_t x = fromX + static_cast<std::int32_t>(i);
            field.SetPixel(left + x, bottom + j,
                           SampleOf(sums[i], o, first + static_cast<std::uint64_t>(x), field.IsPolarForm()));
        }
    }
    field.SetWindow(left + fromX, left + toX, bottom + fromY, bottom + toY);
}

std::int32_t PowerOfTwo(double atLeast)
{
    std::int32_t n = 1;
    while (n < atLeast)
        n *= 2;
    return n;
}
} // namespace
} // namespace pictures

Lumora LoadPicture(const std::string& path, const PictureLoadOptions& options)
{
    using namespace pictures;
    const Told told{kLoad, path};
    RequireOptions(options, told);
    return Guarded(kLoad,
                   [&]
                   {
                       const PictureImage picture = ReadPictureAs(path, kLoad);
                       const Metres size = SizeOf(picture, options);
                       const bool fitted = options.pitch == 0.0 && size.width > 0.0;
                       const double px = options.pitch > 0.0 ? options.pitch
                                         : fitted            ? size.width / picture.width
                                                             : Lumora::GetDefaultPx();
                       const double py = options.pitch > 0.0 ? options.pitch
                                         : fitted            ? size.height / picture.height
                                                             : Lumora::GetDefaultPy();
                       const Samples n = SamplesOf(picture, options, px, py, told);
                       const double nx = n.nx * options.room;
                       const double ny = n.ny * options.room;
                       told.Insist(nx <= kMaxSamples && ny <= kMaxSamples &&
                                       static_cast<double>(PowerOfTwo(nx)) * PowerOfTwo(ny) <= kMaxSamples,
                                   "more than 2^28 samples: a smaller width or room, or a larger pitch");
                       const double wavelength =
                           options.wavelength > 0.0 ? options.wavelength : Lumora::GetDefaultWavelength();
                       Lumora field(PowerOfTwo(nx), PowerOfTwo(ny), px, py, wavelength);
                       Place(field, picture, options, told);
                       return field;
                   });
}

Lumora& LoadPicture(Lumora& field, const std::string& path, const PictureLoadOptions& options)
{
    using namespace pictures;
    const Told told{kLoad, path};
    RequireOptions(options, told);
    RequireField(field, kLoad);
    Guarded(kLoad, [&] { Place(field, ReadPictureAs(path, kLoad), options, told); });
    return field;
}

Lumora& PlacePicture(Lumora& field, const PictureImage& picture, const PictureLoadOptions& options)
{
    using namespace pictures;
    const Told told{kPlace, "picture"};
    told.Insist(HoldsTogether(picture), "sizes, channels, bits and samples do not fit together");
    RequireOptions(options, told);
    RequireField(field, kPlace);
    Guarded(kPlace, [&] { Place(field, picture, options, told); });
    return field;
}
} // namespace LumoraLib
