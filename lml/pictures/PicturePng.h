// PNG through libpng.
#ifndef LML_PICTURES_PICTUREPNG_H
#define LML_PICTURES_PICTUREPNG_H

#include "pictures/PictureFile.h"

namespace LumoraLib::pictures
{
/// The picture in the bytes of a PNG file. Throws Damaged.
PictureImage DecodePng(Bytes file);
} // namespace LumoraLib::pictures

#endif
