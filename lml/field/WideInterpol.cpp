// Interpolation several samples at a time: builds the room once per instruction set.
#include "field/WideInterpol.h"

#include "base/Isa.h"
#include "field/CubicKernels.h"

#define LML_WIDE_FILE "field/WideInterpol-inl.h"
#include "simd/WideForEach.h"

const LumoraLib::detail::InterpolTable& LumoraLib::detail::Interpolation() noexcept
{
    return PickIsa(sse2::interpolTable, avx2::interpolTable, avx512::interpolTable);
}
