// Which way is taken, and what to change.
#include "advice/Remedies.h"

#include "advice/AdviceText.h"
#include "base/Constants.h"

#include <algorithm>
#include <cmath>

namespace LumoraLib::detail
{
std::int32_t ChooseWay(const std::vector<AdviceMember>& ways)
{
    std::int32_t best = -1;
    const auto better = [](const AdviceMember& a, const AdviceMember& b)
    {
        if (a.borderline != b.borderline)
            return b.borderline;
        if (std::abs(a.seconds - b.seconds) > 1e-6 * b.seconds)
            return a.seconds < b.seconds;
        return a.error < 0.5 * b.error;
    };
    for (std::size_t n = 0; n < ways.size(); ++n)
        if (ways[n].fits && (best < 0 || better(ways[n], ways[static_cast<std::size_t>(best)])))
            best = static_cast<std::int32_t>(n);
    return best;
}

namespace
{
std::string Sequence(const AdviceMember& way)
{
    static constexpr const char* kCounts[] = {"no", "one", "two", "three", "four", "five", "six", "seven", "eight"};
    std::string text = kCounts[std::min<std::size_t>(way.steps.size(), 8)];
    text += way.steps.size() == 1 ? " step: " : " steps: ";
    for (std::size_t n = 0; n < way.steps.size(); ++n)
        text += (n == 0 ? "" : ", then ") + way.steps[n].text;
    return text;
}
} // namespace

void AddRemedies(Advice& advice, const PlanePair& pair, const Look& look)
{
    std::vector<std::string>& to = advice.remedies;
    const AdviceFigures& f = advice.figures;
    static constexpr const char* kAxis[] = {"x", "y"};
    static constexpr const char* kSide[2][2] = {{"left (-x)", "right (+x)"}, {"bottom (-y)", "top (+y)"}};
    const AdviceMember* const taken = advice.Taken();
    if (pair.tilt > 0.5 * kTwoPi / 2.0 - 1e-9)
        to.emplace_back("turn the destination's normal round: it stands with its back to the light");
    const auto single = [&](AdvisedMember member) -> const AdviceMember&
    {
        return *std::find_if(advice.ways.begin(), advice.ways.end(),
                             [member](const AdviceMember& way) { return way.member == member; });
    };
    if (taken != nullptr && taken->member == ADVISE_EXACT_ASM_PROP && single(ADVISE_ASM_PROP).error > 0.0)
        to.emplace_back("embed once: ExactAsmProp");
    if (taken != nullptr && taken->member == ADVISE_STEPS)
        to.push_back(Sequence(*taken));
    for (int a = 0; a < (pair.OneRow() ? 1 : 2); ++a)
    {
        const double d = std::abs(pair.distance);
        const double half = 0.5 * pair.destination.Width(a);
        const double off = look.Landing(a);
        if (f.leaves > 0.2 && std::abs(off) > std::max(0.25 * half, look.Spread(a)))
            to.push_back("place the destination " + LengthText(std::abs(off)) + " to the " + kSide[a][off > 0.0] +
                         ": the middle of the light lands there");
        // The repetitions stand lambda d / p apart: Opt. Express 15 (2007) 5631.
        const double way = 2.0 * std::abs(pair.shift[a]) + pair.destination.Width(a) + look.LitWidth(a);
        const double needed = pair.lambda * d / way;
        if (taken == nullptr && pair.Parallel() && d > 0.0 && needed < pair.source.p[a] && f.fresnelPhase < 0.3)
            to.push_back("pitch at most " + LengthText(needed) + " on " + kAxis[a] +
                         " of the source: ShiftedFresnelProp");
        const double band = std::max(std::abs(look.Band(a).low), std::abs(look.Band(a).high));
        if (band * 2.0 * pair.source.p[a] > 0.98 && f.evanescent < 1e-3)
            to.push_back(std::string("the light fills the band of the sampling on ") + kAxis[a] +
                         ": unless it is diffuse, compute the source with a finer pitch");
        // Light beyond the destination's sampling beside the carrier folds back.
        const double turned = band * std::cos(pair.axisTilt[a]);
        if (taken == nullptr && pair.tilt > 0.0 && 2.0 * turned * pair.destination.p[a] > 1.0)
            to.push_back("pitch at most " + LengthText(0.5 / turned) + " on " + kAxis[a] +
                         " of the destination: Rotate");
    }
    if (f.evanescent > 1e-3)
        to.push_back("the pitch is below half a wavelength and part of the light is evanescent: filter the source");
    if (taken == nullptr && pair.Parallel() && f.leaves < 0.999 && !pair.OneRow() && to.empty())
        to.emplace_back("a nearer or smaller destination, or more samples of the source");
}
} // namespace LumoraLib::detail
