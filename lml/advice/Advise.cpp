// The adviser: predictions for every way, the way it would take, and what to change.
#include "advice/AdviceText.h"
#include "advice/Cost.h"
#include "advice/Probe.h"
#include "advice/Trial.h"
#include "advice/Ways.h"
#include "base/Constants.h"
#include "field/FieldTools.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace LumoraLib
{
namespace
{
using detail::AxisCase;
using detail::Formatted;
using detail::LengthText;
using detail::PlanePair;
using detail::Truth;

constexpr char fnAdvise[] = "LumoraLib::Advise";
// Predictions within this factor of the tolerance may be wrong: the test of the predictions holds them to it.
constexpr double kBorderline = 1.5;
// Direction cosine of the other axis up to which rows have the light's own wavelength: below, the way to the side
// changes by less than half a percent.
constexpr double kSteepRows = 0.1;
// Share below which nothing arrives that could be carried well or badly.
constexpr double kNoLight = 1e-8;

constexpr std::size_t kEvanescentBins = 128;

/// All that predictions are made from.
class Look
{
public:
    Look(const Lumora& source, const PlanePair& pair, const AdviceOptions& options);

    const AdviceFigures& Figures() const { return figures_; }
    const AdviceOptions& Options() const { return options_; }
    /// Predicts the error of a way and says why.
    void Predict(AdviceMember& way) const;
    /// Share of the distance over which the phase that Fresnel leaves out stays harmless.
    double FresnelShare() const;
    bool Known() const { return truths_[0].known && (axes_ == 1 || truths_[1].known); }
    double Arrives() const { return arrives_; }
    /// Where the middle of the light lands beside the destination's centre, metres.
    double Landing(int axis) const { return landing_[axis]; }
    double LitWidth(int axis) const { return lit_[axis].high - lit_[axis].low; }
    const detail::Stretch& Band(int axis) const { return band_[axis]; }

private:
    void MakeFigures();
    void FindEvanescent(const Lumora& source);
    double EvanescentWithin(const double (&limit)[2]) const;
    double EvanescentError(const AdviceMember& way) const;
    double CrossError() const;
    double ShiftedCorners(const AdviceStep& step) const;
    void Explain(AdviceMember& way) const;

    const PlanePair& pair_;
    const AdviceOptions& options_;
    int axes_;
    detail::Probe probe_;    ///< the light as it is
    detail::Probe arriving_; ///< along each axis the light that arrives on the other
    detail::Stretch lit_[2], band_[2];
    AxisCase cases_[2];
    Truth truths_[2];        ///< with the rows' own wavelength
    Truth paraxial_[2];      ///< with the light's, for the Fresnel family, where that is another
    AdviceFigures figures_;
    std::vector<double> evanescent_; ///< shares of energy beyond 1 / lambda by |u| and |v|, kEvanescentBins on each axis
    double arrives_ = 1.0;
    double landing_[2] = {0.0, 0.0};
};

double MeanSquareFrequency(const detail::RowSet& rows)
{
    constexpr std::size_t kBins = 256;
    const std::vector<double> energy = detail::BandEnergy(rows, kBins);
    double sum = 0.0;
    for (std::size_t b = 0; b < kBins; ++b)
    {
        const double u = ((static_cast<double>(b) + 0.5) / kBins - 0.5) / rows.pitch;
        sum += energy[b] * u * u;
    }
    return sum;
}

/// Spacing of single-precision numbers at a phase, over the root of 12: what rounding makes of it.
double RoundedPhase(double phase)
{
    return std::ldexp(1.0, std::ilogb(std::max(std::abs(phase), 1.0)) - 23) / std::sqrt(12.0);
}

Look::Look(const Lumora& source, const PlanePair& pair, const AdviceOptions& options)
    : pair_(pair), options_(options), axes_(pair.OneRow() ? 1 : 2)
{
    const double k = 1.0 / pair.lambda;
    double side[2] = {0.0, 0.0};
    const std::size_t n[2] = {static_cast<std::size_t>(pair.source.n[0]), static_cast<std::size_t>(pair.source.n[1])};
    probe_ = detail::TakeProbe(
        source, {detail::RandomSigns(n[0], pair.source.p[0], 0), detail::RandomSigns(n[1], pair.source.p[1], 1)});
    for (int a = 0; a < axes_; ++a)
    {
        lit_[a] = detail::LitExtent(probe_.axis[a]);
        band_[a] = detail::LitBand(probe_.axis[a]);
        side[a] = std::min(MeanSquareFrequency(probe_.axis[a]), 0.5 * k * k);
    }
    for (int a = 0; a < axes_; ++a)
    {
        AxisCase& at = cases_[a];
        at.axis = a;
        at.lambda = pair.lambda;
        at.rowLambda = pair.lambda;
        if (const double other = side[1 - a]; other > kSteepRows * kSteepRows * k * k)
            at.rowLambda = 1.0 / std::sqrt(k * k - other);
        at.n = static_cast<std::size_t>(pair.destination.n[a]);
        at.pitch = pair.destination.p[a];
        at.distance = pair.distance;
        at.shift = pair.shift[a];
        at.tilt = pair.axisTilt[a];
        if (const Truth plain = detail::TrueField(probe_.axis[a], at); plain.known)
            arrives_ *= plain.arrives;
    }
    detail::RowSet factors[2] = {detail::RandomSigns(n[0], pair.source.p[0], 0),
                                 detail::RandomSigns(n[1], pair.source.p[1], 1)};
    for (int a = 0; a < axes_; ++a)
        factors[a] = detail::TrueFactors(n[a], pair.source.p[a], cases_[a]);
    arriving_ = detail::TakeProbe(source, factors);
    for (int a = 0; a < axes_; ++a)
    {
        const AxisCase& at = cases_[a];
        truths_[a] = detail::TrueField(arriving_.axis[a], at);
        if (at.rowLambda != pair.lambda && pair.Parallel())
        {
            AxisCase straight = at;
            straight.rowLambda = pair.lambda;
            paraxial_[a] = detail::TrueField(arriving_.axis[a], straight);
        }
    }
    FindEvanescent(source);
    MakeFigures();
}

/// The one look at the field's own spectrum, for pitches below lambda / sqrt(2), whose corners are evanescent: rows
/// cannot tell how much light lies there.
void Look::FindEvanescent(const Lumora& source)
{
    evanescent_.assign(kEvanescentBins * kEvanescentBins, 0.0);
    const double k = 1.0 / pair_.lambda;
    const double edge[2] = {0.5 / pair_.source.p[0], axes_ == 1 ? 0.0 : 0.5 / pair_.source.p[1]};
    if (edge[0] * edge[0] + edge[1] * edge[1] <= k * k || source.GetDataPointer() == nullptr)
        return;
    Lumora spectrum(source);
    spectrum.Fft(-1);
    double all = 0.0;
    for (std::int32_t j = 0; j < spectrum.GetNy(); ++j)
        for (std::int32_t i = 0; i < spectrum.GetNx(); ++i)
        {
            const double u = std::abs(spectrum.X(i));
            const double v = axes_ == 1 ? 0.0 : std::abs(spectrum.Y(j));
            const double energy = spectrum.GetPixel(i, j).Intensity();
            all += energy;
            if (u * u + v * v <= k * k)
                continue;
            const auto bin = [](double f, double top)
            {
                return top > 0.0 ? std::min(kEvanescentBins - 1, static_cast<std::size_t>(f / top * kEvanescentBins)) : 0;
            };
            evanescent_[bin(v, edge[1]) * kEvanescentBins + bin(u, edge[0])] += energy;
        }
    for (double& e : evanescent_)
        e = all > 0.0 ? e / all : 0.0;
}

/// Share of evanescent light in the band |u| < limit[0], |v| < limit[1].
double Look::EvanescentWithin(const double (&limit)[2]) const
{
    double sum = 0.0;
    for (std::size_t n = 0; n < evanescent_.size(); ++n)
    {
        const double u = (static_cast<double>(n % kEvanescentBins) + 0.5) / kEvanescentBins * 0.5 / pair_.source.p[0];
        const double v = (static_cast<double>(n / kEvanescentBins) + 0.5) / kEvanescentBins * 0.5 / pair_.source.p[1];
        if (u < limit[0] && (axes_ == 1 || v < limit[1]))
            sum += evanescent_[n];
    }
    return sum;
}

/// Relative energy of evanescent light that the angular spectrum members pass with the factor 1, where it is gone.
double Look::EvanescentError(const AdviceMember& way) const
{
    double error = 0.0;
    detail::GridShape grid = pair_.source;
    for (const AdviceStep& step : way.steps)
    {
        if (step.member == ADVISE_RAW_ASM_PROP || step.member == ADVISE_ASM_PROP ||
            step.member == ADVISE_EXACT_ASM_PROP)
        {
            double limit[2] = {1e300, 1e300};
            for (int a = 0; step.member != ADVISE_RAW_ASM_PROP && a < 2; ++a)
                limit[a] = detail::AsmBand(1.0 / (grid.Width(a) * (step.member == ADVISE_EXACT_ASM_PROP ? 2.0 : 1.0)),
                                           step.distance, pair_.lambda);
            // It stays where it was on the source, and the destination sees its part of that.
            double seen = 1.0;
            for (int a = 0; a < axes_; ++a)
                seen *= std::min(1.0, pair_.destination.Width(a) / std::max(LitWidth(a), pair_.source.p[a]));
            error += EvanescentWithin(limit) * seen / arrives_;
        }
        grid = {{step.nx, step.ny}, {step.px, step.py}};
    }
    return error;
}

void Look::MakeFigures()
{
    AdviceFigures& f = figures_;
    f.distance = pair_.distance;
    f.shiftX = pair_.shift[0];
    f.shiftY = pair_.shift[1];
    f.tilt = pair_.tilt;
    f.bandX = 0.5 / pair_.source.p[0];
    f.bandY = 0.5 / pair_.source.p[1];
    f.lightLowX = band_[0].low;
    f.lightHighX = band_[0].high;
    f.lightLowY = band_[1].low;
    f.lightHighY = band_[1].high;
    f.extentLowX = lit_[0].low;
    f.extentHighX = lit_[0].high;
    f.extentLowY = lit_[1].low;
    f.extentHighY = lit_[1].high;
    f.leaves = 1.0 - arrives_;
    const double d = std::abs(pair_.distance);
    const double k = 1.0 / pair_.lambda;
    double stays = 1.0;
    double kept = 1.0;
    f.waves = 1e300;
    for (int a = 0; a < axes_; ++a)
    {
        const double width = pair_.source.Width(a);
        if (d > 0.0)
            f.waves = std::min(f.waves, 4.0 * width * width / (pair_.lambda * d));
        const std::size_t bins = static_cast<std::size_t>(pair_.source.n[a]);
        const std::vector<double> energy = detail::BandEnergy(probe_.axis[a], bins);
        const double limit = detail::AsmBand(1.0 / width, d, pair_.lambda);
        double inside = 0.0;
        double slope = 0.0;
        for (std::size_t b = 0; b < bins; ++b)
        {
            const double u = (static_cast<double>(b) - static_cast<double>(bins / 2)) / width;
            inside += std::abs(u) < limit ? energy[b] : 0.0;
            slope += std::abs(u) < k ? energy[b] * u / std::sqrt(k * k - u * u) : 0.0;
        }
        kept *= inside;
        landing_[a] = 0.5 * (lit_[a].low + lit_[a].high) + pair_.distance * slope - pair_.shift[a];
        AxisCase own = cases_[a];
        own.n = static_cast<std::size_t>(pair_.source.n[a]);
        own.pitch = pair_.source.p[a];
        own.shift = 0.0;
        own.tilt = 0.0;
        const Truth straight = detail::TrueField(probe_.axis[a], own);
        stays *= straight.known ? straight.arrives : 1.0;
        if (d > 0.0)
        {
            // From the middle of the light to the farthest sample, and the light's half-width: on either side no
            // repetition of the source may come within.
            const double middle = 0.5 * (lit_[a].low + lit_[a].high);
            const double way = std::abs(pair_.shift[a] - middle) + 0.5 * pair_.destination.Width(a);
            f.repetition = std::max(f.repetition, (2.0 * way + LitWidth(a)) * pair_.source.p[a] / (pair_.lambda * d));
        }
    }
    f.cut = std::max(0.0, 1.0 - kept);
    f.wraps = std::max(0.0, 1.0 - stays);
    const double everywhere[2] = {1e300, 1e300};
    f.evanescent = EvanescentWithin(everywhere);
    double phase2 = 0.0;
    double arriving = 0.0;
    if (truths_[0].known && (axes_ == 1 || truths_[1].known))
    {
        const std::vector<double>& bx = truths_[0].band;
        const std::vector<double> by = axes_ == 2 ? truths_[1].band : std::vector<double>{1.0};
        for (std::size_t i = 0; i < bx.size(); ++i)
            for (std::size_t j = 0; j < by.size(); ++j)
            {
                const double u =
                    ((static_cast<double>(i) + 0.5) / static_cast<double>(bx.size()) - 0.5) / pair_.source.p[0];
                const double v = axes_ == 1 ? 0.0
                                            : ((static_cast<double>(j) + 0.5) / static_cast<double>(by.size()) - 0.5) /
                                                  pair_.source.p[1];
                const double r = u * u + v * v;
                if (r >= k * k)
                    continue;
                const double phase = detail::kTwoPi * d * (std::sqrt(k * k - r) - k + 0.5 * pair_.lambda * r);
                phase2 += bx[i] * by[j] * phase * phase;
                arriving += bx[i] * by[j];
            }
        f.fresnelPhase = arriving > 0.0 ? std::sqrt(phase2 / arriving) : 0.0;
    }
    if (d > 0.0)
    {
        double in = 0.0;
        double out = d;
        for (int a = 0; a < axes_; ++a)
        {
            // Mean squares over the grids, which the phases follow.
            const double far = pair_.lambda * d / pair_.source.p[a];
            in += pair_.source.Width(a) * pair_.source.Width(a) / (24.0 * d);
            out += far * far / (24.0 * d);
        }
        f.roundedPhase = std::hypot(RoundedPhase(detail::kTwoPi * k * in), RoundedPhase(detail::kTwoPi * k * out));
    }
}

/// Relative energy of the error by the part of Fresnel's phase that belongs to neither axis alone.
double Look::CrossError() const
{
    if (axes_ == 1 || !Known())
        return 0.0;
    const Truth* const t = paraxial_[0].known && paraxial_[1].known ? paraxial_ : truths_;
    const double k = 1.0 / pair_.lambda;
    const double d = std::abs(pair_.distance);
    double sum = 0.0;
    double all = 0.0;
    const auto along = [&](double r)
    {
        return std::sqrt(std::max(0.0, k * k - r));
    };
    for (std::size_t i = 0; i < t[0].band.size(); ++i)
        for (std::size_t j = 0; j < t[1].band.size(); ++j)
        {
            const double e = t[0].band[i] * t[1].band[j];
            const double u =
                ((static_cast<double>(i) + 0.5) / static_cast<double>(t[0].band.size()) - 0.5) / pair_.source.p[0];
            const double v =
                ((static_cast<double>(j) + 0.5) / static_cast<double>(t[1].band.size()) - 0.5) / pair_.source.p[1];
            const double phase =
                detail::kTwoPi * d * (along(u * u + v * v) - along(u * u) - along(v * v) + k);
            const double half = std::sin(0.5 * phase);
            sum += e * 4.0 * half * half;
            all += e;
        }
    return all > 0.0 ? sum / all : 0.0;
}

double Look::FresnelShare() const
{
    // A third of the tolerance for the last part of the way.
    return std::min(1.0, 0.3 * options_.tolerance / std::max(figures_.fresnelPhase, 1e-12));
}

bool Has(const AdviceMember& way, AdvisedMember member)
{
    return std::any_of(way.steps.begin(), way.steps.end(),
                       [member](const AdviceStep& step) { return step.member == member; });
}

/// Whether the shifted band has corners beyond 1 / lambda, whose root is not a number. Above 0: it has.
double Look::ShiftedCorners(const AdviceStep& step) const
{
    const double shift[2] = {step.shiftX, step.shiftY};
    double sum = 0.0;
    for (int a = 0; a < axes_; ++a)
    {
        const double p = a == 0 ? step.px : step.py;
        const double width = (a == 0 ? step.nx : step.ny) * p * std::ldexp(1.0, step.doublings);
        const detail::Stretch band = detail::ShiftedAsmBand(shift[a], step.distance, 1.0 / width, pair_.lambda);
        const double u = std::min(std::max(std::abs(band.low), std::abs(band.high)), 0.5 / p);
        sum += u * u;
    }
    return sum * pair_.lambda * pair_.lambda - 1.0;
}

void Look::Predict(AdviceMember& way) const
{
    if (way.steps.empty())
        return;
    const bool fresnel =
        Has(way, ADVISE_SHIFTED_FRESNEL_PROP) || Has(way, ADVISE_FRESNEL_PROP) || Has(way, ADVISE_FOURIER_PROP);
    const bool amplitudes = options_.amplitudesOnly;
    const detail::Cost cost = detail::CostOf(pair_, way);
    way.seconds = cost.seconds;
    way.bytes = cost.bytes;
    if (!Known())
    {
        way.reasons.emplace_back("Not predicted: the destination is too wide for the source's pitch.");
        return;
    }
    if (!(arrives_ > kNoLight))
    {
        way.reasons.emplace_back("No light arrives on the destination.");
        return;
    }
    for (const AdviceStep& step : way.steps)
        if (step.member == ADVISE_SHIFTED_ASM_PROP && ShiftedCorners(step) > 0.0)
        {
            way.reasons.emplace_back("The corners of its band lie beyond 1 / lambda: samples become not-a-number.");
            return;
        }
    double error = 0.0;
    for (int a = 0; a < axes_; ++a)
    {
        AxisCase at = cases_[a];
        const Truth* truth = &truths_[a];
        if (fresnel && paraxial_[a].known)
        {
            at.rowLambda = pair_.lambda;
            truth = &paraxial_[a];
        }
        error += detail::RelativeError(detail::FollowRows(arriving_.axis[a], way.steps, at), *truth, amplitudes);
    }
    if (fresnel && !amplitudes)
    {
        double rest = 1.0; // of the way, that Fresnel's part takes
        for (const AdviceStep& step : way.steps)
            if (step.member == ADVISE_SHIFTED_FRESNEL_PROP && pair_.distance != 0.0)
                rest = std::abs(step.distance / pair_.distance);
        error += std::min(1.0, CrossError() * rest * rest);
    }
    if (Has(way, ADVISE_FRESNEL_PROP) && !amplitudes)
        error += std::min(2.0, figures_.roundedPhase * figures_.roundedPhase);
    if (Has(way, ADVISE_FOURIER_PROP) && !amplitudes)
        error = 2.0; // its phases are another field's
    error += EvanescentError(way);
    way.error = std::sqrt(error);
    way.fits = way.error <= options_.tolerance && (options_.maxBytes <= 0.0 || way.bytes <= options_.maxBytes);
    way.borderline =
        way.error > options_.tolerance / kBorderline && way.error < options_.tolerance * kBorderline;
    Explain(way);
}

void Look::Explain(AdviceMember& way) const
{
    const auto say = [&way](bool when, const std::string& text)
    {
        if (when)
            way.reasons.push_back(text);
    };
    const AdviceFigures& f = figures_;
    if (way.error <= options_.tolerance)
    {
        say(options_.maxBytes > 0.0 && way.bytes > options_.maxBytes, "It takes more memory than allowed.");
        return;
    }
    const auto percent = [](double share)
    {
        return Formatted("%.2g %%", 100.0 * share);
    };
    const bool asmFamily = way.member == ADVISE_ASM_PROP || way.member == ADVISE_RAW_ASM_PROP;
    say(asmFamily && f.wraps > 1e-4, percent(f.wraps) + " of the light leaves the grid and comes in at the other side.");
    say(way.member == ADVISE_ASM_PROP && f.cut > 1e-4, percent(f.cut) + " of the light is cut by the band limit.");
    say((way.member == ADVISE_EXACT_ASM_PROP || way.member == ADVISE_SHIFTED_ASM_PROP) && f.waves < 1e4,
        Formatted("Only %.3g waves are left in its band.", f.waves));
    const bool fresnel = way.member == ADVISE_SHIFTED_FRESNEL_PROP || way.member == ADVISE_FRESNEL_PROP ||
                         way.member == ADVISE_FOURIER_PROP;
    say(fresnel && f.fresnelPhase > 0.3 * options_.tolerance,
        Formatted("Fresnel's approximation leaves out a phase of %.2g rad.", f.fresnelPhase));
    say(fresnel && f.repetition > 1.0,
        Formatted("Repetitions of the sampled source fall on the destination: together they are %.3g times too wide.",
                  f.repetition));
    say(way.member == ADVISE_FRESNEL_PROP && f.roundedPhase > 0.3 * options_.tolerance,
        Formatted("Its phases are rounded to float: %.2g rad.", f.roundedPhase));
    say(way.member == ADVISE_FOURIER_PROP && !options_.amplitudesOnly, "It leaves the phases out.");
    say(Has(way, ADVISE_ROTATE), "The turned spectrum is read between its samples, or the light leaves the grid or band.");
    say(way.reasons.empty(), "Its band or its grid cannot hold the light that arrives.");
}

/// Fitting ways first, surely fitting ones before all, by time and then by error.
std::int32_t Choose(const std::vector<AdviceMember>& ways)
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

/// Ways of several steps by rising time, up to the first that is slower than a way that surely fits.
void AddStepWays(Advice& advice, const PlanePair& pair, const Look& look)
{
    std::vector<AdviceMember> ways = detail::StepWays(pair, look.FresnelShare());
    for (AdviceMember& way : ways)
        way.seconds = detail::CostOf(pair, way).seconds;
    std::stable_sort(ways.begin(), ways.end(),
                     [](const AdviceMember& a, const AdviceMember& b) { return a.seconds < b.seconds; });
    for (AdviceMember& way : ways)
    {
        const std::int32_t best = Choose(advice.ways);
        const AdviceMember* const taken = best < 0 ? nullptr : &advice.ways[static_cast<std::size_t>(best)];
        if (!look.Options().all && taken != nullptr && !taken->borderline && way.seconds >= taken->seconds)
            return;
        look.Predict(way);
        advice.ways.push_back(std::move(way));
    }
}

std::string Sequence(const AdviceMember& way)
{
    static constexpr const char* kCounts[] = {"no", "one", "two", "three", "four", "five", "six", "seven", "eight"};
    std::string text = kCounts[std::min<std::size_t>(way.steps.size(), 8)];
    text += way.steps.size() == 1 ? " step: " : " steps: ";
    for (std::size_t n = 0; n < way.steps.size(); ++n)
        text += (n == 0 ? "" : ", then ") + way.steps[n].text;
    return text;
}

/// What to change: formulas turned round for the pitch, the place, the size.
void AddRemedies(Advice& advice, const PlanePair& pair, const Look& look)
{
    std::vector<std::string>& to = advice.remedies;
    const AdviceFigures& f = advice.figures;
    static constexpr const char* kAxis[] = {"x", "y"};
    static constexpr const char* kSide[2][2] = {{"left (-x)", "right (+x)"}, {"bottom (-y)", "top (+y)"}};
    const AdviceMember* const taken = advice.Taken();
    if (pair.tilt > 0.5 * detail::kTwoPi / 2.0 - 1e-9)
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
        if (f.leaves > 0.2 && std::abs(off) > 0.25 * half)
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
            to.push_back("pitch at most " + LengthText(0.5 / turned) + " on " + kAxis[a] + " of the destination: Rotate");
    }
    if (f.evanescent > 1e-3)
        to.push_back("the pitch is below half a wavelength and part of the light is evanescent: filter the source");
    if (taken == nullptr && pair.Parallel() && f.leaves < 0.999 && !pair.OneRow() && to.empty())
        to.emplace_back("a nearer or smaller destination, or more samples of the source");
}

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
} // namespace

Advice Advise(const Lumora& source, const AdviceGeometry& destination, const AdviceOptions& options)
{
    CheckArguments(source, destination, options);
    if (source.GetDataPointer() != nullptr)
        detail::FieldAccess::RequireSamples(source, fnAdvise);
    const PlanePair pair = detail::MakePair(source, destination);
    Advice advice;
    const Look look(source, pair, options);
    advice.figures = look.Figures();
    advice.ways = detail::SingleWays(pair);
    const bool possible = !pair.mirrored && std::cos(pair.tilt) > 1e-3;
    for (AdviceMember& way : advice.ways)
        if (possible)
            look.Predict(way);
        else
        {
            way.steps.clear();
            way.reasons = {"The destination stands with its back or its edge to the light."};
        }
    if (options.steps && possible)
        AddStepWays(advice, pair, look);
    advice.taken = Choose(advice.ways);
    AddRemedies(advice, pair, look);
    return advice;
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
