// Loops of point clouds in wide form: builds the room once per instruction set.
#include "points/WideCloud.h"

#include "base/Isa.h"

#define LML_WIDE_FILE "points/WideCloud-inl.h"
#include "simd/WideForEach.h"

const LumoraLib::detail::CloudKernels& LumoraLib::detail::WideClouds() noexcept
{
    return PickIsa(sse2::cloudKernels, avx2::cloudKernels, avx512::cloudKernels);
}
