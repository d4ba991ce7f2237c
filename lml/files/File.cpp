// LW, DE and CA files: a field behind a small head in single precision, and the arithmetic of stored fields.

#include "LmlLumora.h"
#include "base/Constants.h"
#include "base/IntMath.h"
#include "base/Texts.h"
#include "files/ByteIo.h"
#include "files/FieldFile.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace LumoraLib
{
namespace
{
using namespace detail;

// ---- LW ----------------------------------------------------------------------------------------------------------

constexpr std::int32_t kLwSamplesAt = 27;

/// Behind the two letters.
struct LwHead
{
    std::int32_t samplesAt;
    float wavelength;
    std::int32_t nx;
    std::int32_t ny;
    float px;
    float py;
    std::uint8_t option;
};
constexpr auto kLwHead =
    MakeHead<25>(At(0, &LwHead::samplesAt), At(4, &LwHead::wavelength), At(8, &LwHead::nx), At(12, &LwHead::ny),
                 At(16, &LwHead::px), At(20, &LwHead::py), At(24, &LwHead::option));

/// Creates the file and writes letters and head for nx by ny samples.
File CreateLw(const char* path, const char* function, const Lumora& field, const OptionHead* option, std::int32_t nx,
              std::int32_t ny)
{
    File file(path, "w+b");
    if (!file.IsOpen())
        Error(ERR_FILE_OPEN, function, path);
    ewrite(file, "LW", 2, path);
    if (option != nullptr)
        Error(ERR_INTERNAL, function, kTextNoOptionHead);
    const LwHead head = {kLwSamplesAt,
                         static_cast<float>(detail::kTwoPi / field.GetWavenumber()),
                         nx,
                         ny,
                         static_cast<float>(field.GetPx()),
                         static_cast<float>(field.GetPy()),
                         0};
    ewrite(file, kLwHead, head, path);
    return file;
}

/// Opens the file, checks the letters and reads the head.
File OpenLw(const char* path, const char* function, LwHead& head)
{
    File file(path, "rb");
    if (!file.IsOpen())
        Error(ERR_FILE_OPEN, function, path);
    std::array<char, 2> letters;
    eread(file, letters.data(), letters.size(), path);
    if (letters[0] != 'L' || letters[1] != 'W')
        Error(ERR_FILE_OPEN, function, path);
    eread(file, kLwHead, head, path);
    return file;
}

/// Refuses the caller's record where the file has one, and goes to the samples.
void SeekLwSamples(File& file, const LwHead& head, const OptionHead* option, const char* path, const char* function)
{
    if (head.option == 1 && option != nullptr)
        Error(ERR_INTERNAL, function, kTextNoOptionHead);
    if (!file.Seek(head.samplesAt))
        Error(ERR_FILE_OPEN, function, path);
}

// ---- DE ----------------------------------------------------------------------------------------------------------

/// Behind the four letters.
struct DeHead
{
    std::int32_t nx;
    std::int32_t ny;
    float px;
    float py;
    std::int32_t left;
    std::int32_t top;
    std::int32_t right;
    std::int32_t bottom;
};
constexpr auto kDeHead =
    MakeHead<32>(At(0, &DeHead::nx), At(4, &DeHead::ny), At(8, &DeHead::px), At(12, &DeHead::py), At(16, &DeHead::left),
                 At(20, &DeHead::top), At(24, &DeHead::right), At(28, &DeHead::bottom));

/// Opens the file, checks the letters, reported with `wrong` as the message, and reads the head.
File OpenDe(const char* path, const char* function, const char* wrong, DeHead& head)
{
    File file(path, "rb");
    if (!file.IsOpen())
        Error(ERR_FILE_OPEN, function, path);
    std::array<char, 4> letters;
    eread(file, letters.data(), letters.size(), path);
    if (letters != std::array<char, 4>{'D', 'E', '2', '0'})
        Error(ERR_FILE_OPEN, function, wrong);
    eread(file, kDeHead, head, path);
    return file;
}

// ---- Both --------------------------------------------------------------------------------------------------------

/// use(n, re, im) for the next `count` samples of the file, in order; what precedes a short read has been used by then.
template <class Use>
void ForEachSample(File& file, std::uint64_t count, const char* path, Use&& use)
{
    constexpr std::uint64_t block = 8192; // 64 KiB: above the stream's own buffer, so that reads go straight
    float samples[2 * block];
    for (std::uint64_t done = 0; done < count; done += block)
    {
        const std::size_t want = static_cast<std::size_t>(std::min(block, count - done));
        const std::size_t got = std::fread(samples, sizeof(Complex), want, file.Get());
        for (std::size_t n = 0; n < got; ++n)
            use(done + n, samples[2 * n], samples[2 * n + 1]);
        if (got < want)
            Error(ERR_FILE_READ, "eread", path);
    }
}

/// The samples that a file's head announces, bounded by what the field holds.
std::uint64_t BoundedCount(std::int64_t announced, const Lumora& field)
{
    return announced <= 0 ? 0 : std::min(static_cast<std::uint64_t>(announced), std::uint64_t{field.N()});
}
} // namespace

// ---- LW ----------------------------------------------------------------------------------------------------------

void Lumora::SaveAsLw(const char* path, const OptionHead* option) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::SaveAsLw";
    if (IsPolarForm())
        Error(ERR_COMPLEX_FORM, fn, path);
    RequireSamples(fn);
    File file = CreateLw(path, fn, *this, option, nx_, ny_);
    ewrite(file, dataPointer_, std::uint64_t{N()} * sizeof(Complex), path);
    file.Close(path);
}

