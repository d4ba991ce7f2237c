// BMP pictures of 1 to 32 bits without compression, and portable bit, grey and pixel maps.

#include "pictures/PictureBitmap.h"

#include <array>
#include <bit>

namespace LumoraLib::pictures
{
namespace
{
/// Little-endian numbers at places of a file; behind its end is damage.
class Fields
{
public:
    explicit Fields(Bytes file) : file_(file) {}
    std::uint32_t U16(std::uint64_t at) const { return Byte(at) | Byte(at + 1) << 8; }
    std::uint32_t U32(std::uint64_t at) const { return U16(at) | U16(at + 2) << 16; }
    std::int32_t I32(std::uint64_t at) const { return static_cast<std::int32_t>(U32(at)); }
    std::uint32_t Byte(std::uint64_t at) const
    {
        if (at >= file_.size())
            throw Damaged{kCutShort};
        return file_[static_cast<std::size_t>(at)];
    }

private:
    Bytes file_;
};

/// A colour of a pixel's bits, brought to 0 ... 255.
struct Mask
{
    std::uint32_t bits = 0;

    std::uint16_t Value(std::uint32_t pixel) const
    {
        if (bits == 0)
            return 0;
        const std::uint32_t full = bits >> std::countr_zero(bits);
        const std::uint32_t value = (pixel & bits) >> std::countr_zero(bits);
        return static_cast<std::uint16_t>((std::uint64_t{value} * 255 + full / 2) / full);
    }
};

struct BmpHead
{
    std::uint32_t headBytes = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
    bool topDown = false;
    std::uint32_t bits = 0;
    std::uint64_t pixelsAt = 0;
    std::uint64_t paletteAt = 0;
    std::uint32_t paletteStep = 4;
    std::uint32_t colours = 0;
    std::array<Mask, 4> masks; // red, green, blue, opacity
};

void ReadMasks(const Fields& in, BmpHead& head, std::uint32_t compression)
{
    if (compression == 3)
    {
        for (std::uint32_t c = 0; c < 3; ++c)
            head.masks[c].bits = in.U32(54 + 4 * c);
        if (head.headBytes >= 56)
            head.masks[3].bits = in.U32(66);
        if (head.headBytes == 40)
            head.paletteAt += 12;
    }
    else if (head.bits == 16)
        head.masks = {Mask{0x7C00}, Mask{0x03E0}, Mask{0x001F}, Mask{}};
    else
        head.masks = {Mask{0xFF0000}, Mask{0xFF00}, Mask{0xFF}, Mask{}};
}

BmpHead ReadBmpHead(const Fields& in, PictureImage& image)
{
    BmpHead head;
    head.pixelsAt = in.U32(10);
    head.headBytes = in.U32(14);
    std::uint32_t compression = 0;
    if (head.headBytes == 12)
    {
        head.width = in.U16(18);
        head.height = in.U16(20);
        head.bits = in.U16(24);
        head.paletteStep = 3;
    }
    else if (head.headBytes >= 40 && head.headBytes <= 4096)
    {
        head.width = in.I32(18);
        head.height = in.I32(22);
        head.bits = in.U16(28);
        compression = in.U32(30);
        image.perMetreX = in.I32(38) > 0 ? in.I32(38) : 0;
        image.perMetreY = in.I32(42) > 0 ? in.I32(42) : 0;
        head.colours = in.U32(46);
    }
    else
        throw Damaged{"a BMP head of a length that is not known"};
    head.topDown = head.height < 0;
    head.height = head.topDown ? -head.height : head.height;
    head.paletteAt = 14 + std::uint64_t{head.headBytes};
    RequireSizes(head.width, head.height);
    const std::uint32_t b = head.bits;
    if (b != 1 && b != 4 && b != 8 && b != 16 && b != 24 && b != 32)
        throw Damaged{"a BMP of a number of bits that is not known"};
    if (compression != 0 && !(compression == 3 && (b == 16 || b == 32)))
        throw Damaged{"a compressed BMP: save it without compression"};
    ReadMasks(in, head, compression);
    return head;
}

std::array<std::array<std::uint8_t, 3>, 256> ReadPalette(const Fields& in, const BmpHead& head)
{
    std::array<std::array<std::uint8_t, 3>, 256> palette{}; // an index beyond it is black
    const std::uint32_t nameable = 1u << head.bits;
    const std::uint32_t entries = head.colours == 0 || head.colours > nameable ? nameable : head.colours;
    for (std::uint32_t n = 0; n < entries; ++n)
    {
        const std::uint64_t at = head.paletteAt + std::uint64_t{n} * head.paletteStep;
        if (head.headBytes == 12 && at + 3 > head.pixelsAt) // old files leave entries out
            break;
        for (std::uint32_t c = 0; c < 3; ++c)
            palette[n][c] = static_cast<std::uint8_t>(in.Byte(at + 2 - c));
    }
    return palette;
}

/// Numbers of a portable map's head, and of the plain kinds.
class MapText
{
public:
    explicit MapText(Bytes file) : file_(file) {}

