// A colour picture to draw on: areas, smooth lines and text.
#ifndef LML_PICTURES_CANVAS_H
#define LML_PICTURES_CANVAS_H

#include "LmlPictures.h"
#include "pictures/Font.h"

#include <string>
#include <vector>

namespace LumoraLib::pictures
{
inline constexpr PictureColour kWhite = {255, 255, 255};
inline constexpr PictureColour kInk = {32, 32, 36};
inline constexpr PictureColour kFaint = {222, 222, 226};

/// Pixels of an area: x from left, y from the top, ends exclusive.
struct Box
{
    double left;
    double top;
    double right;
    double bottom;

    double Width() const { return right - left; }
    double Height() const { return bottom - top; }
};

enum class Align
{
    Left,
    Middle,
    Right
};

class Canvas
{
public:
    Canvas(std::int32_t width, std::int32_t height, PictureColour ground = kWhite);

    void Set(std::int32_t x, std::int32_t y, PictureColour colour);
    /// The area whose pixels' middles lie in the box, mixed in by `cover`.
    void Fill(Box box, PictureColour colour, double cover = 1.0);
    /// Lines of `width` pixels with round ends, all as one area: crossings are not darker. Cut to `clip`.
    void Draw(const std::vector<Polyline>& lines, double width, PictureColour colour, Box clip);
    void Draw(const std::vector<Polyline>& lines, double width, PictureColour colour)
    {
        Draw(lines, width, colour, All());
    }
    void Frame(Box box, double width, PictureColour colour);
    /// Text whose capitals are `capital` pixels high; (x, y) is on the baseline. Upward text reads from below.
    void Text(double x, double y, const std::string& text, double capital, Align align, PictureColour colour = kInk,
              bool upward = false);
    /// Copies a colour picture to (x, y).
    void Paste(std::int32_t x, std::int32_t y, const PictureImage& picture);

    Box All() const;
    PictureImage Take() { return std::move(image_); }

private:
    void Mix(std::int32_t x, std::int32_t y, PictureColour colour, double cover);

    PictureImage image_;
};

/// Pixels that the text takes at this size.
double TextPixels(const std::string& text, double capital);

/// A line cut into dashes: lengths of dash, gap, dash, gap ... in pixels; none leaves it whole.
std::vector<Polyline> Dashed(const Polyline& line, const std::vector<double>& pattern);
} // namespace LumoraLib::pictures

#endif