void Lumora::SaveAsLW(const char* path, const OptionHead* option) const
{
    SaveAsLw(path, option);
}

void Lumora::WinSaveAsLw(const char* path, const OptionHead* option) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::WinSaveAsLw";
    if (IsPolarForm())
        Error(ERR_COMPLEX_FORM, fn, path);
    RequireSamples(fn);
    const LML_RECT w = GridWindow();
    File file = CreateLw(path, fn, *this, option, WrapSub(w.right, w.left), WrapSub(w.top, w.bottom));
    if (w.left < w.right)
        for (std::int32_t y = w.bottom; y < w.top; ++y)
            ewrite(file, dataPointer_ + Index(w.left, y),
                   std::uint64_t{sizeof(Complex)} * static_cast<std::uint32_t>(w.right - w.left), path);
    file.Close(path);
}

void Lumora::WinSaveAsLW(const char* path, const OptionHead* option) const
{
    WinSaveAsLw(path, option);
}

Lumora& Lumora::LoadLw(const char* path, OptionHead* option)
{
    static constexpr char fn[] = "LumoraLib::Lumora::LoadLw";
    if (form_ == SPECTRUM)
        Error(ERR_PARAMETER, fn, kTextTargetIsSpectrum);
    LwHead head{};
    File file = OpenLw(path, fn, head);
    SeekLwSamples(file, head, option, path, fn);
    if (!SizesAreSane(file, head.nx, head.ny))
        Error(ERR_FILE_READ, "eread", path);
    RemakeGrid(*this, head.nx, head.ny);
    form_ = COMPLEX_AMPLITUDE;
    px_ = head.px;
    py_ = head.py;
    k_ = detail::kTwoPi / head.wavelength;
    SetWindowMax();
    // Kept: the raised grid is read, so a file whose sizes are not powers of two ends in a read failure.
    if (!ReadSamples(file, *this, nx_, ny_, fn))
        Error(ERR_FILE_READ, "eread", path);
    return *this;
}

Lumora& Lumora::LoadLW(const char* path, OptionHead* option)
{
    return LoadLw(path, option);
}

