// Rows of phase factors: builds the room once per instruction set.
#include "simd/WidePhase.h"

#include "base/Constants.h"
#include "base/Isa.h"
#include "simd/SinCos.h"

#define LML_WIDE_FILE "simd/WidePhase-inl.h"
#include "simd/WideForEach.h"

const LumoraLib::detail::PhaseTable& LumoraLib::detail::Phases() noexcept
{
    return PickIsa(sse2::phaseTable, avx2::phaseTable, avx512::phaseTable);
}
