// Colours: OKLab, and the colour maps as tables.
#ifndef LML_PICTURES_COLOURS_H
#define LML_PICTURES_COLOURS_H

#include "LmlPictures.h"

namespace LumoraLib::pictures
{
/// Lightness 0 to 1, and the two axes green-red and blue-yellow.
struct Lab
{
    double l;
    double a;
    double b;
};

/// The nearest colour of a display, chroma reduced at the same lightness and hue where it has none.
PictureColour ToDisplay(Lab colour);

/// Hue of the phase (radians) at brightness 0 to 1: the colours of PICTURE_COMPLEX.
PictureColour PhaseColour(double phase, double brightness);

/// Whether the map is closed and made for phases.
bool IsCyclic(PictureColours colours);
} // namespace LumoraLib::pictures

#endif
