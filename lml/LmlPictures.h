// Pictures: fields shown in colour with scales and axes, line plots of profiles, picture files read and written, and
// pictures as fields. A component of its own: CMake target lml::pictures, pkg-config lmlpictures.
#ifndef LML_LMLPICTURES_H
#define LML_LMLPICTURES_H

#include "LmlApi.h"
#include "LmlLumora.h"

#include <cstdint>
#include <string>
#include <vector>

namespace LumoraLib
{
// Failures of this component carry the code that each function names, the function's name, and "<path>: <reason>"; of a
// long path the beginning is left out. Memory that cannot be had is code 1, "picture". Texts are UTF-8; the built-in
// font has ASCII and the signs of optics (µ λ π θ φ ° × · ± − ² ³ √ ∞ ≤ ≥), other letters show as a frame.

// ---------------------------------------------------------------------------------------------------------------
// Picture files                                                   (PictureFile.cpp and one unit for each format)
// ---------------------------------------------------------------------------------------------------------------

// Pixels, read from and written to files.

/// Pixels of a picture, top row first, the channels of a pixel side by side.
struct PictureImage
{
    std::int32_t width = 0;    ///< pixels
    std::int32_t height = 0;   ///< rows
    std::int32_t channels = 3; ///< 1 grey, 2 grey and opacity, 3 red green blue, 4 red green blue opacity
    std::int32_t bits = 8;     ///< of a channel: 8 (values 0 to 255) or 16 (0 to 65535)
    double perMetreX = 0.0;    ///< pixels per metre that a file states; 0 where it states none
    double perMetreY = 0.0;
    std::vector<std::uint16_t> samples; ///< width * height * channels values, whatever the bits

