// What the loaders of fields share: whether the sizes that a file announces are worth their memory, the grid remade as
// a whole or not at all, and stored samples brought into it.
#ifndef LML_FIELDFILE_H
#define LML_FIELDFILE_H

#include "LmlLumora.h"
#include "files/ByteIo.h"

#include <cstdint>

namespace LumoraLib::detail
{
/// Neither size is below 0 or above 2^30, the largest that can be raised to a power of two, and the raised grid takes
/// at most 256 MiB or `perByte` bytes for each byte of the file. A raise takes less than four samples for one, so a
/// binary file that holds all its samples passes with 4; one cut short passes while it is small or a good part of it is
/// there.
[[nodiscard]] bool SizesAreSane(const File& file, std::int32_t nx, std::int32_t ny, std::int64_t perByte = 4);

/// Gives the field sizes and, unless they are zero, a buffer for them (Init). Where there is no memory, the field keeps
/// both its sizes and its samples and the failure goes on.
void RemakeGrid(Lumora& field, std::int32_t nx, std::int32_t ny);

/// Reads nx by ny stored samples at the position into the field, whose sizes are these or the raised ones: in the
/// latter they come to lie centred, rounded down, zeros around them. Samples that the file does not hold are zero;
/// false then. Reports progress in samples as `operation`, every 16 MiB.
[[nodiscard]] bool ReadSamples(File& file, Lumora& field, std::int32_t nx, std::int32_t ny, const char* operation);
} // namespace LumoraLib::detail

#endif
