// JPEG through libjpeg, turned upright as the camera's orientation says; without libjpeg such files are refused.
//
// libjpeg leaves by longjmp: the functions that call it hold nothing with a destructor, their memory is the caller's.

#include "pictures/PictureJpeg.h"

#ifndef LML_WITH_JPEG

namespace LumoraLib::pictures
{
PictureImage DecodeJpeg(Bytes)
{
    throw Damaged{"a JPEG, and this build has no libjpeg: convert it to PNG"};
}
} // namespace LumoraLib::pictures

#else

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>

#include <jpeglib.h>

namespace LumoraLib::pictures
{
namespace
{
constexpr int kMostScans = 200;                   // progressive pictures have ten; each visits all pixels
constexpr long kMostMemory = 2000L * 1024 * 1024; // of libjpeg's own
// A block of 8 by 8 pixels takes no less than about two bits of each scan: more pixels than that are not in the file.
constexpr std::uint64_t kPixelsOfAByte = 1100;

struct Reader
{
    jpeg_decompress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg_progress_mgr progress{};
    std::jmp_buf leave{};
    char reason[JMSG_LENGTH_MAX]{};

    Reader() = default;
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader() { jpeg_destroy_decompress(&jpeg); }
};

[[noreturn]] void Leave(j_common_ptr jpeg)
{
    Reader* const r = static_cast<Reader*>(jpeg->client_data);
    jpeg->err->format_message(jpeg, r->reason);
    std::longjmp(r->leave, 1);
}

/// Warnings are told for data that are damaged or missing; only missing ones are fatal for a picture.
void Message(j_common_ptr jpeg, int level)
{
    if (level >= 0)
        return;
    Reader* const r = static_cast<Reader*>(jpeg->client_data);
    jpeg->err->format_message(jpeg, r->reason);
    if (std::strstr(r->reason, "remature") != nullptr)
    {
        std::strncpy(r->reason, kCutShort, sizeof r->reason - 1);
        std::longjmp(r->leave, 1);
    }
}

void Silent(j_common_ptr) {}

void CountScans(j_common_ptr jpeg)
{
    Reader* const r = static_cast<Reader*>(jpeg->client_data);
    if (r->jpeg.input_scan_number <= kMostScans)
        return;
    std::strncpy(r->reason, "more scans than a picture has", sizeof r->reason - 1);
    std::longjmp(r->leave, 1);
}

/// The orientation 1 to 8 in an Exif marker, 1 where there is none.
int OrientationOf(const jpeg_saved_marker_ptr marker)
{
    if (marker == nullptr || marker->data_length < 14 || std::memcmp(marker->data, "Exif\0", 6) != 0)
        return 1;
    const std::uint8_t* const tiff = marker->data + 6;
    const std::uint64_t length = marker->data_length - 6;
    const bool little = tiff[0] == 'I';
    const auto number = [&](std::uint64_t at, int bytes)
    {
        std::uint64_t value = 0;
        for (int b = 0; b < bytes; ++b)
        {
            const std::uint64_t place = at + static_cast<std::uint64_t>(little ? bytes - 1 - b : b);
            value = value << 8 | (place < length ? tiff[place] : 0);
        }
        return value;
    };
    const std::uint64_t list = number(4, 4);
    const std::uint64_t entries = number(list, 2);
    for (std::uint64_t n = 0; n < entries && list + 2 + 12 * (n + 1) <= length; ++n)
    {
        const std::uint64_t entry = list + 2 + 12 * n;
        const std::uint64_t value = number(entry + 8, 2);
        if (number(entry, 2) == 0x0112 && value >= 1 && value <= 8)
            return static_cast<int>(value);
    }
    return 1;
}

bool ReadHead(Reader& r, Bytes file)
{
    r.jpeg.err = jpeg_std_error(&r.errors);
    r.errors.error_exit = Leave;
    r.errors.emit_message = Message;
    r.errors.output_message = Silent;
    r.jpeg.client_data = &r;
    if (setjmp(r.leave) != 0)
        return false;
    jpeg_create_decompress(&r.jpeg);
    r.jpeg.client_data = &r;
    r.jpeg.mem->max_memory_to_use = kMostMemory;
    r.progress.progress_monitor = CountScans;
    r.jpeg.progress = &r.progress;
    jpeg_save_markers(&r.jpeg, JPEG_APP0 + 1, 0xFFFF);
    jpeg_mem_src(&r.jpeg, file.data(), static_cast<unsigned long>(file.size()));
    jpeg_read_header(&r.jpeg, TRUE);
    r.jpeg.out_color_space = r.jpeg.jpeg_color_space == JCS_GRAYSCALE ? JCS_GRAYSCALE : JCS_RGB;
    return true;
}

/// Rows of bytes into the samples, one at a time through `row`.
bool ReadRows(Reader& r, std::uint8_t* row, std::uint16_t* samples)
{
    if (setjmp(r.leave) != 0)
        return false;
    jpeg_start_decompress(&r.jpeg);
    const std::size_t count = std::size_t{r.jpeg.output_width} * static_cast<std::size_t>(r.jpeg.output_components);
    while (r.jpeg.output_scanline < r.jpeg.output_height)
    {
        std::uint16_t* const to = samples + count * r.jpeg.output_scanline;
        jpeg_read_scanlines(&r.jpeg, &row, 1);
        for (std::size_t i = 0; i < count; ++i)
            to[i] = row[i];
    }
    jpeg_finish_decompress(&r.jpeg);
    return true;
}

/// The picture as the orientation wants it: 2 to 4 mirror and turn by half, 5 to 8 exchange rows and columns.
PictureImage Upright(PictureImage image, int orientation)
{
    if (orientation == 1)
        return image;
    PictureImage turned = image;
    if (orientation > 4)
        std::swap(turned.width, turned.height);
    const bool mirrorX = orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
    const bool mirrorY = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
    for (std::int32_t j = 0; j < turned.height; ++j)
        for (std::int32_t i = 0; i < turned.width; ++i)
        {
            std::int32_t column = orientation > 4 ? j : i;
            std::int32_t row = orientation > 4 ? i : j;
            column = mirrorX ? image.width - 1 - column : column;
            row = mirrorY ? image.height - 1 - row : row;
            for (std::size_t c = 0; c < static_cast<std::size_t>(image.channels); ++c)
                turned.samples[turned.At(i, j) + c] = image.samples[image.At(column, row) + c];
        }
    return turned;
}
} // namespace

PictureImage DecodeJpeg(Bytes file)
{
    const std::unique_ptr<Reader> r(new Reader);
    if (!ReadHead(*r, file))
        throw Damaged{r->reason};
    RequireSizes(r->jpeg.image_width, r->jpeg.image_height);
    if (r->jpeg.jpeg_color_space == JCS_CMYK || r->jpeg.jpeg_color_space == JCS_YCCK)
        throw Damaged{"a JPEG in printing colours: convert it to RGB"};
    if (std::uint64_t{r->jpeg.image_width} * r->jpeg.image_height > kPixelsOfAByte * file.size())
        throw Damaged{kCutShort};
    PictureImage image;
    image.width = static_cast<std::int32_t>(r->jpeg.image_width);
    image.height = static_cast<std::int32_t>(r->jpeg.image_height);
    image.channels = r->jpeg.out_color_space == JCS_GRAYSCALE ? 1 : 3;
    image.samples.resize(image.At(0, image.height));
    std::vector<std::uint8_t> row(image.At(image.width, 0));
    const int orientation = OrientationOf(r->jpeg.marker_list);
    if (!ReadRows(*r, row.data(), image.samples.data()))
        throw Damaged{r->reason};
    return Upright(std::move(image), orientation);
}
} // namespace LumoraLib::pictures

#endif
