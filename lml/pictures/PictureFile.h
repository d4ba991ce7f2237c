// What the readers of picture files share: bytes with bounds, limits of sizes, and how a damaged file is told.
#ifndef LML_PICTURES_PICTUREFILE_H
#define LML_PICTURES_PICTUREFILE_H

#include "LmlPictures.h"

#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <string>
#include <utility>

namespace LumoraLib::pictures
{
using Bytes = std::span<const std::uint8_t>;

/// What a reader throws about a file; the operation makes a failure of it. The text tells what is wrong.
struct Damaged
{
    std::string reason;
};

inline constexpr char kCutShort[] = "the file is cut short";
inline constexpr std::int32_t kMaxSide = 65535;
inline constexpr std::int64_t kMaxPixels = std::int64_t{1} << 28;

/// Fails with "<path>: <reason>", the path's beginning left out where both do not fit into a failure's text.
[[noreturn]] void Refuse(ErrorCode code, const char* operation, const std::string& path, const std::string& reason);

/// Throws Damaged unless a picture of these sizes is within the limits.
void RequireSizes(std::int64_t width, std::int64_t height);

/// ReadPicture() under the name of `operation`.
PictureImage ReadPictureAs(const std::string& path, const char* operation);

/// Whether sizes, channels, bits and the number of samples of a picture in memory fit together.
bool HoldsTogether(const PictureImage& image);

/// Fails, code 6, on a field without samples. Sizes that announce more samples than there are fail under the name of
/// Lumora::NearestNeighbor.
void RequireGrid(const Lumora& field, const char* operation);

/// The picture with 8 bits and red, green and blue, its opacity laid on white.
PictureImage InColour(const PictureImage& image);

/// Runs an operation's body: memory that cannot be had takes the one road of failures.
template <class Body>
auto Guarded(const char* operation, Body&& body) -> decltype(body())
{
    try
    {
        return std::forward<Body>(body)();
    }
    catch (const std::bad_alloc&)
    {
        Error(ERR_MEMORY, operation, "picture");
    }
}
} // namespace LumoraLib::pictures

#endif
