// HBI pictures (a 24-byte head with the sampling pitches) and RAW pixels (no head).

#include "base/IntMath.h"
#include "base/Texts.h"
#include "field/FieldTools.h"
#include "files/FieldFile.h"
#include "files/ImageModes.h"

namespace LumoraLib
{
namespace
{
using detail::At;
using detail::FieldAccess;
using detail::File;
using detail::MakeHead;
using detail::Reserved;

using Letters = std::array<char, 2>;
constexpr Letters kLetters{'H', 'B'};

/// The bytes behind the two letters.
struct HbiHead
{
    std::int32_t pixelsAt = 24;
    std::uint8_t bits = 8;
    std::int32_t width = 0;
    std::int32_t height = 0;
    float px = 0.0f;
    float py = 0.0f;
};
constexpr auto kHbiHead =
    MakeHead<22>(At(0, &HbiHead::pixelsAt), At(4, &HbiHead::bits), At(5, &HbiHead::width), At(9, &HbiHead::height),
                 At(13, &HbiHead::px), At(17, &HbiHead::py), Reserved(21, 1)); // option flag
constexpr std::int32_t kHeadBytes = 24;

void SaveHbi(const Lumora& field, const LML_RECT& window, const char* path, Mode mode, double min, double max,
             const OptionHead* option)
{
    static constexpr char fn[] = "LumoraLib::Lumora::WinSaveAsHBI";
    if (field.IsPolarForm())
        Error(ERR_COMPLEX_FORM, fn, "err");
    FieldAccess::RequireSamples(field, fn);
    File file(path, "w+b");
    if (!file.IsOpen())
        Error(ERR_FILE_OPEN, fn, path);
    ewrite(file, kLetters.data(), kLetters.size(), path);
    if (option != nullptr)
        Error(ERR_INTERNAL, fn, detail::kTextNoOptionHead);
    const detail::PictureSize size = detail::SizeOf(window, detail::kHbiPicture);
    HbiHead head;
    head.width = size.width;
    head.height = size.height;
    head.px = static_cast<float>(field.GetPx());
    head.py = static_cast<float>(field.GetPy());
    ewrite(file, kHbiHead, head, path);
    // Kept: rows are not filled up, while the reader expects multiples of 4 bytes: only widths of a multiple of 4 come
    // back.
    detail::WritePixels(file, path, fn, field, window, mode, detail::kHbiPicture, {min, max}, 0);
    file.Close(path);
}

void SaveRaw(const Lumora& field, const LML_RECT& window, const char* path, Mode mode, double min, double max)
{
    static constexpr char fn[] = "LumoraLib::Lumora::WinSaveAsRAW";
    FieldAccess::RequireSamples(field, fn);
    File file(path, "wb");
    if (!file.IsOpen())
        Error(ERR_FILE_OPEN, fn, path);
    if (min > max)
        Error(ERR_PARAMETER, fn, detail::kTextMaxBelowMin);
    detail::WritePixels(file, path, fn, field, window, mode, detail::kRawPicture, {min, max}, 0);
    file.Close(path);
}
} // namespace

void Lumora::WinSaveAsHBI(const char* path, Mode mode, double min, double max, const OptionHead* option) const
{
    SaveHbi(*this, GridWindow(), path, mode, min, max, option);
}

void Lumora::SaveAsHBI(const char* path, Mode mode, double min, double max, OptionHead* option) const
{
    SaveHbi(*this, detail::WholeGrid(*this), path, mode, min, max, option);
}

void Lumora::WinSaveAsRAW(const char* path, Mode mode, double min, double max) const
{
    SaveRaw(*this, GridWindow(), path, mode, min, max);
}

void Lumora::SaveAsRAW(const char* path, Mode mode, double min, double max) const
{
    SaveRaw(*this, detail::WholeGrid(*this), path, mode, min, max);
}

Lumora& Lumora::LoadHBI(const char* path, Mode mode)
{
    static constexpr char fn[] = "LumoraLib::Lumora::LoadHBI";
    if (form_ == SPECTRUM)
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fn, path);
    File file(path, "rb");
    if (!file.IsOpen())
        Error(ERR_FILE_OPEN, fn, path);
    Letters letters{};
    eread(file, letters.data(), letters.size(), path);
    if (letters != kLetters)
        Error(ERR_FILE_OPEN, fn, path);
    HbiHead head;
    eread(file, kHbiHead, head, path);
    if (head.bits == 16)
        Error(ERR_FILE_READ, fn, "Pixel with 16-bit depth is not supported for current version");

    // Everything is checked before the field is touched, so a refused file leaves it as it was.
    if (head.width <= 0 || head.height <= 0 || head.pixelsAt < kHeadBytes)
        Error(ERR_FILE_READ, fn, path);
    const std::uint64_t width = static_cast<std::uint64_t>(head.width);
    const std::uint64_t height = static_cast<std::uint64_t>(head.height);
    const bool remake = width * height != N() || capacity_ < width * height;
    // Kept: as many rows are read as the grid has, so a height that is no power of two runs out of data; and rows of a
    // depth other than 8 and 1 are taken as width * height bytes long, so 4-bit files run out of data as well.
    const std::uint64_t rows = remake ? static_cast<std::uint64_t>(detail::RaisedToPowerOfTwo(head.height)) : height;
    const std::uint64_t rowBytes =
        head.bits == 8 || head.bits == 1 ? detail::PaddedRowBytes(head.width, head.bits) : width * height;
    const bool decodable = head.bits == 8 || head.bits == 4 || head.bits == 1;
    if (!FitsInFile(file, head.pixelsAt, decodable ? rows : 1, rowBytes))
        Error(ERR_FILE_READ, "eread", path);
    if (!decodable)
        Error(ERR_FILE_READ, fn, "Abnormal pixel depth");

    std::array<double, detail::PixelSamples::kMaxPixels> values{};
    const std::size_t indices = std::size_t{1} << head.bits;
    for (std::size_t n = 0; n < indices; ++n)
        values[n] = static_cast<double>(n) / static_cast<double>(indices - 1);
    const detail::PixelSamples samples = detail::MakePixelSamples(mode, form_, values, Complex(0.0, 0.0));

    const detail::PixelStrip strip = detail::MakePixelStrip(rows, rowBytes, fn);
    if (!file.Seek(head.pixelsAt))
        Error(ERR_FILE_READ, fn, path);

    if (remake)
    {
        detail::RemakeGrid(*this, head.width, head.height);
        SetWindowMax();
        Clear();
    }
    else
    {
        // Kept: with the old number of samples the window is the old grid, also where the new one has another shape.
        SetWindowMax();
        nx_ = head.width;
        ny_ = head.height;
    }
    px_ = static_cast<double>(head.px);
    py_ = static_cast<double>(head.py);
    // The picture starts at sample (0, 0) and fills every row of the grid; columns beyond the row's bytes read as pixel
    // 0.
    detail::PixelRows layout;
    layout.bits = head.bits;
    layout.rowBytes = rowBytes;
    layout.rows = ny_;
    layout.columns = nx_;
    layout.firstColumn = 0;
    layout.firstRow = 0;
    layout.rowStep = 1;
    ReadPixels(file, path, *this, layout, samples, strip);
    return *this;
}
} // namespace LumoraLib
