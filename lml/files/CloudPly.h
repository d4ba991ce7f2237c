// The reader of PLY files.
#ifndef LML_CLOUDPLY_H
#define LML_CLOUDPLY_H

#include "files/CloudMesh.h"

namespace LumoraLib::detail
{
/// PLY from behind its first line; triangles only when `faces` is set.
CloudMesh ReadPly(CloudStream& stream, bool faces);
} // namespace LumoraLib::detail

#endif