    /// Place of a pixel's first channel; row 0 is the top one.
    std::size_t At(std::int32_t column, std::int32_t row) const
    {
        return (static_cast<std::size_t>(row) * static_cast<std::size_t>(width) + static_cast<std::size_t>(column)) *
               static_cast<std::size_t>(channels);
    }
    /// Grey value 0 to 1 of a pixel: its luminance 0.2126 red + 0.7152 green + 0.0722 blue of the values as they are
    /// stored, times its opacity.
    LML_API double Grey(std::int32_t column, std::int32_t row) const;
};

/// Reads a picture; what it is is told by its first bytes, not by its name:
/// - PNG of 1 to 16 bits: grey, palette, colour, each with or without opacity, interlaced or not (ISO/IEC 15948). Fewer
///   than 8 bits and palettes become 8 bits, a transparent colour becomes an opacity.
/// - BMP of 1, 4, 8, 24 and 32 bits without compression, also with colour masks of 8 bits each, bottom-up or top-down;
///   the fourth byte of 32 bits counts as opacity only where a mask says so.
/// - Portable bit, grey and pixel maps (P1 to P6) of up to 16 bits.
/// - JPEG, where the component was built with libjpeg: grey and colour, turned as its orientation says.
/// Embedded colour profiles and gamma values are not applied.
/// @throws "LumoraLib::ReadPicture": code 2 (cannot be opened), code 5 (of no kind above, damaged, cut short, more than
///         2^28 pixels or 65535 a side). Sizes are checked against the length of the file before memory is asked for
///         where the format allows that; PNG and JPEG take at most 1100 times the length of their file.
/// Memory: 2 bytes a channel.
LML_API PictureImage ReadPicture(const std::string& path);

/// The bytes of a PNG file, for pages and streams. Errors: code 3, "LumoraLib::EncodePng", sizes that do not fit.
LML_API std::vector<std::uint8_t> EncodePng(const PictureImage& image);

/// Writes a PNG, replaced whole or not at all (see WholeFile).
/// @throws "LumoraLib::SavePng": code 3, sizes that do not fit, or a name that does not end in ".png" (any case); code
///         2 as WholeFile; code 4 when the bytes did not reach the file.
LML_API void SavePng(const std::string& path, const PictureImage& image);

/// Pictures side by side, `columns` in a row, `gap` white pixels between them, each at the top left of its cell:
/// "right" beside "wrong". All become colour pictures of 8 bits. Errors: code 3, "LumoraLib::JoinPictures", without
/// pictures, columns below 1, a gap outside 0 to 1000, more than 65535 pixels a side.
LML_API PictureImage JoinPictures(const std::vector<PictureImage>& pictures, int columns, int gap = 12);

// ---------------------------------------------------------------------------------------------------------------
// Fields as pictures                                                      (Render.cpp, Colours.cpp, Decoration.cpp)
// ---------------------------------------------------------------------------------------------------------------

// What of a field is shown, in which colours, and what stands around it.

/// What of a sample a picture shows.
enum PictureQuantity : std::int32_t
{
    PICTURE_AMPLITUDE = 0, ///< |u|
    PICTURE_INTENSITY = 1, ///< |u|^2
    PICTURE_DECIBEL = 2,   ///< 10 log10 of the intensity over the largest shown one
    PICTURE_PHASE = 3,     ///< -pi to pi; grey where the amplitude is exactly 0
    PICTURE_REAL = 4,
    PICTURE_IMAGINARY = 5,
    PICTURE_COMPLEX = 6 ///< phase as hue, amplitude as brightness
};

/// Colour maps. All but the last are made in a space of even colour differences (OKLab): equal steps of the value look
/// equally large, and lightness rises with it.
enum PictureColours : std::int32_t
{
    COLOURS_AUTOMATIC = 0, ///< EMBER for magnitudes, BALANCE for real and imaginary part, CYCLE for phases
    COLOURS_GREY = 1,      ///< black to white
    COLOURS_EMBER = 2,     ///< black, violet, red, orange, pale yellow
    COLOURS_LAGOON = 3,    ///< dark blue, teal, green, yellow; also for readers who see no red
    COLOURS_CYCLE = 4,     ///< closed: 0 yellow, pi/2 rose, +-pi violet, -pi/2 teal
    COLOURS_HUE = 5,       ///< closed, one lightness: the hues of PICTURE_COMPLEX
    COLOURS_BALANCE = 6,   ///< blue for negative, near white for 0, red for positive values
    COLOURS_RAINBOW = 7    ///< the palette of the BMP writer, for pictures that must compare with its; not even
};

/// Axes of a spectrum.
enum PictureFrequencies : std::int32_t
{
    FREQUENCIES_PER_MM = 0, ///< cycles per millimetre
    FREQUENCIES_DEGREES =
        1 ///< asin(wavelength times frequency), the angle of the plane wave; evanescent parts have none
};

/// How a field is shown. What stands here by default gives a picture without axes that is well lit for most fields.
struct PictureStyle
{
    PictureQuantity quantity = PICTURE_AMPLITUDE; ///< what of a sample is shown
    PictureColours colours = COLOURS_AUTOMATIC;   ///< the map of its values

    /// Values of the first and the last colour, in the units of the quantity (decibels for PICTURE_DECIBEL, amplitude
    /// for PICTURE_COMPLEX). Equal values, as at first, take them from the picture: 0 (decibels: the top less
    /// `decibels`) up to the percentile `clip`; real and imaginary part the same both ways from 0; phases always -pi to
    /// pi.
    double low = 0.0;
    double high = 0.0;
    /// Percentage of the pixels that are not brighter than the last colour, 1 to 100: a few bright speckles are cut
    /// rather than leave everything else dark. Where the pixels at this rank are all 0, the largest value counts.
    double clip = 99.8;
    double decibels = 40.0; ///< range of PICTURE_DECIBEL below the brightest shown value, above 0
    /// Above 1 lifts dark parts: place t of a magnitude on the colour map becomes t^(1/gamma). 0.1 to 10; no effect on
    /// phases, decibels, real and imaginary parts.
    double gamma = 1.0;

    bool window = false; ///< the field's window alone, rather than the whole grid
    /// Longest side of the field's picture in pixels, 16 to 32768; larger fields are averaged: intensities for
    /// amplitude, intensity and decibels, complex amplitudes for phases, values for real and imaginary parts. 0: a
    /// pixel a sample.
    std::int32_t maxSize = 1024;
    /// Smaller fields are enlarged to at least this longest side (at most maxSize) by whole factors; 0: not at all.
    std::int32_t minSize = 256;
    /// Width and height in proportion to metres; false: to samples. Never slimmer than 1 to 16.
    bool proportional = true;

