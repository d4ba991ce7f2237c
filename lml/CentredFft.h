// The transform of samples whose origin stands at index (Nx/2, Ny/2), on both sides: the quadrants are exchanged, the
// bound engine runs, the quadrants are exchanged again. For every operation that transforms a field without being
// Lumora::Fft.
#ifndef LML_CENTREDFFT_H
#define LML_CENTREDFFT_H

#include "Dispatch.h"
#include "LmlLumora.h"

#include <cstdint>

namespace LumoraLib::detail
{
/// Ends in Error code 6 with the operation's name when the field has no samples for its sizes, or when the sizes have
/// not been through Init and are no powers of two.
void RequireTransformable(const Lumora& field, const char* function);

/// Exchanges the quadrants diagonally, byte by byte of half rows: an even number of rows. On the calling thread.
/// Kept: rows of one sample have half rows of four bytes, so their members are exchanged across rows.
void SwapQuadrants(Complex* samples, std::int32_t nx, std::int32_t ny);
/// Exchanges the two halves of one row in place.
void SwapHalves(Complex* samples, std::int32_t n);

/// Centred, unscaled transforms in place; sign < 0 is the kernel exp(-2 pi i n m / N). Sizes are powers of two; a size
/// of 0 does nothing. Errors: code 1, "LumoraLib::Malloc" for the half-row temporary or the engine's areas.
void CentredTransform1d(Complex* samples, std::int32_t n, int sign);
void CentredTransform2d(Complex* samples, std::int32_t nx, std::int32_t ny, int sign);
/// The 1-D path for fields of one row, the 2-D path otherwise.
void CentredTransform(Complex* samples, std::int32_t nx, std::int32_t ny, int sign);
} // namespace LumoraLib::detail

#endif
