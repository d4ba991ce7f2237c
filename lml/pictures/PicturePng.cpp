// PNG through libpng: pictures from the bytes of a file and back.
//
// libpng leaves by longjmp: the functions that call it hold nothing with a destructor, their memory is the caller's.

#include "pictures/PicturePng.h"

#include <csetjmp>
#include <cstring>

#include <png.h>

namespace LumoraLib
{
namespace pictures
{
namespace
{
constexpr char kEncode[] = "LumoraLib::EncodePng";
// Deflate makes at most 1032 bytes of one: a picture that announces more than that is not in the file.
constexpr std::uint64_t kMostOfAByte = 1032;
constexpr std::uint64_t kLargestChunk = 8u << 20; // of texts and profiles, which nobody reads here

struct Source
{
    const std::uint8_t* next;
    std::size_t left;
};

/// What the longjmp leaves behind: the reason.
struct Reason
{
    char text[96];
};

[[noreturn]] void Leave(png_structp png, png_const_charp message)
{
    Reason* const reason = static_cast<Reason*>(png_get_error_ptr(png));
    std::strncpy(reason->text, message, sizeof reason->text - 1);
    png_longjmp(png, 1);
}

void Ignore(png_structp, png_const_charp) {}

void ReadBytes(png_structp png, png_bytep to, std::size_t count)
{
    Source* const source = static_cast<Source*>(png_get_io_ptr(png));
    if (count > source->left)
        png_error(png, kCutShort);
    std::memcpy(to, source->next, count);
    source->next += count;
    source->left -= count;
}

struct Reader
{
    png_structp png = nullptr;
    png_infop info = nullptr;
    Source source{};
    Reason reason{};

    Reader() = default;
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader() { png_destroy_read_struct(&png, &info, nullptr); }
};

struct Shape
{
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    int channels = 0;
    int bits = 0; // in the file
    std::size_t rowBytes = 0;
    double perMetreX = 0.0;
    double perMetreY = 0.0;
};

/// Up to the first row; every sample will have 16 bits.
bool ReadHead(Reader& r, Shape& shape)
{
    if (setjmp(png_jmpbuf(r.png)) != 0)
        return false;
    png_set_read_fn(r.png, &r.source, ReadBytes);
    png_set_user_limits(r.png, kMaxSide, kMaxSide);
    png_set_chunk_malloc_max(r.png, kLargestChunk);
    png_set_chunk_cache_max(r.png, 64);
    const std::uint64_t fileBytes = r.source.left;
    png_read_info(r.png, r.info);
    int colour = 0;
    int interlace = 0;
    png_get_IHDR(r.png, r.info, &shape.width, &shape.height, &shape.bits, &colour, &interlace, nullptr, nullptr);
    const std::uint64_t announced = std::uint64_t{png_get_rowbytes(r.png, r.info)} * shape.height;
    if (announced > kMostOfAByte * fileBytes)
        png_error(r.png, kCutShort);
    shape.perMetreX = png_get_x_pixels_per_meter(r.png, r.info);
    shape.perMetreY = png_get_y_pixels_per_meter(r.png, r.info);
    png_set_expand_16(r.png); // palettes, few bits and transparent colours as well
    png_set_interlace_handling(r.png);
    const std::uint16_t one = 1;
    if (reinterpret_cast<const std::uint8_t*>(&one)[0] == 1)
        png_set_swap(r.png);
    png_read_update_info(r.png, r.info);
    shape.channels = png_get_channels(r.png, r.info);
    shape.rowBytes = png_get_rowbytes(r.png, r.info);
    return true;
}

bool ReadRows(Reader& r, std::uint8_t** rows)
{
    if (setjmp(png_jmpbuf(r.png)) != 0)
        return false;
    png_read_image(r.png, rows);
    png_read_end(r.png, nullptr);
    return true;
}

struct Writer
{
    png_structp png = nullptr;
    png_infop info = nullptr;
    Reason reason{};
    std::vector<std::uint8_t> bytes;

