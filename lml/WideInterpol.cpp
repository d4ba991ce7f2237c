// Interpolation several samples at a time: builds the room once per instruction set.
#include "WideInterpol.h"

#include "CubicKernels.h"
#include "Isa.h"

#define LML_WIDE_FILE "WideInterpol.inl"
#include "WideForEach.h"

const LumoraLib::detail::InterpolTable& LumoraLib::detail::Interpolation() noexcept
{
    return PickIsa(sse2::interpolTable, avx2::interpolTable, avx512::interpolTable);
}
