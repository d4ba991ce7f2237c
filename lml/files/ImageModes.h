// What the 8-bit picture formats share: which quantity of a sample a mode shows, how it becomes a byte, and how a pixel
// value becomes a sample again. The formats differ in a few constants only, which stand side by side in PictureFormat.
#ifndef LML_IMAGEMODES_H
#define LML_IMAGEMODES_H

#include "LmlLumora.h"
#include "base/Reduce.h"
#include "files/ByteIo.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace LumoraLib::detail
{
// ---- Saving -----------------------------------------------------------------------------------------------------

/// What happens to the samples before one member of each is shown.
enum class Shown : std::uint8_t
{
    Stored,       // nothing, whatever the form
    Intensity,    // first member := intensity
    LogIntensity, // first member := logarithm of the intensity
    Cartesian,    // polar samples become cartesian
    Polar         // cartesian samples become polar
};

/// Which member of the prepared sample is the pixel's value.
enum class Member : std::uint8_t
{
    First,
    Second,
    SecondWhereBright // 0 where the first member is under the threshold
};

/// A mode when saving. In the automatic range the value s shows as byte (s + offset) * scale * 255 + 0.5.
struct ModeRule
{
    Shown shown;
    Member member;
    double offset;
    double scale;
};

/// The rule of a mode. Modes outside the list show the first member as it is stored, which in the automatic range is 0.
const ModeRule& RuleOf(Mode mode);

/// In what the formats differ.
struct PictureFormat
{
    double maskFraction;      // threshold of the masked phase, as a fraction of the window's largest amplitude
    bool showsLogIntensity;   // false: the logarithmic mode counts as a mode outside the list
    bool wrapsAutomaticRange; // true: in the automatic range the byte is the integer's lowest; 255 from 2^31 steps on
    bool topRowFirst;
    std::int32_t rowMultiple; // rows are filled up with zeros to a multiple of this many bytes
};

// Kept: HBI shows no logarithmic intensity and wraps in the automatic range, and HBI and RAW mask at a tenth of the
// amplitude of BMP: one field gives other pixels in each format, not only another layout.
inline constexpr PictureFormat kBmpPicture{0.01, true, false, false, 4};
inline constexpr PictureFormat kHbiPicture{0.001, false, true, false, 1};
inline constexpr PictureFormat kRawPicture{0.001, true, false, true, 1};

/// The window of a picture: whole grid, or the part of the field's window that lies inside the grid.
LML_RECT WholeGrid(const Lumora& field);

/// Sizes of a picture; an empty or reversed window has size 0.
struct PictureSize
{
    std::int32_t width;
    std::int32_t height;
    std::int32_t rowBytes;
};
PictureSize SizeOf(const LML_RECT& window, const PictureFormat& format);

/// The range that black and white stand for; both 0 is the automatic range of the mode.
struct PictureRange
{
    double min;
    double max;
    bool IsAutomatic() const { return min == 0.0 && max == 0.0; }
};

/// Writes the pixels of `window` (inside the grid) at the file's position. The last `bar` - 1 columns carry a scale
/// that rises from 0 at the window's bottom. The field is not changed. Memory: about 2 MiB and one row.
void WritePixels(File& file, const char* path, const char* function, const Lumora& field, const LML_RECT& window,
                 Mode mode, const PictureFormat& format, const PictureRange& range, std::int32_t bar);

// ---- Loading ----------------------------------------------------------------------------------------------------

/// The samples that the pixels of a picture become, in the form that the field has: one per pixel index, computed once,
/// since a picture has no more than 256 different pixels.
struct PixelSamples
{
    static constexpr std::size_t kMaxPixels = 256;

    std::array<Complex, kMaxPixels + 1> sample; // the last one is the background
    bool stored;                                // false: the mode is not loaded, every sample is background

    const Complex& Background() const { return sample[kMaxPixels]; }
};

/// @param values  pixel value 0 ... 1 of each pixel index
/// @param background  in the representation that the mode loads (polar or cartesian), whatever the field's form
PixelSamples MakePixelSamples(Mode mode, ComplexForm form, const std::array<double, PixelSamples::kMaxPixels>& values,
                              Complex background);

/// A picture's rows in the file and their place in the grid. Whoever fills this in has checked it against both.
struct PixelRows
{
    std::int32_t bits;      // per pixel: 8, 4 or 1, the first pixel in the highest bits
    std::uint64_t rowBytes; // pixels beyond a row's bytes have index 0
    std::int32_t rows;      // rows that are read
    std::int32_t columns;   // pixels of each row that are used
    std::int32_t firstColumn;
    std::int32_t firstRow;
    std::int32_t rowStep; // 1 or -1: bottom row first or top row first
};

/// Bytes of a row of `width` pixels filled up to whole groups of 32 bits.
constexpr std::uint64_t PaddedRowBytes(std::int32_t width, std::int32_t bits)
{
    return (static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(bits) + 31) / 32 * 4;
}

/// Memory for the rows that are read at a time: at most 1 MiB, or one row. It is asked for before a field is touched.
struct PixelStrip
{
    std::uint64_t rows;
    std::unique_ptr<Byte[], FreeMemory> bytes;
};
PixelStrip MakePixelStrip(std::uint64_t rows, std::uint64_t rowBytes, const char* function);

/// Reads the rows at the file's position into the field's samples.
void ReadPixels(File& file, const char* path, Lumora& field, const PixelRows& rows, const PixelSamples& samples,
                const PixelStrip& strip);
} // namespace LumoraLib::detail

#endif