    Writer() = default;
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    ~Writer() { png_destroy_write_struct(&png, &info); }
};

void AppendBytes(png_structp png, png_bytep from, std::size_t count)
{
    bool held = true;
    try
    {
        std::vector<std::uint8_t>& bytes = static_cast<Writer*>(png_get_io_ptr(png))->bytes;
        bytes.insert(bytes.end(), from, from + count);
    }
    catch (const std::bad_alloc&)
    {
        held = false;
    }
    if (!held)
        png_error(png, "no memory");
}

void Flush(png_structp) {}

bool Write(Writer& w, const PictureImage& image, std::uint8_t* row)
{
    if (setjmp(png_jmpbuf(w.png)) != 0)
        return false;
    constexpr int kColours[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB,
                                PNG_COLOR_TYPE_RGB_ALPHA};
    png_set_write_fn(w.png, &w, AppendBytes, Flush);
    png_set_IHDR(w.png, w.info, static_cast<png_uint_32>(image.width), static_cast<png_uint_32>(image.height),
                 image.bits, kColours[image.channels - 1], PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    constexpr double kTop = 2147483647.0;
    if (image.perMetreX >= 1.0 && image.perMetreY >= 1.0 && image.perMetreX <= kTop && image.perMetreY <= kTop)
        png_set_pHYs(w.png, w.info, static_cast<png_uint_32>(image.perMetreX),
                     static_cast<png_uint_32>(image.perMetreY), PNG_RESOLUTION_METER);
    png_write_info(w.png, w.info);
    const std::size_t count = image.At(image.width, 0);
    for (std::int32_t j = 0; j < image.height; ++j)
    {
        const std::uint16_t* const from = image.samples.data() + image.At(0, j);
        for (std::size_t i = 0; i < count; ++i)
            if (image.bits == 16)
            {
                row[2 * i] = static_cast<std::uint8_t>(from[i] >> 8);
                row[2 * i + 1] = static_cast<std::uint8_t>(from[i] & 0xFF);
            }
            else
                row[i] = static_cast<std::uint8_t>(from[i] > 255 ? 255 : from[i]);
        png_write_row(w.png, row);
    }
    png_write_end(w.png, w.info);
    return true;
}
} // namespace

PictureImage DecodePng(Bytes file)
{
    Reader r;
    r.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &r.reason, Leave, Ignore);
    if (r.png != nullptr)
        r.info = png_create_info_struct(r.png);
    if (r.info == nullptr)
        throw std::bad_alloc();
    r.source = {file.data(), file.size()};
    Shape shape;
    if (!ReadHead(r, shape))
        throw Damaged{r.reason.text};
    RequireSizes(shape.width, shape.height);
    PictureImage image;
    image.width = static_cast<std::int32_t>(shape.width);
    image.height = static_cast<std::int32_t>(shape.height);
    image.channels = shape.channels;
    image.bits = shape.bits == 16 ? 16 : 8;
    image.perMetreX = shape.perMetreX;
    image.perMetreY = shape.perMetreY;
    image.samples.resize(image.At(0, image.height));
    if (shape.rowBytes != image.At(image.width, 0) * 2)
        throw Damaged{"a kind of pixels that is not known"};
    std::vector<std::uint8_t*> rows(shape.height);
    for (std::int32_t j = 0; j < image.height; ++j)
        rows[static_cast<std::size_t>(j)] = reinterpret_cast<std::uint8_t*>(image.samples.data() + image.At(0, j));
    if (!ReadRows(r, rows.data()))
        throw Damaged{r.reason.text};
    if (image.bits == 8)
        for (std::uint16_t& sample : image.samples)
            sample = static_cast<std::uint16_t>(sample >> 8); // a byte b was made b * 257
    return image;
}
} // namespace pictures

std::vector<std::uint8_t> EncodePng(const PictureImage& image)
{
    using namespace pictures;
    if (!HoldsTogether(image))
        Error(ERR_PARAMETER, kEncode, "sizes, channels, bits and samples do not fit together");
    return Guarded(kEncode,
                   [&]
                   {
                       std::vector<std::uint8_t> row(image.At(image.width, 0) * 2);
                       Writer w;
                       w.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &w.reason, Leave, Ignore);
                       if (w.png != nullptr)
                           w.info = png_create_info_struct(w.png);
                       // Sizes and samples are in order: what libpng can lack is memory.
                       if (w.info == nullptr || !Write(w, image, row.data()))
                           throw std::bad_alloc();
                       return std::move(w.bytes);
                   });
}
} // namespace LumoraLib
