// BMP pictures: the 8-bit indexed writer with its two palettes, and the reader of 8-bit and 4-bit pictures.

#include "files/Bmp.h"
#include "base/IntMath.h"
#include "base/Texts.h"
#include "field/FieldTools.h"
#include "files/FieldFile.h"
#include "files/ImageModes.h"

#include <cstdint>

namespace LumoraLib
{
namespace
{
using detail::At;
using detail::Byte;
using detail::FieldAccess;
using detail::File;
using detail::MakeHead;
using detail::Reserved;

struct FileHead
{
    std::uint16_t type = 0x4D42; // the letters "BM"
    std::uint32_t size = 0;
    std::int32_t pixelsAt = 0;
};
constexpr auto kFileHead =
    MakeHead<14>(At(0, &FileHead::type), At(2, &FileHead::size), Reserved(6, 4), At(10, &FileHead::pixelsAt));

struct InfoHead
{
    std::uint32_t bytes = 40;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::uint16_t planes = 1;
    std::uint16_t bits = 8;
    std::uint32_t compression = 0;
    std::uint32_t pixelBytes = 0;
    std::int32_t perMeterX = 0;
    std::int32_t perMeterY = 0;
    std::uint32_t colours = 0;
    std::uint32_t important = 0;
};
constexpr auto kInfoHead =
    MakeHead<40>(At(0, &InfoHead::bytes), At(4, &InfoHead::width), At(8, &InfoHead::height), At(12, &InfoHead::planes),
                 At(14, &InfoHead::bits), At(16, &InfoHead::compression), At(20, &InfoHead::pixelBytes),
                 At(24, &InfoHead::perMeterX), At(28, &InfoHead::perMeterY), At(32, &InfoHead::colours),
                 At(36, &InfoHead::important));

constexpr std::int32_t kHeadBytes = 54;                        // both heads
constexpr std::size_t kColours = 256;                          // of a written picture
constexpr std::size_t kPaletteBytes = 1024;                    // blue, green, red, unused for each
constexpr std::int32_t kPixelsAt = 1078;                       // heads and palette
constexpr char kSaver[] = "LumoraLib::Lumora::WinSaveAsBMPEx"; // every saver reports under this name
constexpr std::int32_t kBar = 10;                              // width of the scale bar where the caller names none

using Palette = std::array<Byte, kPaletteBytes>;

constexpr void SetColour(Palette& palette, std::size_t index, Byte red, Byte green, Byte blue)
{
    palette[4 * index] = blue;
    palette[4 * index + 1] = green;
    palette[4 * index + 2] = red;
}

constexpr Palette MakeGrey()
{
    Palette palette{};
    for (std::size_t i = 0; i < kColours; ++i)
        SetColour(palette, i, static_cast<Byte>(i), static_cast<Byte>(i), static_cast<Byte>(i));
    return palette;
}

/// Violet, blue, cyan, green, yellow, red with rising index: the hue circle from 300 degrees down to 0, in sectors of
/// 60 degrees. Above 240 degrees the brightness falls to 0 at index 0.
constexpr Palette MakeRainbow()
{
    enum Level
    {
        kNone,
        kFull,
        kFalling,
        kRising
    };
    constexpr Level kSectors[6][3] = {
        // red, green, blue
        {kFull, kRising, kNone},  {kFalling, kFull, kNone}, {kNone, kFull, kRising},
        {kNone, kFalling, kFull}, {kRising, kNone, kFull},  {kFull, kNone, kFalling},
    };
    Palette palette{};
    // Kept: the brightness is not set back below 240 degrees, so every colour there has the value of the last one
    // above, about 0.98: pure red at index 255 is 249, not 255.
    double brightness = 1.0;
    for (std::size_t i = 0; i < kColours; ++i)
    {
        const double hue = static_cast<double>(255 - i) / 255.0 * 300.0;
        if (hue > 240.0)
            brightness = 1.0 - (hue - 240.0) / 60.0;
        const double position = hue / 60.0;
        const std::size_t sector = static_cast<std::size_t>(position);
        const double fraction = position - static_cast<double>(sector);
        const double level[4] = {0.0, brightness, (1.0 - fraction) * brightness, fraction * brightness};
        const auto byte = [&](std::size_t component)
        {
            return static_cast<Byte>(255.0 * level[kSectors[sector][component]]);
        };
        SetColour(palette, i, byte(0), byte(1), byte(2));
    }
    return palette;
}

constexpr Palette kGrey = MakeGrey();
constexpr Palette kRainbow = MakeRainbow();

} // namespace

namespace detail
{
void WriteBmpStart(File& file, const char* path, const PictureSize& size, double px, double py, std::int32_t gradation)
{
    const std::uint64_t pixelBytes =
        static_cast<std::uint64_t>(size.rowBytes) * static_cast<std::uint64_t>(size.height);
    FileHead head;
    head.size = static_cast<std::uint32_t>(kPixelsAt + pixelBytes); // beyond 4 GiB the lowest 32 bits
    head.pixelsAt = kPixelsAt;
    InfoHead info;
    info.width = size.width;
    info.height = size.height;
    info.pixelBytes = static_cast<std::uint32_t>(pixelBytes);
    info.perMeterX = TruncI32(1.0 / px);
    info.perMeterY = TruncI32(1.0 / py);
    ewrite(file, kFileHead, head, path);
    ewrite(file, kInfoHead, info, path);
    ewrite(file, (gradation == GradationGrey ? kGrey : kRainbow).data(), kPaletteBytes, path);
}
} // namespace detail

namespace
{
/// Every saver: writes `window` of the field, which stays unchanged.
void Save(const Lumora& field, const LML_RECT& window, const char* path, Mode mode, double min, double max,
          std::int32_t gradation, std::int32_t bar)
{
    FieldAccess::RequireSamples(field, kSaver);
    File file(path, "wb");
    if (!file.IsOpen())
        Error(ERR_FILE_OPEN, kSaver, path);
    if (min > max)
        Error(ERR_PARAMETER, kSaver, detail::kTextMaxBelowMin);

    const detail::PictureSize size = detail::SizeOf(window, detail::kBmpPicture);
    detail::WriteBmpStart(file, path, size, field.GetPx(), field.GetPy(), gradation);
    detail::WritePixels(file, path, kSaver, field, window, mode, detail::kBmpPicture, {min, max}, bar);
    file.Close(path);
}

void SaveWindow(const Lumora& field, const char* path, Mode mode, double min, double max, std::int32_t gradation,
                std::int32_t bar)
{
    Save(field, FieldAccess::GridWindow(field), path, mode, min, max, gradation, bar);
}

void SaveGrid(const Lumora& field, const char* path, Mode mode, double min, double max, std::int32_t gradation,
              std::int32_t bar)
{
    Save(field, detail::WholeGrid(field), path, mode, min, max, gradation, bar);
}

/// The grey value 0 ... 1 of each pixel index. The palette's place and its count in the file have been checked.
std::array<double, kColours> ReadGreys(File& file, const char* path, std::size_t entries)
{
    std::array<double, kColours> greys{}; // an index beyond the palette is black
    Palette palette{};
    eread(file, palette.data(), 4 * entries, path);
    for (std::size_t i = 0; i < entries; ++i)
    {
        // Kept: these weights are not those of the usual luminance rule (0.114, 0.587, 0.299): a colour picture loads
        // with slightly other greys than a viewer's grey conversion shows.
        const double blue = palette[4 * i];
        const double green = palette[4 * i + 1];
        const double red = palette[4 * i + 2];
        greys[i] = static_cast<double>(static_cast<float>((0.1 * blue + 0.6 * green + 0.3 * red) / 255.0));
    }
    return greys;
}

/// Where the picture's first column or row falls in a grid of n samples.
std::int32_t Placement(std::int32_t n, std::int32_t size)
{
    return detail::TruncI32((n - size) * 0.5 + 0.5);
}

/// Both loaders. Everything in the file is checked before the field is touched, so a refused file leaves it as it was.
void Load(Lumora& field, const char* fn, const char* path, Mode mode, Complex background)
{
    const ComplexForm form = FieldAccess::Form(field);
    if (form == SPECTRUM)
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, "");
    File file(path, "rb");
    if (!file.IsOpen())
        Error(ERR_FILE_OPEN, fn, path);
    FileHead head;
    eread(file, kFileHead, head, path);
    if (head.type != 0x4D42)
        Error(ERR_FILE_OPEN, fn, path);
    InfoHead info;
    eread(file, kInfoHead, info, path);

