// Fields as text: profiles for plotting, the plain text field, and the comma-separated list that LoadCSV reads.
// Numbers have a decimal point in every locale.
// Kept: text has no write test: what does not fit on the disk is lost silently, so a caller has to look at the file.

#include "ByteIo.h"
#include "LmlLumora.h"
#include "TextLocale.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace LumoraLib
{
namespace
{
using namespace detail;

constexpr char kCsvLine[] = "%g,  %g,  %g,  %g,  %g,  %g\n";
constexpr char kTextLine[] = "%20g  %20g  %20g  %20g  %20g  %20g\n";

File CreateText(const char* path, const char* function)
{
    File file(path, "w+");
    if (!file.IsOpen())
        Error(ERR_FILE_OPEN, function, path);
    return file;
}

/// Coordinate, real, imaginary, amplitude, phase and intensity of a sample. The two floats are taken as they stand,
/// also in polar form; the intensity follows the mixed precision rule of Complex.
struct ProfileValues
{
    double p;
    double re;
    double im;
    double amplitude;
    double phase;
    double intensity;

    ProfileValues(double coordinate, const Complex& c)
        : p(coordinate), re(c.GetReal()), im(c.GetImag()), amplitude(c.Amplitude()), phase(std::atan2(im, re)),
          intensity(c.Intensity())
    {
    }
};

void PrintCsvHead(std::FILE* out, const char* coordinate)
{
    std::fprintf(out, "%s,  %s,  %s,  %s,  %s,  %s\n", coordinate, "Real", "Imaginary", "Amplitude", "Phase",
                 "Intensity");
}

void PrintCsvLine(std::FILE* out, const ProfileValues& v)
{
    std::fprintf(out, kCsvLine, v.p, v.re, v.im, v.amplitude, v.phase, v.intensity);
}

void PrintTextLine(std::FILE* out, const ProfileValues& v)
{
    std::fprintf(out, kTextLine, v.p, v.re, v.im, v.amplitude, v.phase, v.intensity);
}

/// A line of at most 200 characters; the rest of a longer one counts as the next line.
class LineReader
{
public:
    explicit LineReader(File& file) : in_(file.Get()) {}
    bool Next() { return std::fgets(line_, sizeof line_, in_) != nullptr; }
    const char* First() const { return line_; }
    /// The text behind the first comma, null where there is none.
    const char* Second() const
    {
        const char* comma = std::strchr(line_, ',');
        return comma == nullptr ? nullptr : comma + 1;
    }

private:
    std::FILE* in_;
    char line_[201];
};

/// A size by atoi rules; what does not fit 32 bits becomes the nearest limit.
std::int32_t ParseSize(const char* text)
{
    const long value = std::strtol(text, nullptr, 10);
    constexpr long low = std::numeric_limits<std::int32_t>::min();
    constexpr long high = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(value, low, high));
}

/// Memory that a list may ask for: its raised grid takes at most 256 MiB, or belongs to a list that can be complete. A
/// sample's line has two bytes at least (the comma and the line's end) and the raise makes less than four samples of
/// one, so a complete list never has more raised samples than twice its bytes; the bound leaves as much again.
bool SizesAreSane(std::int32_t nx, std::int32_t ny, std::int64_t fileBytes)
{
    constexpr std::int64_t freeSamples = std::int64_t{0x10000000} / static_cast<std::int64_t>(sizeof(Complex));
    if (nx < 0 || ny < 0)
        return false;
    if (nx == 0 || ny == 0)
        return true;
    std::int64_t raisedX = 1;
    std::int64_t raisedY = 1;
    while (raisedX < nx)
        raisedX *= 2;
    while (raisedY < ny)
        raisedY *= 2;
    const std::int64_t samples = raisedX * raisedY; // at most 2^62
    return samples <= freeSamples || (fileBytes > 0 && samples / 4 <= fileBytes);
}
} // namespace

