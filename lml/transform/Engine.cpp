// Which engine carries out a pass.
#include "transform/Engine.h"

#include "base/IntMath.h"
#include "base/Mistakes.h"

namespace LumoraLib::detail
{
namespace
{
constexpr StepEngine kSteps;
constexpr FusedEngine kFused;
} // namespace

std::int32_t GrownColumns(std::int32_t nx, int doublings)
{
    return doublings == 0 ? nx : static_cast<std::int32_t>(RaisedToPowerOfTwo(GrownSize(nx, doublings)));
}

std::int32_t GrownRows(std::int32_t ny, int doublings)
{
    return ny > 1 ? GrownColumns(ny, doublings) : ny;
}

void CarryOut(const SpectralPass& pass, Lumora& to, const Lumora& from)
{
    if (to.N() == 0)
        return;
    const bool fused = FusedEngine::Takes(pass, to, from);
    (fused ? static_cast<const Engine&>(kFused) : kSteps).Run(pass, to, from);
}

void CarryOut(const ChirpPass& pass, Lumora& to, const Lumora& from)
{
    if (to.N() == 0)
        return;
    const Engine& engine = FusedEngine::Takes(pass, to) ? static_cast<const Engine&>(kFused) : kSteps;
    const MistakeScope inside;
    if (pass.into == Into::Replace)
        return engine.Run(pass, to, from);
    Lumora result(to.GetNx(), to.GetNy());
    engine.Run(pass, result, from);
    if (pass.into == Into::Cleared)
        to.Clear();
    to += result;
}

std::optional<ScaledFftDescriptor> SharedKernel(std::int32_t nx, std::int32_t ny, double a, double b)
{
    std::optional<ScaledFftDescriptor> kernel;
    if (!FusedEngine::TakesChirps(nx, ny))
        kernel.emplace(nx, ny, a, b);
    return kernel;
}
} // namespace LumoraLib::detail
