// The wide transform engine's kernels for one instruction set; the source is WideKernels-inl.h.
#include "transform/wide/WideKernels.h"

#define LML_WIDE_ONLY 1
#define LML_WIDE_FILE "transform/wide/WideKernels-inl.h"
#include "simd/WideForEach.h"