    std::uint32_t Number()
    {
        SkipBlanks();
        std::uint32_t value = 0;
        if (at_ >= file_.size())
            throw Damaged{kCutShort};
        if (file_[at_] < '0' || file_[at_] > '9')
            throw Damaged{"a number is missing"};
        for (; at_ < file_.size() && file_[at_] >= '0' && file_[at_] <= '9'; ++at_)
        {
            value = value * 10 + (file_[at_] - '0');
            if (value > 1000000)
                throw Damaged{"a number is too large"};
        }
        return value;
    }
    /// A bit of a plain bit map: its digits need no blanks between them.
    std::uint32_t Bit()
    {
        SkipBlanks();
        if (at_ >= file_.size())
            throw Damaged{kCutShort};
        if (file_[at_] != '0' && file_[at_] != '1')
            throw Damaged{"a pixel is neither 0 nor 1"};
        return file_[at_++] - static_cast<std::uint32_t>('0');
    }
    std::size_t Place() const { return at_; }

private:
    void SkipBlanks()
    {
        for (; at_ < file_.size(); ++at_)
            if (file_[at_] == '#')
                while (at_ + 1 < file_.size() && file_[at_] != '\n')
                    ++at_;
            else if (file_[at_] != ' ' && (file_[at_] < '\t' || file_[at_] > '\r'))
                break;
    }

