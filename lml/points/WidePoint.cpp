// The loops of the point sources in wide form: builds the room once per instruction set. And the window's weight, which
// plain and wide loops share.
#include "points/WidePoint.h"
#include "base/Constants.h"

#include "points/PointSource.h"

#include "base/Isa.h"
#include "simd/SinCos.h"

#include <cmath>

double LumoraLib::detail::PointWindow(WindowFunc window, double c, double x, double half)
{
    if (window == WINDOW_TRIANGLE)
    {
        if (c - half > x)
            return 0.0;
        if (c > x)
            return x / half - (c - half) / half;
        return c + half > x ? (-x) / half + (c + half) / half : 0.0;
    }
    if (window == WINDOW_COSINE)
        return c - half > x || !(c + half > x) ? 0.0 : (std::cos((x - c) * kPi / half) + 1.0) * 0.5;
    return 1.0;
}

#define LML_WIDE_FILE "points/WidePoint-inl.h"
#include "simd/WideForEach.h"

const LumoraLib::detail::PointTable& LumoraLib::detail::WidePoints() noexcept
{
    return PickIsa(sse2::pointTable, avx2::pointTable, avx512::pointTable);
}
