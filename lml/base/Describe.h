// The values behind a failure: set down by the operation that is about to report it, kept for DescribeError.
#ifndef LML_DESCRIBE_H
#define LML_DESCRIBE_H

#include "LmlLumora.h"

#include <cstdint>

namespace LumoraLib::detail
{
/// Sets down one sentence of values for the failure that the caller reports next, and gives `message` back, so that it
/// stands inside the call: Error(code, function, Explained(message, "n is %d.", n)). The sentence waits in a buffer of
/// the thread until Error() comes; no memory is asked for. At most 255 characters.
LML_PRINTF_LIKE(2, 3)
const char* Explained(const char* message, const char* format, ...);

/// What two fields were compared in.
enum Compared : std::uint32_t
{
    COMPARED_SIZES = 1,
    COMPARED_PITCHES = 2,
    COMPARED_WAVELENGTHS = 4,
    COMPARED_NORMALS = 8,
    COMPARED_PLANES = 16, // normals and origins
    COMPARED_WINDOWS = 32 // widths and heights
};

/// Writes a sentence for each parameter out of `compared` that differs: its name and both values, `own` first. Returns
/// the number of parameters that differ.
int DescribeDifference(char* text, std::size_t bytes, const Lumora& own, const Lumora& other, std::uint32_t compared);

/// Explained() with the parameters in which the two fields differ.
const char* Differing(const char* message, const Lumora& own, const Lumora& other, std::uint32_t compared);

/// Takes the sentence that waits, or none, for this failure: the last thing that Error() does before it throws.
void KeepDetail(const LumoraException& failure) noexcept;
} // namespace LumoraLib::detail

#endif
