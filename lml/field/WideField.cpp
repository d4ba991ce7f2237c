// Element-wise loops over samples: builds the room once per instruction set.
#include "field/WideField.h"

#include "base/Constants.h"
#include "base/Isa.h"
#include "field/WideFieldCoefficients.h"

#include <cmath>

float LumoraLib::detail::PlainPhase(float x, float y) noexcept
{
    return static_cast<float>(std::atan2(static_cast<double>(y), static_cast<double>(x)));
}

float LumoraLib::detail::PlainLogIntensity(float x, float y, double l) noexcept
{
    const double re = x;
    const double im = y;
    return static_cast<float>(std::log10(re * re + 1.0 + im * im) / l);
}

#define LML_WIDE_FILE "field/WideField-inl.h"
#include "simd/WideForEach.h"

const LumoraLib::detail::FieldTable& LumoraLib::detail::WideField() noexcept
{
    return PickIsa(sse2::fieldTable, avx2::fieldTable, avx512::fieldTable);
}
