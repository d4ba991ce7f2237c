// Fields as text: profiles for plotting, the plain text field, and the comma-separated list that LoadCSV reads.
// Numbers have a decimal point in every locale. What did not reach the disk is noticed when a file is closed.

#include "LmlLumora.h"
#include "base/Progress.h"
#include "base/TextLocale.h"
#include "files/ByteIo.h"
#include "files/FieldFile.h"

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
    /// Next came to no end of the file: it could not be read on.
    bool Failed() const { return std::ferror(in_) != 0; }
    bool IsBlank() const { return line_[std::strspn(line_, " \t\r\n")] == '\0'; }
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
} // namespace

void Lumora::SaveAsCsv(const char* path, Axis axis, int index) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::SaveAsCsv";
    if (form_ == POLAR_AMPLITUDE)
        Error(ERR_COMPLEX_FORM, fn, path);
    RequireSamples(fn);
    // Kept: the file is created before the index is looked at; a refused call leaves an empty file.
    File file = CreateText(path, fn);
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
    file.Close(path);
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
    File file = CreateText(path, fn);
    const LML_RECT w = GridWindow();
    const CLocaleScope point;
    for (std::int32_t x = w.left; x < w.right; ++x)
        PrintTextLine(file.Get(), {X(x), dataPointer_[Index(x, row)]});
    file.Close(path);
}

void Lumora::SaveAsPTF(const char* path) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::SaveAsPTF";
    if (IsPolarForm())
        Error(ERR_COMPLEX_FORM, fn, "err");
    RequireSamples(fn);
    File file = CreateText(path, fn);
    const LML_RECT w = GridWindow();
    const CLocaleScope point;
    std::FILE* const out = file.Get();
    // Kept: the heading byte for byte, its spelling and the blank at a line's end included: readers may compare it.
    std::fputs("# Plain Text Field (PTF).\n", out);
    std::fputs("# Generated by T. Varnholt's Liblary \n", out);
    std::fputs("#\n\n", out);
    std::fprintf(out, "%d %d\n", w.right - w.left, w.top - w.bottom);
    Progress progress(fn, w.top - w.bottom);
    for (std::int32_t y = w.bottom; y < w.top; ++y)
    {
        progress.Step(y - w.bottom);
        for (std::int32_t x = w.left; x < w.right; ++x)
        {
            const Complex& c = dataPointer_[Index(x, y)];
            std::fprintf(out, "(%f, %f)\n", c.GetReal(), c.GetImag());
        }
    }
    file.Close(path);
}

Lumora& Lumora::LoadCSV(const char* path)
{
    static constexpr char fn[] = "LumoraLib::Lumora::LoadCSV";
    if (form_ == SPECTRUM)
        Error(ERR_PARAMETER, fn, path);
    File file(path, "r");
    if (!file.IsOpen())
        Error(ERR_FILE_OPEN, fn, path);
    const CLocaleScope point;
    LineReader line(file);
    const bool first = line.Next();
    if (line.Failed())
        Error(ERR_FILE_READ, "eread", path);
    if (!first || line.Second() == nullptr)
        Error(ERR_PARAMETER, fn, path);
    const std::int32_t nx = ParseSize(line.First());
    const std::int32_t ny = ParseSize(line.Second());
    // A sample's line has two bytes at least (the comma and the line's end) and the raise makes less than four samples
    // of one, so a complete list never has more raised samples than twice its bytes; the bound leaves as much again.
    if (!SizesAreSane(file, nx, ny, 32))
        Error(ERR_PARAMETER, fn, path);
    RemakeGrid(*this, nx, ny);
    form_ = COMPLEX_AMPLITUDE;
    // Kept: the raised grid is read, row by row from its corner, and the window is not changed. A list that ends early
    // leaves the remaining samples as they were; blank lines may stand at its end only.
    const std::size_t count = N();
    std::size_t n = 0;
    bool ended = false;
    bool refused = false;
    Progress progress(fn, static_cast<std::int64_t>(count));
    constexpr std::size_t kBetween = std::size_t{1} << 16; // samples: some milliseconds
    const auto clearRest = [&]                             // no mixture with another field
    {
        std::fill(dataPointer_ + n, dataPointer_ + count, Complex(0.0, 0.0));
    };
    while (n < count && !refused && line.Next())
    {
        try
        {
            if (n % kBetween == 0)
                progress.Step(static_cast<std::int64_t>(n));
        }
        catch (...)
        {
            clearRest();
            throw;
        }
        const char* const second = line.Second();
        refused = second == nullptr ? !line.IsBlank() : ended;
        ended = second == nullptr;
        if (!ended && !refused)
            dataPointer_[n++] = Complex(std::strtod(line.First(), nullptr), std::strtod(second, nullptr));
    }
    if (refused || line.Failed())
    {
        clearRest();
        refused ? Error(ERR_PARAMETER, fn, path) : Error(ERR_FILE_READ, "eread", path);
    }
    return *this;
}
} // namespace LumoraLib