    Bytes file_;
    std::size_t at_ = 2;
};

void RequireBytes(Bytes file, std::uint64_t from, std::uint64_t count)
{
    if (from > file.size() || count > file.size() - from)
        throw Damaged{kCutShort};
}

/// The three kinds of packed pixels behind the head.
void ReadPacked(Bytes file, std::size_t at, char kind, std::uint32_t top, PictureImage& image)
{
    const std::uint64_t width = static_cast<std::uint64_t>(image.width);
    const std::uint64_t values = width * static_cast<std::uint64_t>(image.channels);
    const std::uint64_t step = top > 255 ? 2 : 1;
    const std::uint64_t rowBytes = kind == '4' ? (width + 7) / 8 : values * step;
    RequireBytes(file, at, rowBytes * static_cast<std::uint64_t>(image.height));
    image.samples.resize(image.At(0, image.height));
    const std::uint32_t full = image.bits == 16 ? 65535 : 255;
    for (std::int32_t j = 0; j < image.height; ++j)
    {
        const std::uint8_t* const row = file.data() + at + rowBytes * static_cast<std::uint64_t>(j);
        std::uint16_t* const to = image.samples.data() + image.At(0, j);
        for (std::uint64_t i = 0; i < values; ++i)
        {
            std::uint32_t value = 0;
            if (kind == '4')
                value = (row[i / 8] >> (7 - i % 8) & 1u) ^ 1u;
            else
                value = step == 2 ? static_cast<std::uint32_t>(row[2 * i] << 8 | row[2 * i + 1]) : row[i];
            to[i] = static_cast<std::uint16_t>((std::uint64_t{value > top ? top : value} * full + top / 2) / top);
        }
    }
}
} // namespace

PictureImage DecodeBmp(Bytes file)
{
    const Fields in(file);
    PictureImage image;
    const BmpHead head = ReadBmpHead(in, image);
    const std::uint64_t rowBytes = (static_cast<std::uint64_t>(head.width) * head.bits + 31) / 32 * 4;
    // Pixels before the end of the heads would be heads read as pixels. The last row may lack its filling.
    const std::uint64_t lastRow = (static_cast<std::uint64_t>(head.width) * head.bits + 7) / 8;
    if (head.pixelsAt < 14 + std::uint64_t{head.headBytes})
        throw Damaged{"its pixels stand in its head"};
    RequireBytes(file, head.pixelsAt, rowBytes * static_cast<std::uint64_t>(head.height - 1) + lastRow);

    image.width = static_cast<std::int32_t>(head.width);
    image.height = static_cast<std::int32_t>(head.height);
    image.channels = head.masks[3].bits != 0 ? 4 : 3;
    image.samples.resize(image.At(0, image.height));
    const auto palette = head.bits <= 8 ? ReadPalette(in, head) : std::array<std::array<std::uint8_t, 3>, 256>{};
    for (std::int32_t j = 0; j < image.height; ++j)
    {
        const std::uint64_t row = static_cast<std::uint64_t>(head.topDown ? j : image.height - 1 - j);
        const std::uint8_t* const from = file.data() + head.pixelsAt + row * rowBytes;
        std::uint16_t* to = image.samples.data() + image.At(0, j);
        for (std::uint64_t i = 0; i < static_cast<std::uint64_t>(head.width); ++i, to += image.channels)
        {
            if (head.bits <= 8)
            {
                const std::uint64_t bit = i * head.bits;
                const std::uint32_t index = from[bit / 8] >> (8 - head.bits - bit % 8) & ((1u << head.bits) - 1);
                for (std::size_t c = 0; c < 3; ++c)
                    to[c] = palette[index][c];
                continue;
            }
            std::uint32_t pixel = 0;
            for (std::uint32_t b = 0; b < head.bits / 8; ++b)
                pixel |= static_cast<std::uint32_t>(from[i * (head.bits / 8) + b]) << 8 * b;
            for (std::size_t c = 0; c < static_cast<std::size_t>(image.channels); ++c)
                to[c] = head.masks[c].Value(pixel);
        }
    }
    return image;
}

PictureImage DecodePortableMap(Bytes file)
{
    const char kind = static_cast<char>(file[1]);
    MapText text(file);
    PictureImage image;
    const std::uint32_t width = text.Number();
    const std::uint32_t height = text.Number();
    const bool isBits = kind == '1' || kind == '4';
    const std::uint32_t top = isBits ? 1 : text.Number();
    RequireSizes(width, height);
    if (top < 1 || top > 65535)
        throw Damaged{"its largest value is not 1 to 65535"};
    image.width = static_cast<std::int32_t>(width);
    image.height = static_cast<std::int32_t>(height);
    image.channels = kind == '3' || kind == '6' ? 3 : 1;
    image.bits = top > 255 ? 16 : 8;
    if (kind >= '4')
    {
        ReadPacked(file, text.Place() + 1, kind, top, image); // one blank behind the head
        return image;
    }
    // A value takes a byte of the file at least.
    RequireBytes(file, text.Place(), image.At(0, image.height));
    image.samples.resize(image.At(0, image.height));
    const std::uint32_t full = image.bits == 16 ? 65535 : 255;
    for (std::uint16_t& sample : image.samples)
    {
        const std::uint32_t value = isBits ? text.Bit() ^ 1u : text.Number();
        sample = static_cast<std::uint16_t>((std::uint64_t{value > top ? top : value} * full + top / 2) / top);
    }
    return image;
}
} // namespace LumoraLib::pictures
