// What stands around a picture: title, axes, colour bar, scale bar.
#ifndef LML_PICTURES_DECORATION_H
#define LML_PICTURES_DECORATION_H

#include "pictures/Axis.h"
#include "pictures/Canvas.h"

#include <string>
#include <vector>

namespace LumoraLib::pictures
{
/// A number at a place 0 to 1 of an axis.
struct Mark
{
    double place;
    std::string text;
};

struct Scale
{
    std::string label; // with its unit
    std::vector<Mark> marks;
};

struct Decoration
{
    std::string title;
    bool axes = false;
    Scale x;
    Scale y;
    bool bar = false;
    bool disc = false; // of phases in place of the bar
    PictureColours colours = COLOURS_GREY;
    Scale barScale;
    double scaleBar = 0.0; // its length as a share of the picture's width; 0 for none
    std::string scaleBarText;
    double textSize = 1.0;
};

/// Height of capitals for a picture of this longest side.
double CapitalFor(double longestSide, double textSize);

/// "label [unit]", or the one that there is.
std::string LabelWithUnit(const std::string& label, const std::string& unit);

/// Pixels that numbers and labels take left of a frame and below it.
double MarginLeft(const Scale& y, double capital);
double MarginBelow(const Scale& x, double capital);

/// Ticks, numbers and labels left of the frame and below it.
void DrawAxes(Canvas& canvas, Box frame, const Scale& x, const Scale& y, double capital);

/// The picture with what the decoration wants around it; without any, the picture itself.
PictureImage Decorate(PictureImage picture, const Decoration& decoration);
} // namespace LumoraLib::pictures

#endif