    // Kept: 2 bits pass here and are refused behind the palette; 1 bit is refused although its rows could be decoded.
    if (info.bits != 8 && info.bits != 4 && info.bits != 2)
        Error(ERR_FILE_READ, fn, "Unsupported Pixel Bits");
    if (info.compression != 0)
        Error(ERR_FILE_READ, fn, "Unsupported File Type");
    if (info.width <= 0 || info.height == 0 || info.height == INT32_MIN)
        Error(ERR_FILE_READ, fn, "file format error");
    const bool topDown = info.height < 0;
    const std::int32_t width = info.width;
    const std::int32_t height = topDown ? -info.height : info.height;

    // The palette stands directly behind the 40 bytes, whatever the head's own size says.
    const std::size_t nameable = std::size_t{1} << info.bits;
    const std::uint64_t entries = info.colours == 0 ? nameable : info.colours;
    if (!FitsInFile(file, kHeadBytes, entries, 4))
        Error(ERR_FILE_READ, "eread", path);
    const std::array<double, kColours> greys =
        ReadGreys(file, path, static_cast<std::size_t>(entries < nameable ? entries : nameable));
    if (head.pixelsAt < kHeadBytes)
        Error(ERR_FILE_READ, fn, "file format error");
    if (info.bits == 2)
        Error(ERR_FILE_READ, fn, "Abnormal pixel depth");

