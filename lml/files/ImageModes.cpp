// The shared mechanism of the 8-bit picture formats: from samples to bytes by mode, and from pixel values to samples.

#include "files/ImageModes.h"
#include "base/Constants.h"

#include "base/IntMath.h"
#include "base/Parallel.h"
#include "field/FieldTools.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace LumoraLib::detail
{
namespace
{
constexpr double kPerTurn = 0.15915494309189535; // 1 / (2 pi)

// Index: Mode; the last line stands for every other value.
constexpr ModeRule kModeRules[] = {
    {Shown::Intensity, Member::First, 0.0, 1.0},                      // ModeIntensity
    {Shown::Cartesian, Member::First, 1.0, 0.5},                      // ModeReal
    {Shown::Cartesian, Member::Second, 1.0, 0.5},                     // ModeImag
    {Shown::Polar, Member::Second, detail::kPi, kPerTurn},            // ModePhase
    {Shown::Polar, Member::First, 0.0, 1.0},                          // ModeAmplitude
    {Shown::LogIntensity, Member::First, 0.0, 1.0},                   // ModeLogIntensity
    {Shown::Polar, Member::SecondWhereBright, detail::kPi, kPerTurn}, // ModeMaskedPhase
    {Shown::Stored, Member::First, 0.0, 0.0},
};
constexpr std::int32_t kModes = 7;

constexpr std::size_t kStripSamples = std::size_t{1} << 18;   // samples that are prepared at a time: 2 MiB
constexpr std::uint64_t kStripBytes = std::uint64_t{1} << 20; // bytes of pixel rows that are read at a time

/// Largest amplitude inside `window`, which is not empty.
double LargestAmplitude(const Lumora& field, const LML_RECT& window)
{
    const Complex* const samples = field.GetDataPointer();
    const auto pair = [](const Complex& u)
    {
        return std::sqrt(u.GetReal() * u.GetReal() + u.GetImag() * u.GetImag());
    };
    // Kept: the running value starts from the corner sample read as a cartesian pair, also on a polar field, where a
    // large phase at the corner raises the threshold; and a polar spectrum is read as cartesian pairs throughout.
    const bool polar = FieldAccess::Form(field) == POLAR_AMPLITUDE;
    const double start = pair(field.GetPixel(window.left, window.bottom));
    return ReduceMax(static_cast<std::size_t>(window.top - window.bottom), start,
                     [&](std::size_t begin, std::size_t end, double largest)
                     {
                         for (std::size_t row = begin; row < end; ++row)
                         {
                             const Complex* const line =
                                 samples + field.IJ(0, static_cast<std::size_t>(window.bottom) + row);
                             for (std::int32_t i = window.left; i < window.right; ++i)
                             {
                                 const double value = polar ? line[i].GetReal() : pair(line[i]);
                                 if (value > largest)
                                     largest = value;
                             }
                         }
                         return largest;
                     });
}

/// Brings copies of samples to what the mode shows.
void Prepare(Shown shown, bool polar, Complex* samples, std::size_t count)
{
    switch (shown)
    {
    case Shown::Stored:
        break;
    case Shown::Intensity:
        ParallelFlat(count,
                     [&](std::size_t n)
                     {
                         const double re = samples[n].GetReal();
                         const double im = samples[n].GetImag();
                         const float a = samples[n].Real();
                         samples[n].real() = polar ? a * a : static_cast<float>(re * re + im * im);
                     });
        break;
    case Shown::LogIntensity:
    {
        const double base = std::log10(2.0);
        // Kept: in polar form the 1 stands outside the logarithm, whose argument is in single precision, in cartesian
        // form inside: the same field looks different in the two forms, and a dark polar sample gives minus infinity.
        ParallelFlat(count,
                     [&](std::size_t n)
                     {
                         const double re = samples[n].GetReal();
                         const double im = samples[n].GetImag();
                         const float a = samples[n].Real();
                         const double log =
                             polar ? static_cast<double>(std::log10(a * a)) + 1.0 : std::log10(re * re + 1.0 + im * im);
                         samples[n].real() = static_cast<float>(log / base);
                     });
        break;
    }
    case Shown::Cartesian:
        if (polar)
            SamplesToCartesian(samples, count);
        break;
    case Shown::Polar:
        if (!polar)
            SamplesToPolar(samples, count);
        break;
    }
}

/// Integer part of a pixel value, held between black and white; not-a-number is black.
Byte ClippedByte(double t)
{
    return !(t >= 1.0) ? Byte{0} : t >= 255.0 ? Byte{255} : static_cast<Byte>(TruncI32(t));
}

/// Lowest byte of the integer part; from 2^31 on, where there is no 32-bit integer, white as in every other format.
Byte WrappedByte(double t)
{
    return t >= 2147483648.0 ? Byte{255} : static_cast<Byte>(TruncI32(t) & 255);
}

/// Index of pixel p in a packed row.
std::uint32_t PixelIndex(const Byte* row, std::int32_t bits, std::size_t p)
{
    if (bits == 8)
        return row[p];
    if (bits == 4)
        return p % 2 == 0 ? row[p / 2] >> 4 : row[p / 2] & 15u;
    return (row[p / 8] & (128u >> (p & 7))) != 0 ? 1u : 0u;
}
} // namespace

const ModeRule& RuleOf(Mode mode)
{
    return kModeRules[mode >= 0 && mode < kModes ? mode : kModes];
}

LML_RECT WholeGrid(const Lumora& field)
{
    return {0, field.GetNy(), field.GetNx(), 0};
}

PictureSize SizeOf(const LML_RECT& window, const PictureFormat& format)
{
    // The window lies inside the grid: the differences do not overflow. Nor does the rounding where there are rows,
    // since a grid with samples has sizes of at most 2^30; without rows the other size can be anything.
    const std::int32_t width = std::max(0, window.right - window.left);
    const std::int32_t height = std::max(0, window.top - window.bottom);
    const std::int32_t multiple = format.rowMultiple;
    return {width, height, height == 0 ? 0 : (width + multiple - 1) / multiple * multiple};
}

void WritePixels(File& file, const char* path, const char* function, const Lumora& field, const LML_RECT& window,
                 Mode mode, const PictureFormat& format, const PictureRange& range, std::int32_t bar)
{
    const PictureSize size = SizeOf(window, format);
    if (size.width == 0 || size.height == 0)
        return;
    const bool unknown = mode == ModeLogIntensity && !format.showsLogIntensity;
    const ModeRule rule = unknown ? kModeRules[kModes] : RuleOf(mode);
    const bool automatic = range.IsAutomatic();
    const bool wraps = automatic && format.wrapsAutomaticRange;
    const double threshold =
        rule.member == Member::SecondWhereBright ? format.maskFraction * LargestAmplitude(field, window) : 0.0;

    const std::size_t width = static_cast<std::size_t>(size.width);
    const std::size_t rowBytes = static_cast<std::size_t>(size.rowBytes);
    const std::size_t height = static_cast<std::size_t>(size.height);
    const std::size_t stripRows = std::min(height, std::max<std::size_t>(1, kStripSamples / width));
    const auto prepared = MallocArray<Complex>(stripRows * width, function);
    const auto bytes = MallocArray<Byte>(stripRows * rowBytes, function);
    std::memset(bytes.get(), 0, stripRows * rowBytes);

    // Row of the window, counted from its bottom, for a row of the file.
    const auto windowRow = [&](std::size_t fileRow)
    {
        return format.topRowFirst ? height - 1 - fileRow : fileRow;
    };
    for (std::size_t first = 0; first < height; first += stripRows)
    {
        const std::size_t rows = std::min(stripRows, height - first);
        ParallelFlat(rows,
                     [&](std::size_t n)
                     {
                         const std::size_t y = static_cast<std::size_t>(window.bottom) + windowRow(first + n);
                         const Complex* const from =
                             field.GetDataPointer() + field.IJ(static_cast<std::size_t>(window.left), y);
                         std::copy(from, from + width, prepared.get() + n * width);
                     });
        Prepare(rule.shown, field.IsPolarForm(), prepared.get(), rows * width);
        ParallelFlat(rows,
                     [&](std::size_t n)
                     {
                         const Complex* const line = prepared.get() + n * width;
                         Byte* const row = bytes.get() + n * rowBytes;
                         for (std::size_t i = 0; i < width; ++i)
                         {
                             double s = line[i].GetReal();
                             if (rule.member == Member::Second)
                                 s = line[i].GetImag();
                             else if (rule.member == Member::SecondWhereBright)
                                 s = s >= threshold ? line[i].GetImag() : 0.0;
                             // In this order phase 0 is mid-grey 128; with scale * 255 formed first, pi falls short
                             // of 127.5 by one unit in the last place. The other modes are the same in either order.
                             const double t = automatic ? (s + rule.offset) * rule.scale * 255.0 + 0.5
                                                        : (s - range.min) / (range.max - range.min) * 255.0 + 0.5;
                             row[i] = wraps ? WrappedByte(t) : ClippedByte(t);
                         }
                         const double height01 =
                             static_cast<double>(windowRow(first + n)) / static_cast<double>(size.height);
                         const Byte scale = static_cast<Byte>(height01 * 255.0);
                         const std::size_t marked = bar <= 1 ? 0 : std::min(width, static_cast<std::size_t>(bar) - 1);
                         std::memset(row + width - marked, scale, marked);
                     });
        ewrite(file, bytes.get(), rows * rowBytes, path);
    }
}

PixelSamples MakePixelSamples(Mode mode, ComplexForm form, const std::array<double, PixelSamples::kMaxPixels>& values,
                              Complex background)
{
    PixelSamples made;
    made.stored = true;
    for (std::size_t n = 0; n < values.size(); ++n)
    {
        const double v = values[n];
        switch (mode)
        {
        case ModeIntensity:
            made.sample[n] = Complex(std::sqrt(v), 0.0);
            break;
        case ModeReal:
            made.sample[n] = Complex(2.0 * v - 1.0, 0.0);
            break;
        case ModeImag:
            made.sample[n] = Complex(1.0, 2.0 * v - 1.0);
            break;
        case ModePhase:
            made.sample[n] = Complex(1.0, detail::kTwoPi * v - detail::kPi);
            break;
        case ModeAmplitude:
            made.sample[n] = Complex(v, 0.0);
            break;
        default:
            made.sample[n] = Complex(0.0, 0.0);
            made.stored = false;
            break;
        }
    }
    made.sample[PixelSamples::kMaxPixels] = background;

    const bool polarMode = mode == ModeIntensity || mode == ModePhase || mode == ModeAmplitude;
    const bool cartesianMode = mode == ModeReal || mode == ModeImag;
    if (polarMode && form == COMPLEX_AMPLITUDE)
        SamplesToCartesian(made.sample.data(), made.sample.size());
    else if (cartesianMode && (form & 2) != 0)
        SamplesToPolar(made.sample.data(), made.sample.size());
    return made;
}

PixelStrip MakePixelStrip(std::uint64_t rows, std::uint64_t rowBytes, const char* function)
{
    const std::uint64_t stripRows = std::clamp<std::uint64_t>(kStripBytes / rowBytes, 1, rows);
    return {stripRows, MallocArray<Byte>(static_cast<std::size_t>(stripRows * rowBytes), function)};
}

void ReadPixels(File& file, const char* path, Lumora& field, const PixelRows& rows, const PixelSamples& samples,
                const PixelStrip& strip)
{
    const std::uint64_t count = static_cast<std::uint64_t>(rows.rows);
    Byte* const bytes = strip.bytes.get();
    const std::uint64_t perRow = rows.rowBytes * 8 / static_cast<std::uint64_t>(rows.bits);
    const std::size_t columns = static_cast<std::size_t>(rows.columns);
    const std::size_t inRow = static_cast<std::size_t>(std::min<std::uint64_t>(columns, perRow));

    for (std::uint64_t first = 0; first < count; first += strip.rows)
    {
        const std::uint64_t now = std::min(strip.rows, count - first);
        eread(file, bytes, now * rows.rowBytes, path);
        if (!samples.stored)
            continue;
        ParallelFlat(static_cast<std::size_t>(now),
                     [&](std::size_t n)
                     {
                         const Byte* const row = bytes + n * rows.rowBytes;
                         const std::int64_t y = rows.firstRow + rows.rowStep * static_cast<std::int64_t>(first + n);
                         Complex* const line =
                             field.GetDataPointer() +
                             field.IJ(static_cast<std::size_t>(rows.firstColumn), static_cast<std::size_t>(y));
                         for (std::size_t p = 0; p < inRow; ++p)
                             line[p] = samples.sample[PixelIndex(row, rows.bits, p)];
                         std::fill(line + inRow, line + columns, samples.sample[0]);
                     });
    }
}
} // namespace LumoraLib::detail
