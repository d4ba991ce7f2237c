// The centre of a larger grid: samples into it and out of it.
#ifndef LML_EMBED_H
#define LML_EMBED_H

#include "LmlTypes.h"

#include <cstdint>

namespace LumoraLib::detail
{
/// Fills nx by ny samples at `target`: those of `source` in the centre, zeros around them. The source is not larger.
void PlaceCentred(Complex* target, std::int32_t nx, std::int32_t ny, const Complex* source, std::int32_t sourceNx,
                  std::int32_t sourceNy);
/// The way back: nx by ny samples at `target` from the centre of the larger `source`.
void CutCentre(Complex* target, std::int32_t nx, std::int32_t ny, const Complex* source, std::int32_t sourceNx,
               std::int32_t sourceNy);
} // namespace LumoraLib::detail

#endif
