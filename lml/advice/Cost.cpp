// What ways take: time by a table of measured transforms, and working memory.
#include "advice/Cost.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace LumoraLib::detail
{
namespace
{
/// Time of a transform of one thread, per sample and doubling of the sample count, by sizes; log-linear between them.
/// Measured with Lumora::Fft on one core of a server processor with AVX2 at about 2.5 GHz, the fast engine bound.
struct Speed
{
    double samples;
    double nanoseconds;
};
constexpr Speed kSpeeds[] = {{4096.0, 0.20}, {65536.0, 0.20}, {1048576.0, 0.30}, {16777216.0, 0.40}};

double TransformSeconds(double samples)
{
    const Speed* const last = kSpeeds + sizeof kSpeeds / sizeof kSpeeds[0] - 1;
    const Speed* at = kSpeeds;
    while (at + 1 != last && samples > at[1].samples)
        ++at;
    const double t = std::clamp(std::log(samples / at->samples) / std::log(at[1].samples / at->samples), 0.0, 1.0);
    const double each = at->nanoseconds + t * (at[1].nanoseconds - at->nanoseconds);
    return 1e-9 * each * samples * std::max(1.0, std::log2(samples));
}

constexpr double kSampleBytes = sizeof(Complex);
constexpr double kKeptField = 2.0; // fields that an embedded propagation keeps, for each doubling of the grid
} // namespace

Cost CostOf(const PlanePair& pair, const AdviceMember& way)
{
    Cost cost;
    GridShape grid = pair.source;
    for (const AdviceStep& step : way.steps)
    {
        const GridShape next{{step.nx, step.ny}, {step.px, step.py}};
        const double before = grid.Samples();
        const double after = next.Samples();
        double transforms = 0.0; // of the grid before the step; the counts of docs/choosing.md
        double fields = 0.0;     // of working memory beside the field itself, of that grid
        switch (step.member)
        {
        case ADVISE_RAW_ASM_PROP:
        case ADVISE_ASM_PROP:
            transforms = 2.0;
            break;
        case ADVISE_EXACT_ASM_PROP:
            transforms = 6.0;
            fields = kKeptField;
            break;
        case ADVISE_SHIFTED_ASM_PROP:
            transforms = 7.0 * std::ldexp(1.0, 2 * (step.doublings - 1));
            fields = 1.0 + std::ldexp(1.0, step.doublings);
            break;
        case ADVISE_SHIFTED_FRESNEL_PROP:
            transforms = 3.5 * std::max(1.0, after / before);
            fields = after / before;
            break;
        case ADVISE_FRESNEL_PROP:
            transforms = 3.3;
            break;
        case ADVISE_FOURIER_PROP:
            transforms = 1.3;
            break;
        case ADVISE_ROTATE:
            transforms = 1.0 + 8.0 * after / before;
            fields = after / before;
            break;
        case ADVISE_RESAMPLE:
        {
            const bool crop = grid.p[0] == step.px && grid.p[1] == step.py && step.shiftX == 0.0 && step.shiftY == 0.0;
            const double larger = std::max(1.0, after / before);
            transforms = crop ? 0.1 : 1.3 + 4.0 * larger;
            fields = larger;
            break;
        }
        default:
            transforms = 0.1 * std::max(1.0, after / before);
            fields = after / before;
            break;
        }
        cost.seconds += transforms * TransformSeconds(before);
        cost.bytes = std::max(cost.bytes, kSampleBytes * before * (1.0 + fields));
        grid = next;
    }
    return cost;
}
} // namespace LumoraLib::detail
