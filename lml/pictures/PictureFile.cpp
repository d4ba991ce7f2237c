// Picture files: what kind one is, the limits of sizes, and the failures of reading and writing them.

#include "pictures/PictureFile.h"
#include "pictures/PictureBitmap.h"
#include "pictures/PictureJpeg.h"
#include "pictures/PicturePng.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include <sys/stat.h>

namespace LumoraLib
{
namespace pictures
{
namespace
{
constexpr std::size_t kMaxText = 126; // of a failure's message, in bytes
constexpr std::uint64_t kMaxFile = std::uint64_t{1} << 31;
constexpr char kSavePng[] = "LumoraLib::SavePng";

struct Closer
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};

std::vector<std::uint8_t> ReadAll(const std::string& path, const char* operation)
{
    const std::unique_ptr<std::FILE, Closer> file(std::fopen(path.c_str(), "rb"));
    struct stat info;
    if (!file || fstat(fileno(file.get()), &info) != 0 || S_ISDIR(info.st_mode))
        Refuse(ERR_FILE_OPEN, operation, path, "cannot be opened");
    // Pipes and devices have no length to be trusted: what they give is bounded like a file.
    const bool regular = S_ISREG(info.st_mode);
    if (regular && static_cast<std::uint64_t>(info.st_size) > kMaxFile)
        Refuse(ERR_FILE_READ, operation, path, "larger than 2 GiB");
    std::vector<std::uint8_t> bytes(regular ? static_cast<std::size_t>(info.st_size) : std::size_t{1} << 20);
    std::size_t got = 0;
    while (true)
    {
        got += std::fread(bytes.data() + got, 1, bytes.size() - got, file.get());
        if (got < bytes.size() || regular || bytes.size() >= kMaxFile)
            break;
        bytes.resize(2 * bytes.size());
    }
    if (std::ferror(file.get()) != 0)
        Refuse(ERR_FILE_READ, operation, path, "cannot be read");
    bytes.resize(got);
    return bytes;
}

struct Kind
{
    const char* magic;
    std::size_t length;
    PictureImage (*decode)(Bytes file);
};
constexpr Kind kKinds[] = {
    {"\x89PNG\r\n\x1a\n", 8, DecodePng}, {"\xff\xd8\xff", 3, DecodeJpeg}, {"BM", 2, DecodeBmp},
    {"P1", 2, DecodePortableMap},        {"P2", 2, DecodePortableMap},    {"P3", 2, DecodePortableMap},
    {"P4", 2, DecodePortableMap},        {"P5", 2, DecodePortableMap},    {"P6", 2, DecodePortableMap},
};

bool EndsInPng(const std::string& path)
{
    std::string end = path.size() < 4 ? "" : path.substr(path.size() - 4);
    std::transform(end.begin(), end.end(), end.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return end == ".png";
}
} // namespace

void Refuse(ErrorCode code, const char* operation, const std::string& path, const std::string& reason)
{
    std::string text = path + ": " + reason;
    if (text.size() > kMaxText && reason.size() + 8 < kMaxText)
    {
        std::size_t from = text.size() - (kMaxText - 3);
        while ((static_cast<unsigned char>(text[from]) & 0xC0) == 0x80) // not in the middle of a letter
            ++from;
        text = "..." + text.substr(from);
    }
    Error(code, operation, text.c_str());
}

void RequireSizes(std::int64_t width, std::int64_t height)
{
    if (width <= 0 || height <= 0)
        throw Damaged{"a side has no pixels"};
    if (width > kMaxSide || height > kMaxSide || width * height > kMaxPixels)
        throw Damaged{"more than 65535 pixels a side or 2^28 in all"};
}

bool HoldsTogether(const PictureImage& image)
{
    return image.width >= 1 && image.height >= 1 && image.width <= kMaxSide && image.height <= kMaxSide &&
           image.channels >= 1 && image.channels <= 4 && (image.bits == 8 || image.bits == 16) &&
           image.samples.size() == image.At(0, image.height);
}

void RequireGrid(const Lumora& field, const char* operation)
{
    if (field.GetDataPointer() == nullptr || field.GetNx() < 1 || field.GetNy() < 1)
        Error(ERR_SOMETHING, operation, "the grid is empty: give both Nx and Ny a size");
    field.NearestNeighbor(0.0, 0.0); // looks at what the buffer holds, which the interface does not tell
}

PictureImage InColour(const PictureImage& image)
{
    PictureImage result;
    result.width = image.width;
    result.height = image.height;
    result.samples.resize(result.At(0, result.height));
    const double full = image.bits == 16 ? 65535.0 : 255.0;
    const std::size_t channels = static_cast<std::size_t>(image.channels);
    for (std::size_t n = 0; n < result.samples.size() / 3; ++n)
    {
        const std::uint16_t* const p = image.samples.data() + n * channels;
        const double opacity = channels % 2 == 0 ? p[channels - 1] / full : 1.0;
        for (std::size_t c = 0; c < 3; ++c)
        {
            const double value = opacity * (p[channels < 3 ? 0 : c] / full) + 1.0 - opacity;
            result.samples[3 * n + c] = static_cast<std::uint16_t>(std::lround(255.0 * std::clamp(value, 0.0, 1.0)));
        }
    }
    return result;
}

PictureImage ReadPictureAs(const std::string& path, const char* operation)
{
    return Guarded(operation,
                   [&]
                   {
                       const std::vector<std::uint8_t> bytes = ReadAll(path, operation);
                       try
                       {
                           for (const Kind& kind : kKinds)
                               if (bytes.size() >= kind.length &&
                                   std::memcmp(bytes.data(), kind.magic, kind.length) == 0)
                                   return kind.decode(bytes);
                       }
                       catch (const Damaged& damage)
                       {
                           Refuse(ERR_FILE_READ, operation, path, damage.reason);
                       }
                       Refuse(ERR_FILE_READ, operation, path, "no PNG, BMP, JPEG or portable map: convert it");
                   });
}
} // namespace pictures

double PictureImage::Grey(std::int32_t column, std::int32_t row) const
{
    const std::uint16_t* const p = samples.data() + At(column, row);
    const double full = bits == 16 ? 65535.0 : 255.0;
    const double light = channels < 3 ? p[0] : 0.2126 * p[0] + 0.7152 * p[1] + 0.0722 * p[2];
    return light / full * (channels % 2 == 0 ? p[channels - 1] / full : 1.0);
}

PictureImage ReadPicture(const std::string& path)
{
    return pictures::ReadPictureAs(path, "LumoraLib::ReadPicture");
}

void SavePng(const std::string& path, const PictureImage& image)
{
    using namespace pictures;
    if (!EndsInPng(path))
        Refuse(ERR_PARAMETER, kSavePng, path, "the name must end in .png");
    if (!HoldsTogether(image))
        Refuse(ERR_PARAMETER, kSavePng, path, "sizes, channels, bits and samples do not fit together");
    Guarded(kSavePng,
            [&]
            {
                const std::vector<std::uint8_t> bytes = EncodePng(image);
                SaveWhole(path.c_str(),
                          [&](const char* name)
                          {
                              std::unique_ptr<std::FILE, Closer> file(std::fopen(name, "wb"));
                              if (!file)
                                  Refuse(ERR_FILE_OPEN, kSavePng, path, "cannot be opened");
                              const bool written =
                                  std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
                              if (std::fclose(file.release()) != 0 || !written)
                                  Refuse(ERR_FILE_WRITE, kSavePng, path, "the bytes did not reach the file");
                          });
            });
}
} // namespace LumoraLib