Lumora& Lumora::MultiplyFileLW(const char* path, const OptionHead* option)
{
    static constexpr char fn[] = "LumoraLib::Lumora::MultiplyFileLW";
    if (IsPolarForm())
        Error(ERR_PARAMETER, fn, path);
    RequireSamples(fn);
    LwHead head{};
    File file = OpenLw(path, fn, head);
    SeekLwSamples(file, head, option, path, fn);
    // The products with the field's imaginary part are formed in single precision, the others and the sums in double.
    ForEachSample(file, BoundedCount(WrapMul(head.nx, head.ny), *this), path,
                  [this](std::uint64_t n, float fr, float fi)
                  {
                      const float re = dataPointer_[n].Real();
                      const float im = dataPointer_[n].Imag();
                      const float imFi = im * fi;
                      const float imFr = im * fr;
                      dataPointer_[n] =
                          Complex(static_cast<double>(re) * fr - imFi, static_cast<double>(re) * fi + imFr);
                  });
    return *this;
}

Lumora& Lumora::SuperimposeFileLW(const char* path, const OptionHead* option)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SuperimposeFileLW";
    // Kept: a spectrum is refused here and a polar field is not, the other way round from MultiplyFileLW.
    if (form_ == SPECTRUM)
        Error(ERR_PARAMETER, fn, path);
    RequireSamples(fn);
    LwHead head{};
    File file = OpenLw(path, fn, head);
    SeekLwSamples(file, head, option, path, fn);
    form_ = COMPLEX_AMPLITUDE;
    ForEachSample(file, BoundedCount(WrapMul(head.nx, head.ny), *this), path,
                  [this](std::uint64_t n, float fr, float fi)
                  {
                      dataPointer_[n].real() += fr;
                      dataPointer_[n].imag() += fi;
                  });
    return *this;
}

// ---- DE ----------------------------------------------------------------------------------------------------------

void Lumora::SaveAsDE(const char* path) const
{
    static constexpr char fn[] = "LumoraLib::Lumora::SaveAsDE";
    if (IsPolarForm())
        Error(ERR_COMPLEX_FORM, fn, "err");
    RequireSamples(fn);
    File file(path, "w+b");
    if (!file.IsOpen())
        Error(ERR_FILE_OPEN, fn, path);
    ewrite(file, "DE20", 4, path);
    const DeHead head = {nx_,          ny_,         static_cast<float>(px_), static_cast<float>(py_),
                         window_.left, window_.top, window_.right,           window_.bottom};
    ewrite(file, kDeHead, head, path);
    ewrite(file, dataPointer_, std::uint64_t{N()} * sizeof(Complex), path);
    file.Close(path);
}

void Lumora::SaveAsCA(const char* path) const
{
    SaveAsDE(path);
}

Lumora& Lumora::LoadDE(const char* path)
{
    static constexpr char fn[] = "LumoraLib::Lumora::LoadDE";
    if (form_ == SPECTRUM)
        Error(ERR_PARAMETER, fn, path);
    DeHead head{};
    File file = OpenDe(path, fn, path, head);
    if (!SizesAreSane(file, head.nx, head.ny))
        Error(ERR_FILE_READ, "eread", path);
    RemakeGrid(*this, head.nx, head.ny);
    form_ = COMPLEX_AMPLITUDE;
    px_ = head.px;
    py_ = head.py;
    // Kept: the window stays as stored, also where the grid is raised or the window lies outside of it.
    window_.left = head.left;
    window_.top = head.top;
    window_.right = head.right;
    window_.bottom = head.bottom;
    if (!ReadSamples(file, *this, head.nx, head.ny, fn))
        Error(ERR_FILE_READ, "eread", path);
    return *this;
}

Lumora& Lumora::LoadCA(const char* path)
{
    return LoadDE(path);
}

Lumora& Lumora::SuperimposeFileDE(const char* path)
{
    static constexpr char fn[] = "LumoraLib::Lumora::SuperimposeFileDE";
    RequireSamples(fn);
    DeHead head{};
    File file = OpenDe(path, fn, "wrong format", head);
    ForEachSample(file, BoundedCount(std::int64_t{head.nx} * head.ny, *this), path,
                  [this](std::uint64_t n, float fr, float fi)
                  {
                      dataPointer_[n].real() += fr;
                      dataPointer_[n].imag() += fi;
                  });
    return *this;
}

Lumora& Lumora::SuperimposeFileCA(const char* path)
{
    return SuperimposeFileDE(path);
}
} // namespace LumoraLib