    // The grid that the picture comes into. With the old number of samples the sizes are taken as they are.
    const std::uint64_t count = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
    const bool remake = count != field.N() || FieldAccess::Capacity(field) < count;
    const auto raised = [&](std::int32_t n)
    {
        return remake ? detail::RaisedToPowerOfTwo(n) : std::int64_t{n};
    };
    const std::int64_t ny = raised(height);
    // Kept: a size that differs from the raised one by an odd number loses its last column or its top row.
    const std::int32_t lost = static_cast<std::int32_t>((ny - height) & 1);
    const std::int32_t used = height - lost;
    const std::uint64_t rowBytes = detail::PaddedRowBytes(width, info.bits);
    // The lost top row comes last in the file, or first, where it is read past.
    const std::uint64_t skipped = topDown ? static_cast<std::uint64_t>(lost) * rowBytes : 0;
    const std::int64_t pixelsAt = head.pixelsAt + static_cast<std::int64_t>(skipped);
    if (!FitsInFile(file, pixelsAt, static_cast<std::uint64_t>(used), rowBytes))
        Error(ERR_FILE_READ, "eread", path);

    if (!file.Seek(pixelsAt))
        Error(ERR_FILE_READ, fn, "file format error");

    const detail::PixelSamples samples = detail::MakePixelSamples(mode, form, greys, background);
    const detail::PixelStrip strip = detail::MakePixelStrip(static_cast<std::uint64_t>(used), rowBytes, fn);
    if (remake)
    {
        detail::RemakeGrid(field, width, height);
        field.SetWindowMax();
    }
    else
        field.SetNx(width).SetNy(height);
    detail::FillSamples(field.GetDataPointer(), field.N(), samples.Background());
    detail::PixelRows rows;
    rows.bits = info.bits;
    rows.rowBytes = rowBytes;
    rows.rows = used;
    rows.firstColumn = Placement(field.GetNx(), width);
    rows.columns = field.GetNx() - 2 * rows.firstColumn;
    const std::int32_t bottom = Placement(field.GetNy(), height);
    rows.firstRow = topDown ? bottom + used - 1 : bottom;
    rows.rowStep = topDown ? -1 : 1;
    ReadPixels(file, path, field, rows, samples, strip);
}
} // namespace

void Lumora::WinSaveAsBMPEx(const char* path, Mode mode, double min, double max, Gradation gradation, int bar) const
{
    SaveWindow(*this, path, mode, min, max, gradation, bar);
}

void Lumora::WinSaveAsBmp(const char* path, Mode mode, Gradation gradation, int bar, double max, double min) const
{
    SaveWindow(*this, path, mode, min, max, gradation, bar);
}

void Lumora::WinSaveAsBmp(const char* path, Mode mode, Gradation gradation, int bar) const
{
    SaveWindow(*this, path, mode, 0.0, 0.0, gradation, bar);
}

void Lumora::WinSaveAsBmp(const char* path, Mode mode, Gradation gradation) const
{
    SaveWindow(*this, path, mode, 0.0, 0.0, gradation, gradation != GradationGrey ? kBar : 0);
}

void Lumora::WinSaveAsBMPC(const char* path, Mode mode, double min, double max) const
{
    SaveWindow(*this, path, mode, min, max, GradationRainbow, kBar);
}

void Lumora::WinSaveAsBMP(const char* path, Mode mode, double min, double max) const
{
    SaveWindow(*this, path, mode, min, max, GradationGrey, kBar);
}

void Lumora::SaveAsBmp(const char* path, Mode mode, Gradation gradation, int bar, double max, double min) const
{
    SaveGrid(*this, path, mode, min, max, gradation, bar);
}

void Lumora::SaveAsBmp(const char* path, Mode mode, Gradation gradation, int bar) const
{
    SaveGrid(*this, path, mode, 0.0, 0.0, gradation, bar);
}

void Lumora::SaveAsBmp(const char* path, Mode mode, Gradation gradation) const
{
    SaveGrid(*this, path, mode, 0.0, 0.0, gradation, gradation != GradationGrey ? kBar : 0);
}

void Lumora::SaveAsBMPEx(const char* path, Mode mode, double min, double max, Gradation gradation, int bar) const
{
    SaveGrid(*this, path, mode, min, max, gradation, bar);
}

// Kept: the two below draw no scale bar, unlike the window savers of the same endings.
void Lumora::SaveAsBMPC(const char* path, Mode mode, double min, double max) const
{
    SaveGrid(*this, path, mode, min, max, GradationRainbow, 0);
}

void Lumora::SaveAsBMP(const char* path, Mode mode, double min, double max) const
{
    SaveGrid(*this, path, mode, min, max, GradationGrey, 0);
}

Lumora& Lumora::LoadBmp(const char* path, Mode mode, Complex background)
{
    static constexpr char fn[] = "LumoraLib::Lumora::LoadBmp";
    Load(*this, fn, path, mode, background);
    return *this;
}

Lumora& Lumora::LoadBMP(const char* path, Mode mode, Complex background)
{
    static constexpr char fn[] = "LumoraLib::Lumora::LoadBMP";
    Load(*this, fn, path, mode, background);
    return *this;
}

Lumora& Lumora::LoadBMP(const char* path, Mode mode)
{
    return LoadBMP(path, mode, Complex(0.0, 0.0));
}
} // namespace LumoraLib
