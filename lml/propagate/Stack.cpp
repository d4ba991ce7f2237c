// One field at many distances: its spectrum once, and a way back for each plane.
#include "base/IntMath.h"
#include "base/Progress.h"
#include "base/WithMemory.h"
#include "field/FieldTools.h"
#include "propagate/FreeSpace.h"
#include "transform/CentredFft.h"
#include "transform/EngineStack.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace LumoraLib
{
namespace
{
constexpr char fnStack[] = "LumoraLib::Lumora::PropagateStack";

/// The grid of the propagations, and a pass for each distance.
struct StackGrid
{
    StackGrid(const Lumora& field, int enlarged)
        : doublings(enlarged), nx(detail::GrownColumns(field.GetNx(), enlarged)),
          ny(detail::GrownRows(field.GetNy(), enlarged)), du(1.0 / (nx * field.GetPx())),
          dv(ny == 1 ? field.GetPy() : 1.0 / (ny * field.GetPy())), lambda(field.GetWavelength())
    {
    }
    detail::IndexBox Band(double d) const { return detail::AsmBandBox(nx, ny, du, dv, d, lambda); }
    /// What holds the bands of all distances: their columns at least.
    detail::IndexBox Bands(const double* distances, std::size_t count) const
    {
        detail::IndexBox all = Band(distances[0]);
        for (std::size_t n = 1; n < count; ++n)
        {
            const detail::IndexBox band = Band(distances[n]);
            all.i0 = std::min(all.i0, band.i0);
            all.i1 = std::max(all.i1, band.i1);
            all.j0 = std::min(all.j0, band.j0);
            all.j1 = std::max(all.j1, band.j1);
        }
        return all;
    }

    int doublings;
    std::int32_t nx, ny;
    double du, dv;
    double lambda;
};

void CheckStack(const Lumora& field, const double* distances, std::size_t count, bool hasFunction,
                StackPropagator propagator)
{
    if (propagator != STACK_ASM && propagator != STACK_EXACT_ASM)
        Error(ERR_PARAMETER, fnStack, "no such propagator");
    if (count != 0 && (distances == nullptr || !hasFunction))
        Error(ERR_PARAMETER, fnStack, "no distances, or no function for the planes");
    detail::RequireTransformable(field, fnStack, propagator == STACK_EXACT_ASM ? 2 : 1);
    if (field.IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fnStack, ": PropagateStack");
}
} // namespace

std::size_t Lumora::PropagateStack(const double* distances, std::size_t count, const StackPlane& each,
                                   StackPropagator propagator) const
{
    CheckStack(*this, distances, count, static_cast<bool>(each), propagator);
    if (count == 0 || N() == 0)
        return 0;
    detail::Progress progress(fnStack, static_cast<std::int64_t>(count) + 1, 1);
    const StackGrid grid(*this, propagator == STACK_EXACT_ASM ? 1 : 0);
    Lumora plane(nx_, ny_);
    const detail::KeptSpectrum spectrum(plane, *this, grid.Bands(distances, count), grid.doublings);
    for (std::size_t n = 0; n < count; ++n)
    {
        progress.Step(static_cast<std::int64_t>(n) + 1);
        detail::CheckBandLoss(fnStack, *this, distances[n], grid.doublings != 0 ? 2 : 1);
        const detail::FreeSpace h(distances[n], grid.lambda, grid.du, grid.dv);
        spectrum.Run({h, grid.Band(distances[n]), grid.doublings});
        plane.CopyParam(*this);
        detail::FieldAccess::AddToOrigin(plane, distances[n]);
        if (!each(plane, n))
            return n + 1;
    }
    return count;
}

std::vector<double> Lumora::MeasureStack(const double* distances, std::size_t count, FocusMeasure measure,
                                         StackPropagator propagator) const
{
    CheckStack(*this, distances, count, true, propagator);
    if (measure < FOCUS_VARIANCE || measure > FOCUS_AMPLITUDE)
        Error(ERR_PARAMETER, fnStack, "no such measure");
    std::vector<double> values;
    detail::WithMemory([&] { values.resize(count); },
                       [&] { Error(ERR_MEMORY, fnStack, "not enough memory for the measures"); });
    PropagateStack(
        distances, count,
        [&](const Lumora& plane, std::size_t index)
        {
            values[index] = plane.GetFocusMeasure(measure);
            return true;
        },
        propagator);
    return values;
}
} // namespace LumoraLib