    std::string title;      ///< a line above the picture; empty for none
    bool axes = false;      ///< frame with ticks, numbers and units: metres, or see `frequencies` for a spectrum
    bool colourBar = false; ///< the colours with their values; of PICTURE_COMPLEX a disc of phases
    bool scaleBar = false;  ///< a bar of a round length with its length inside the picture
    PictureFrequencies frequencies = FREQUENCIES_PER_MM;
    std::string label;     ///< beside the colour bar; empty: the name of the quantity
    double textSize = 1.0; ///< of all texts, 0.5 to 4; 1 is made for pictures of 512 to 1024 pixels
};

/// Values of the first and last colour.
struct PictureRange
{
    double low;  ///< in the units of the quantity
    double high; ///< likewise
};

/// The range that RenderPicture() would use, to show several fields on one scale: put it into `low` and `high` of the
/// style. For PICTURE_DECIBEL it is in decibels over intensity 1. Errors and cost as RenderPicture().
LML_API PictureRange GetPictureRange(const Lumora& field, const PictureStyle& style);

/// The field as a picture of 8 bits and three channels; +y is up. Forms and both domains are taken: a spectrum has axes
/// of frequencies. Samples that are not finite are shown in the mid-grey of "no value" and left out of ranges.
/// @throws "LumoraLib::RenderPicture": code 3 and what to change (a value of the style outside its list or range, an
///         empty window, low above high), code 6 without samples.
/// Cost: about one pass over the samples on one thread. Memory: 24 bytes a pixel, and a few rows.
LML_API PictureImage RenderPicture(const Lumora& field, const PictureStyle& style = {});

/// RenderPicture() into a PNG, replaced whole or not at all. Errors: those of both, under the names of both.
LML_API void SavePicture(const std::string& path, const Lumora& field, const PictureStyle& style = {});

/// Red, green and blue, 0 to 255.
struct PictureColour
{
    std::uint8_t red;   ///< 0 to 255
    std::uint8_t green; ///< 0 to 255
    std::uint8_t blue;  ///< 0 to 255
};

/// The colour at t = 0 to 1 of a map, clipped outside; closed maps begin at phase -pi. COLOURS_AUTOMATIC is EMBER.
LML_API PictureColour GetPictureColour(PictureColours colours, double t);

// ---------------------------------------------------------------------------------------------------------------
// Line plots                                                                                     (ProfilePlot.cpp)
// ---------------------------------------------------------------------------------------------------------------

// Rows and columns of fields, and other lines, over axes.

/// A line of a plot. Points that are not finite leave a gap.
struct ProfileLine
{
    std::string name;      ///< in the legend; empty: none
    std::vector<double> x; ///< as many as y; empty: 0, 1, 2 ...
    std::vector<double> y;
    bool markers = false; ///< marks at the points instead of a line
};

/// The look of a plot. Lines differ in colour, lightness and dashes, so they can be told apart in grey too.
struct ProfileStyle
{
    std::string title;        ///< above the plot; empty for none
    std::string xLabel = "x"; ///< below the axis
    std::string xUnit = "m";  ///< "m" and "s" take the prefix that suits the range (µm, mm), other units stay
    std::string yLabel;
    std::string yUnit;
    std::int32_t width = 960;  ///< pixels, 200 to 8192
    std::int32_t height = 540; ///< pixels, 150 to 8192
    double xLow = 0.0;         ///< range of the axis in its unit without prefix; equal values: that of the lines
    double xHigh = 0.0;
    double yLow = 0.0;
    double yHigh = 0.0;
    bool logarithmic = false; ///< the y axis; values of 0 and below leave a gap
    double textSize = 1.0;    ///< 0.5 to 4
};

/// A row (X_AXIS) or column (Y_AXIS) of the field: places in metres, of a spectrum in cycles per metre. Any quantity
/// but PICTURE_COMPLEX; decibels are over intensity 1. The whole grid, whatever the window.
/// @throws "LumoraLib::MakeProfileLine": code 3, the index lies outside the grid, or the quantity; code 6.
LML_API ProfileLine MakeProfileLine(const Lumora& field, Axis axis, std::int32_t index, PictureQuantity quantity,
                                    const std::string& name = {});

/// At most 12 lines with axes, grid and legend as a picture.
/// @throws "LumoraLib::RenderProfilePlot": code 3 and what to change: no lines, more than 12, x and y of different
///         lengths, nothing to be drawn, a style outside its ranges.
LML_API PictureImage RenderProfilePlot(const std::vector<ProfileLine>& lines, const ProfileStyle& style = {});

/// RenderProfilePlot() into a PNG, replaced whole or not at all.
LML_API void SaveProfilePlot(const std::string& path, const std::vector<ProfileLine>& lines,
                             const ProfileStyle& style = {});

// ---------------------------------------------------------------------------------------------------------------
// Pictures as fields                                                                            (FieldPicture.cpp)
// ---------------------------------------------------------------------------------------------------------------

// Grey values as amplitudes, intensities or phases of samples.

/// What the grey value v = 0 to 1 of a pixel becomes.
enum PictureValue : std::int32_t
{
    PICTURE_VALUE_INTENSITY = 0, ///< amplitude sqrt(v)
    PICTURE_VALUE_AMPLITUDE = 1, ///< amplitude v
    PICTURE_VALUE_PHASE = 2      ///< amplitude 1 and phase 2 pi v - pi, as the BMP reader has it
};

/// The phase of samples whose amplitude comes from a picture.
enum PicturePhase : std::int32_t
{
    PICTURE_PHASE_CONSTANT = 0, ///< `phaseValue`; 0 is a plain slide
    PICTURE_PHASE_RANDOM = 1    ///< uniform and independent for each sample: a diffuser
};

/// How a picture becomes a field.
struct PictureLoadOptions
{
    double width = 0.0; ///< metres of the picture on the field; 0: follows from the height, or a sample a pixel
    double height = 0.0;
    bool keepAspect = true; ///< with width and height both given: the largest size that fits; false: stretched to both
    PictureValue value = PICTURE_VALUE_INTENSITY;
    double gamma = 1.0;    ///< grey values count as v^gamma; 2.2 takes back the coding of pictures made for displays
    bool negative = false; ///< 1 - v in place of v
    PicturePhase phase = PICTURE_PHASE_CONSTANT;
    double phaseValue = 0.0; ///< radians
    std::uint64_t seed = 1;  ///< equal seeds give equal random phases everywhere

