// Floats of scratch per thread that the wide transforms take.
#ifndef LML_WIDESCRATCH_H
#define LML_WIDESCRATCH_H

#include "transform/wide/WideTables.h"

#include <cstddef>

namespace LumoraLib::detail
{
/// Rows on their own, of any length: a two-level length is done in place.
std::size_t WideLineFloats(const WideLength& length);

/// Passes along rows and along columns, alone and fused (with mirrored pairs of strips, with factors per row and
/// column), and convolutions along rows; `length` is that of the transform.
std::size_t WideRowFloats(const WideLength& length);
std::size_t WideStripFloats(const WideLength& length);
std::size_t WideFusedFloats(const WideLength& length, bool pairs, bool turned);
std::size_t WideConvolveFloats(const WideLength& length);
} // namespace LumoraLib::detail

#endif
