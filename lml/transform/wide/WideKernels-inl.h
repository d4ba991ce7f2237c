// Kernels of the wide transform engine. Compiled once per instruction set by WideForEach.h.
//
// Samples are worked on as split vectors: W real parts, then W imaginary parts (a "pair", 2 W floats). In strips the
// lanes are neighbouring columns; in rows they are neighbouring samples. All butterflies are the forward kernel exp(-2
// pi i ..); the inverse is the forward one on samples whose real and imaginary parts are exchanged, which costs nothing
// at load and store. The order of operations depends on the length alone, never on W.

// Each builds on those before it.
#include "transform/wide/WideVectors-inl.h"

#include "transform/wide/WideButterflies-inl.h"

#include "transform/wide/WideLanes-inl.h"

#include "transform/wide/WideTiles-inl.h"

#include "transform/wide/WideStrips-inl.h"

#include "transform/wide/WideFused-inl.h"

#include "transform/wide/WideRowParts-inl.h"

#include "transform/wide/WideLongRows-inl.h"

#include "transform/wide/WideRows-inl.h"

#include "transform/wide/WideConvolve-inl.h"

#include "transform/wide/WideMoves-inl.h"

namespace LumoraLib::detail::LML_WIDE_NS
{
extern const WideKernels wideKernels;
const WideKernels wideKernels = {.isa = Isa(LML_WIDE_LEVEL),
                                 .row = Row,
                                 .rows = Rows,
                                 .strips = Strips,
                                 .fused = Fused,
                                 .keep = Keep,
                                 .convolveRows = ConvolveRows,
                                 .transpose = TransposeSquare,
                                 .deal = Deal};
} // namespace LumoraLib::detail::LML_WIDE_NS
