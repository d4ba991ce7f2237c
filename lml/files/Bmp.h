// The beginning of a BMP picture, for whoever has its rows in pieces.
#ifndef LML_BMP_H
#define LML_BMP_H

#include "files/ImageModes.h"

#include <cstdint>

namespace LumoraLib::detail
{
/// Heads and palette of an 8-bit picture. WritePixels() in kBmpPicture goes on, in one call or in several from the
/// bottom up. Errors: ERR_FILE_WRITE, "ewrite", path.
void WriteBmpStart(File& file, const char* path, const PictureSize& size, double px, double py, std::int32_t gradation);
} // namespace LumoraLib::detail

#endif
