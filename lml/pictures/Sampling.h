// The values that the pixels of a field's picture show.
#ifndef LML_PICTURES_SAMPLING_H
#define LML_PICTURES_SAMPLING_H

#include "LmlPictures.h"

#include <cstdint>
#include <vector>

namespace LumoraLib::pictures
{
/// The part of the grid that is shown and the pixels that it takes.
struct View
{
    LML_RECT samples{};
    std::int32_t width = 0;
    std::int32_t height = 0;
};

/// Pixels, top row first. Values that are not finite have none to show (or none at all: decibels of 0 are -infinity).
struct Raster
{
    std::vector<float> value;
    std::vector<float> phase; // of PICTURE_COMPLEX
};

/// One sample's quantity; decibels over intensity 1, the amplitude for PICTURE_COMPLEX.
double QuantityOf(PictureQuantity quantity, double re, double im);

/// The sample as real and imaginary part, whatever the form.
struct Parts
{
    double re;
    double im;
};
Parts PartsOf(const Lumora& field, const Complex& sample);

Raster Sample(const Lumora& field, const View& view, PictureQuantity quantity);

/// Values of first and last colour by the style.
PictureRange RangeOf(const Raster& raster, const PictureStyle& style);
} // namespace LumoraLib::pictures

#endif
