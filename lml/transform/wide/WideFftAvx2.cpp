// The wide transform engine's kernels for one instruction set; the source is WideFft-inl.h.
#include "transform/wide/WideFftRoom.h"

#define LML_WIDE_ONLY 1
#define LML_WIDE_FILE "transform/wide/WideFft-inl.h"
#include "simd/WideForEach.h"
