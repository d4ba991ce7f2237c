// The built-in font: letters as strokes, drawn at any size.
#ifndef LML_PICTURES_FONT_H
#define LML_PICTURES_FONT_H

#include <string>
#include <vector>

namespace LumoraLib::pictures
{
struct Point
{
    double x;
    double y;
};

/// A line through points; a single point is a dot.
using Polyline = std::vector<Point>;

/// Height of capital letters in units of the font; the baseline stands at y = kCapital, y grows downward.
inline constexpr double kCapital = 7.0;

/// The strokes of a line of UTF-8 text that begins at (0, 0), in units of the font.
std::vector<Polyline> TextStrokes(const std::string& text);

/// Its width in units of the font.
double TextWidth(const std::string& text);
} // namespace LumoraLib::pictures

#endif