    // For the form that makes the field:
    double pitch =
        0.0; ///< metres per sample; 0: a sample a pixel of `width`, or the default pitches where no width is given
    double wavelength = 0.0; ///< metres; 0: the default wavelength
    /// The grid holds the picture at least this many times on each axis, raised to a power of two: 1 fits, 2 leaves
    /// room for a propagation. 1 to 64.
    double room = 1.0;
};

/// A new cartesian field with the picture in its middle and 0 around it; the window is set to the picture, +y is its
/// top. Where samples are coarser than pixels, each is the average of the pixels it covers (intensities for
/// PICTURE_VALUE_INTENSITY, amplitudes for ..._AMPLITUDE), where they are finer it is interpolated between them;
/// PICTURE_VALUE_PHASE takes the nearest pixel. Any size of picture will do: the grid's sizes are powers of two.
/// @throws "LumoraLib::LoadPicture": as ReadPicture(), under this name, and code 3 with path and reason: options
///         outside their ranges, a grid of more than 2^28 samples, a picture of less than a sample; code 1.
LML_API Lumora LoadPicture(const std::string& path, const PictureLoadOptions& options = {});

/// The same into a field whose grid, pitches, wavelength, place and form (cartesian or polar amplitudes) stay: a
/// picture that does not fit is cut at the edge of the grid. A refused file leaves the field as it was.
/// @throws also code 8 on a spectrum, code 6 without samples.
LML_API Lumora& LoadPicture(Lumora& field, const std::string& path, const PictureLoadOptions& options = {});

/// The same with pixels from memory. Errors under the name "LumoraLib::PlacePicture".
LML_API Lumora& PlacePicture(Lumora& field, const PictureImage& picture, const PictureLoadOptions& options = {});
} // namespace LumoraLib

#endif
