// The wide transform engine's kernels for one instruction set; the source is WideFft.inl.
#include "WideFftRoom.h"

#define LML_WIDE_ONLY 0
#define LML_WIDE_FILE "WideFft.inl"
#include "WideForEach.h"