void Lumora::SaveAsCsv(const char* path, Axis axis, int index) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::SaveAsCsv";
    if (form_ == POLAR_AMPLITUDE)
        Error(ERR_COMPLEX_FORM, fn, path);
    RequireSamples(fn);
    // Kept: the file is created before the index is looked at; a refused call leaves an empty file.
    const File file = CreateText(path, fn);
    if (index < 0 || index >= (axis != X_AXIS ? nx_ : ny_))
        Error(ERR_PARAMETER, fn, path);
    const LML_RECT w = GridWindow();
    const CLocaleScope point;
    if (axis != X_AXIS)
    {
        PrintCsvHead(file.Get(), "Local Y");
        for (std::int32_t y = w.bottom; y < w.top; ++y)
            PrintCsvLine(file.Get(), {Y(y), dataPointer_[Index(index, y)]});
    }
    else
    {
        PrintCsvHead(file.Get(), "Local X");
        for (std::int32_t x = w.left; x < w.right; ++x)
            PrintCsvLine(file.Get(), {X(x), dataPointer_[Index(x, index)]});
    }
}

void Lumora::SaveAsCSV(const char* path, int row) const
{
    SaveAsCsv(path, X_AXIS, row);
}

void Lumora::SaveAsText(const char* path, int row) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::SaveAsText";
    if (form_ == POLAR_AMPLITUDE)
        Error(ERR_COMPLEX_FORM, fn, path);
    if (row < 0 || row >= ny_)
        Error(ERR_PARAMETER, fn, path);
    RequireSamples(fn);
    const File file = CreateText(path, fn);
    const LML_RECT w = GridWindow();
    const CLocaleScope point;
    for (std::int32_t x = w.left; x < w.right; ++x)
        PrintTextLine(file.Get(), {X(x), dataPointer_[Index(x, row)]});
}

void Lumora::SaveAsPTF(const char* path) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::SaveAsPTF";
    if (IsPolarForm())
        Error(ERR_COMPLEX_FORM, fn, "err");
    RequireSamples(fn);
    const File file = CreateText(path, fn);
    const LML_RECT w = GridWindow();
    const CLocaleScope point;
    std::FILE* const out = file.Get();
    // Kept: the heading byte for byte, its spelling and the blank at a line's end included: readers may compare it.
    std::fputs("# Plain Text Field (PTF).\n", out);
    std::fputs("# Generated by T. Varnholt's Liblary \n", out);
    std::fputs("#\n\n", out);
    std::fprintf(out, "%d %d\n", w.right - w.left, w.top - w.bottom);
    for (std::int32_t y = w.bottom; y < w.top; ++y)
        for (std::int32_t x = w.left; x < w.right; ++x)
        {
            const Complex& c = dataPointer_[Index(x, y)];
            std::fprintf(out, "(%f, %f)\n", c.GetReal(), c.GetImag());
        }
}

Lumora& Lumora::LoadCSV(const char* path)
{
    static constexpr char fn[] = "LumoraLib::Lumora::LoadCSV";
    if (form_ == SPECTRUM)
        Error(ERR_PARAMETER, fn, path);
    form_ = COMPLEX_AMPLITUDE;
    File file(path, "r");
    if (!file.IsOpen())
        Error(ERR_FILE_OPEN, fn, path);
    const CLocaleScope point;
    LineReader line(file);
    if (!line.Next() || line.Second() == nullptr)
        Error(ERR_PARAMETER, fn, path);
    const std::int32_t nx = ParseSize(line.First());
    const std::int32_t ny = ParseSize(line.Second());
    if (!SizesAreSane(nx, ny, file.Length()))
        Error(ERR_PARAMETER, fn, path);
    nx_ = nx;
    ny_ = ny;
    if (N() != 0) // sizes of zero would give a caller's buffer to Free: no file may do that
        Init(nullptr);
    // Kept: the raised grid is read, row by row from its corner, and the window is not changed. A list that ends early
    // leaves the remaining samples as they were.
    const std::size_t count = N();
    for (std::size_t n = 0; n < count && line.Next(); ++n)
    {
        const char* second = line.Second();
        if (second == nullptr)
        {
            // A blank line ends the list; any other line without a comma is no sample.
            if (line.First()[std::strspn(line.First(), " \t\r\n")] == '\0')
                break;
            Error(ERR_PARAMETER, fn, path);
        }
        dataPointer_[n] = Complex(std::strtod(line.First(), nullptr), std::strtod(second, nullptr));
    }
    return *this;
}
} // namespace LumoraLib
