// The loops of the point sources in wide form: builds the room once per instruction set.
#include "WidePoint.h"

#include "Isa.h"
#include "SinCos.h"

#define LML_WIDE_FILE "WidePoint.inl"
#include "WideForEach.h"

const LumoraLib::detail::PointTable& LumoraLib::detail::WidePoints() noexcept
{
    return PickIsa(sse2::pointTable, avx2::pointTable, avx512::pointTable);
}
