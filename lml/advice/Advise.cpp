// The adviser: checks, the ways by rising cost, and the one it would take.
#include "LmlAdvice.h"

#include "advice/Cost.h"
#include "advice/Look.h"
#include "advice/Remedies.h"
#include "advice/Ways.h"
#include "base/WithMemory.h"
#include "field/FieldTools.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace LumoraLib
{
namespace
{
constexpr char fnAdvise[] = "LumoraLib::Advise";

void CheckArguments(const Lumora& source, const AdviceGeometry& to, const AdviceOptions& options)
{
    if (source.IsSpectrum())
        Error(ERR_SPECTRUM_OR_AMPLITUDE, fnAdvise, "the source is a spectrum");
    constexpr std::int32_t kLongest = 1 << 29; // the longest axis of a transform
    const auto good = [](std::int32_t n, double p)
    {
        return n >= 1 && n <= kLongest && p > 0.0 && std::isfinite(p);
    };
    const auto finite = [](const Vector& v)
    {
        return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
    };
    if (!good(source.GetNx(), source.GetPx()) || !good(source.GetNy(), source.GetPy()) || !good(to.nx, to.px) ||
        !good(to.ny, to.py) || !(source.GetWavelength() > 0.0) || !std::isfinite(source.GetWavelength()) ||
        !finite(to.origin) || !finite(to.normal) || !finite(source.GetOrigin()))
        Error(ERR_PARAMETER, fnAdvise, "sizes and pitches must be above zero");
    if (!(options.tolerance >= 1e-4 && options.tolerance <= 0.5) || !(options.maxBytes >= 0.0))
        Error(ERR_PARAMETER, fnAdvise, "options are out of range");
}

/// Ways of several steps by rising time, up to the first that is slower than a way that surely fits.
void AddStepWays(Advice& advice, const detail::PlanePair& pair, const detail::Look& look)
{
    std::vector<AdviceMember> ways = detail::StepWays(pair, look.FresnelShare());
    for (AdviceMember& way : ways)
        way.seconds = detail::CostOf(pair, way).seconds;
    std::stable_sort(ways.begin(), ways.end(),
                     [](const AdviceMember& a, const AdviceMember& b) { return a.seconds < b.seconds; });
    for (AdviceMember& way : ways)
    {
        const std::int32_t best = detail::ChooseWay(advice.ways);
        const AdviceMember* const taken = best < 0 ? nullptr : &advice.ways[static_cast<std::size_t>(best)];
        if (!look.Options().all && taken != nullptr && !taken->borderline && way.seconds >= taken->seconds)
            return;
        look.Predict(way);
        advice.ways.push_back(std::move(way));
    }
}

Advice Examine(const Lumora& source, const AdviceGeometry& destination, const AdviceOptions& options)
{
    const detail::PlanePair pair = detail::MakePair(source, destination);
    Advice advice;
    const detail::Look look(source, pair, options);
    advice.figures = look.Figures();
    advice.ways = detail::SingleWays(pair);
    const bool faces = !pair.mirrored && std::cos(pair.tilt) > 1e-3;
    const bool sized =
        pair.source.n[0] > 1 && pair.destination.n[0] > 1 && (pair.source.n[1] == 1) == (pair.destination.n[1] == 1);
    const bool possible = faces && sized;
    for (AdviceMember& way : advice.ways)
        if (possible)
            look.Predict(way);
        else
        {
            way.steps.clear();
            way.reasons = {sized
                               ? "The destination stands with its back or its edge to the light."
                               : "Only grids of several columns are looked at, and either both have one row or none."};
        }
    if (options.steps && possible)
        AddStepWays(advice, pair, look);
    advice.taken = detail::ChooseWay(advice.ways);
    detail::AddRemedies(advice, pair, look);
    return advice;
}
} // namespace

Advice Advise(const Lumora& source, const AdviceGeometry& destination, const AdviceOptions& options)
{
    CheckArguments(source, destination, options);
    if (source.GetDataPointer() != nullptr)
        detail::FieldAccess::RequireSamples(source, fnAdvise);
    return detail::WithMemory([&] { return Examine(source, destination, options); },
                              [] { Error(ERR_MEMORY, "LumoraLib::Malloc", "advice"); });
}

Advice Advise(const Lumora& source, const Lumora& destination, const AdviceOptions& options)
{
    if (destination.IsSpectrum())
        Error(ERR_PARAMETER, fnAdvise, "the destination is a spectrum");
    if (!(destination.GetWavelength() == source.GetWavelength()))
        Error(ERR_PARAMETER, fnAdvise, "the destination wavelength is different from the source");
    return Advise(source,
                  {destination.GetNx(), destination.GetNy(), destination.GetPx(), destination.GetPy(),
                   destination.GetOrigin(), destination.GetNormalVector()},
                  options);
}
} // namespace LumoraLib
