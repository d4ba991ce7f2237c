// The transfer function of free space and the band in which a spectrum samples it finely enough.
#include "propagate/FreeSpace.h"

#include "base/Constants.h"
#include "base/IntMath.h"
#include "base/Mistakes.h"
#include "base/StepByStep.h"
#include "field/FieldTools.h"
#include "simd/WidePhase.h"
#include "transform/ChirpPhase.h"

#include <cmath>
#include <cstddef>

namespace LumoraLib::detail
{
FreeSpace::FreeSpace(double d, double lambda, double pitchU, double pitchV)
    : twoPiD_(kTwoPi * d), inverseSquare_(1.0 / (lambda * lambda))
{
    du = pitchU;
    dv = pitchV;
    roomLabel = "SPWPropFS : buffer";
}

PhaseForm FreeSpace::EvenRow(double v) const
{
    return PhaseForm::Transfer(du, inverseSquare_, v * v, twoPiD_);
}

void FreeSpace::Multiply(Complex* below, Complex* above, std::int32_t nx, std::int32_t j, Complex* room) const
{
    FillRow(room, nx, j * dv);
    for (Complex* const row : {below, above})
        if (row != nullptr)
            MultiplySamples(row, room, static_cast<std::size_t>(nx));
}

/// H for u, with rest = 1 / lambda^2 - v v.
Complex FreeSpace::At(double rest, double u) const
{
    const double w = rest - u * u;
    if (!(w > 0.0))
        return Complex(1.0, 0.0);
    return Complex(Unit(twoPiD_ * std::sqrt(w)));
}

/// H is even in u: each value serves index nx/2 + i and nx/2 - i.
void FreeSpace::FillRow(Complex* row, std::int32_t nx, double v) const
{
    const std::int32_t half = nx / 2;
    if (!StepByStep())
    {
        const PhaseForm form = EvenRow(v);
        float* const centre = reinterpret_cast<float*>(row + half);
        Phases().unit(form, 0, static_cast<std::size_t>(half), centre, centre);
        Phases().unit(form, -half, 1, reinterpret_cast<float*>(row), nullptr);
        return;
    }
    const double rest = inverseSquare_ - v * v;
    for (std::int32_t i = 0; i < half; ++i)
        row[half + i] = row[half - i] = At(rest, i * du);
    row[0] = At(rest, -half * du);
}

namespace
{
/// Largest frequency at which the phase of H is still sampled finely enough by the pitch du.
double BandLimit(double du, double d, double lambda)
{
    const double t = du * (d * 2.0);
    return 1.0 / std::sqrt(t * t + 1.0) / lambda;
}
} // namespace

IndexBox AsmBandBox(std::int32_t nx, std::int32_t ny, double du, double dv, double d, double lambda)
{
    IndexBox box{0, nx, 0, ny};
    const double ulimit = BandLimit(du, d, lambda);
    const double vlimit = BandLimit(dv, d, lambda);
    if ((nx / 2) * du > ulimit)
    {
        box.i0 = NearestIndex(0.0 - ulimit, du, nx / 2);
        box.i1 = NearestIndex(ulimit, du, nx / 2);
    }
    if ((ny / 2) * dv > vlimit)
    {
        box.j0 = NearestIndex(0.0 - vlimit, dv, ny / 2);
        box.j1 = NearestIndex(vlimit, dv, ny / 2);
    }
    return box;
}

void CheckBandLoss(const char* fn, const Lumora& field, double d, std::int32_t enlarge)
{
    if (!MistakesOn())
        return;
    const std::int32_t nx = field.GetNx() * enlarge;
    const std::int32_t ny = field.GetNy() * enlarge;
    const double du = field.IsSpectrum() ? field.GetPx() : 1.0 / (nx * field.GetPx());
    const double dv = field.IsSpectrum() ? field.GetPy() : 1.0 / (ny * field.GetPy());
    const IndexBox box = AsmBandBox(nx, ny, du, dv, d, field.GetWavelength());
    // The box is half-open, the band open: half a sample to the side of each end.
    const auto end = [](std::int32_t i, std::int32_t n, double pitch)
    {
        return (i - n / 2) * pitch - 0.5 * pitch;
    };
    Mistakes::BandLoss(fn, field, end(box.i0, nx, du), end(box.i1, nx, du), end(box.j0, ny, dv), end(box.j1, ny, dv));
}
} // namespace LumoraLib::detail
