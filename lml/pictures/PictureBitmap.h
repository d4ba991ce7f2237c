// Readers of BMP and of portable bit, grey and pixel maps.
#ifndef LML_PICTURES_PICTUREBITMAP_H
#define LML_PICTURES_PICTUREBITMAP_H

#include "pictures/PictureFile.h"

namespace LumoraLib::pictures
{
/// The picture in the bytes of a BMP file. Throws Damaged.
PictureImage DecodeBmp(Bytes file);
/// The picture in the bytes of a portable map, P1 to P6. Throws Damaged.
PictureImage DecodePortableMap(Bytes file);
} // namespace LumoraLib::pictures

#endif
