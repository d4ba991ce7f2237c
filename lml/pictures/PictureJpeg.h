// JPEG through libjpeg, where the component was built with it.
#ifndef LML_PICTURES_PICTUREJPEG_H
#define LML_PICTURES_PICTUREJPEG_H

#include "pictures/PictureFile.h"

namespace LumoraLib::pictures
{
/// The picture in the bytes of a JPEG file, upright. Throws Damaged.
PictureImage DecodeJpeg(Bytes file);
} // namespace LumoraLib::pictures

#endif
