// Rows of phase factors: builds the room once per instruction set.
#include "WidePhase.h"

#include "Isa.h"
#include "SinCos.h"

#define LML_WIDE_FILE "WidePhase.inl"
#include "WideForEach.h"

const LumoraLib::detail::PhaseTable& LumoraLib::detail::Phases() noexcept
{
    return PickIsa(sse2::phaseTable, avx2::phaseTable, avx512::phaseTable);
}
