// The loops of the point sources in wide form: builds the room once per instruction set.
#include "points/WidePoint.h"

#include "points/PointSource.h"

#include "base/Isa.h"
#include "simd/SinCos.h"

#define LML_WIDE_FILE "points/WidePoint-inl.h"
#include "simd/WideForEach.h"

const LumoraLib::detail::PointTable& LumoraLib::detail::WidePoints() noexcept
{
    return PickIsa(sse2::pointTable, avx2::pointTable, avx512::pointTable);
}
