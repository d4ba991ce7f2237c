// The transfer function of a lateral shift over a distance, and its band.
#include "propagate/ShiftedSpace.h"

#include "base/Constants.h"
#include "base/StepByStep.h"
#include "simd/WidePhase.h"
#include "transform/ChirpPhase.h"

#include <cmath>
#include <cstddef>
#include <limits>

namespace LumoraLib::detail
{
namespace
{
constexpr double kNever = std::numeric_limits<double>::infinity();

/// Bounds of one axis of the band, in direction cosines.
struct Band
{
    double lower;
    double upper;
};

/// The band in which the transfer function of a shift x0 over the distance z0 is sampled finely enough by a spectrum of
/// pitch d (Optics Express 18 (2010) 18453).
Band ShiftedBandLimit(double x0, double z0, double d)
{
    const double h = 1.0 / (2.0 * d);
    const double a = 1.0 / std::sqrt(1.0 / (x0 + h) / (x0 + h) * z0 * z0 + 1.0);
    const double b = 1.0 / std::sqrt(1.0 / (x0 - h) / (x0 - h) * z0 * z0 + 1.0);
    if (x0 > h)
        return {b, a};
    if (x0 < -h)
        return {-b, -a};
    return {-b, a};
}

/// The centred indices of an axis of n frequencies that lie inside an open band: a frequency exactly on a bound is
/// removed.
void OpenBand(std::int32_t n, double pitch, double low, double high, std::int32_t& first, std::int32_t& last)
{
    first = 0;
    last = n;
    const auto outside = [=](std::int32_t i)
    {
        const double frequency = (i - n / 2) * pitch;
        return frequency <= low || frequency >= high;
    };
    while (first < n && outside(first))
        ++first;
    while (last > first && outside(last - 1))
        --last;
}
} // namespace

ShiftedSpace::ShiftedSpace(double shiftX, double shiftY, double z0, double lambda, double pitchU, double pitchV)
    : z0_(z0), inverseSquare_(1.0 / (lambda * lambda))
{
    du = pitchU;
    dv = pitchV;
    shifted = true;
    x0 = shiftX;
    y0 = shiftY;
}

PhaseForm ShiftedSpace::EvenRow(double v) const
{
    return PhaseForm::Shifted(du, -kNever, kNever, 0.0, z0_, inverseSquare_, v * v, 0.0);
}

void ShiftedSpace::Multiply(Complex* below, Complex* above, std::int32_t nx, std::int32_t j, Complex*) const
{
    if (below != nullptr)
        MultiplyRow(below, nx, -(j * dv));
    if (above != nullptr)
        MultiplyRow(above, nx, j * dv);
}

void ShiftedSpace::MultiplyRow(Complex* row, std::int32_t nx, double v) const
{
    if (!StepByStep())
    {
        float* const samples = reinterpret_cast<float*>(row);
        Phases().multiply(PhaseForm::Shifted(du, -kNever, kNever, x0, z0_, inverseSquare_, v * v, y0 * v), {},
                          -(nx / 2), static_cast<std::size_t>(nx), samples, samples);
        return;
    }
    for (std::int32_t i = 0; i < nx; ++i)
    {
        const double u = (i - nx / 2) * du;
        row[i] = TimesUnit(row[i], kTwoPi * (x0 * u + z0_ * std::sqrt(inverseSquare_ - u * u - v * v) + y0 * v));
    }
}

ShiftedBand::ShiftedBand(double x0, double y0, double z0, double wavelength, std::int32_t nx, std::int32_t ny,
                         double px, double py, int precision)
{
    const double enlargement = std::ldexp(1.0, precision);
    const double du = 1.0 / (nx * px * enlargement);
    const double dv = 1.0 / (ny * py * enlargement);
    const Band bandX = ShiftedBandLimit(x0, z0, du);
    const Band bandY = ShiftedBandLimit(y0, z0, dv);
    uLow = bandX.lower / wavelength;
    uHigh = bandX.upper / wavelength;
    vLow = bandY.lower / wavelength;
    vHigh = bandY.upper / wavelength;
}

bool ShiftedBand::IsBeside(double px, double py) const
{
    const double fx = 0.5 / px;
    const double fy = 0.5 / py;
    return uLow > fx || uHigh < -fx || vLow > fy || vHigh < -fy;
}

IndexBox ShiftedBand::Box(std::int32_t nx, std::int32_t ny, double du, double dv) const
{
    IndexBox box{};
    OpenBand(nx, du, uLow, uHigh, box.i0, box.i1);
    OpenBand(ny, dv, vLow, vHigh, box.j0, box.j1);
    return box;
}
} // namespace LumoraLib::detail
