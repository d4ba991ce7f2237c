// The ways from a source to a destination that are looked at, as plans of steps.
#include "advice/Ways.h"

#include "advice/AdviceText.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace LumoraLib::detail
{
namespace
{
// Samples of the largest grid that a plan asks for: 64 times the larger of the two fields, and 2 GiB of samples.
double LargestGrid(const PlanePair& pair)
{
    return std::min(268435456.0, 64.0 * std::max(pair.source.Samples(), pair.destination.Samples()));
}
// Centres that stand over each other to this part of a sample are taken as unshifted, and pitches that differ by no
// more over the whole grid as the pitch of the Fresnel transform.
constexpr double kSamePlace = 1e-3;

constexpr std::int32_t kLongestAxis = 1 << 29; // of a transform

/// A size doubled so often; beyond every grid where it passes the longest axis.
std::int32_t Doubled(std::int32_t n, int doublings)
{
    if (n == 1)
        return n;
    const std::int64_t grown = std::int64_t{n} << doublings;
    return static_cast<std::int32_t>(std::min<std::int64_t>(grown, std::int64_t{1} << 30));
}

struct Matrix
{
    double m[3][3];
    explicit Matrix(const RMatrix& from)
    {
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c)
                m[r][c] = from.GetElement(c, r); // column first
    }
    double Determinant() const
    {
        return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) - m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
               m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
    }
};

/// A plan in the making: steps, and the grid after the last.
class Plan
{
public:
    explicit Plan(const PlanePair& pair) : pair_(pair), grid_(pair.source) {}

    Plan& Embed(int doublings)
    {
        if (doublings == 0)
            return *this;
        Grow(doublings);
        return Add(ADVISE_EMBED, 0.0, 0.0, 0.0, doublings,
                   doublings == 1 ? "Embed once" : Formatted("Embed(%d)", doublings));
    }
    Plan& Extract(int doublings)
    {
        if (doublings == 0)
            return *this;
        Grow(-doublings);
        return Add(ADVISE_EXTRACT, 0.0, 0.0, 0.0, doublings, Formatted("Extract(%d)", doublings));
    }
    Plan& Forward(AdvisedMember member, double distance)
    {
        if (member == ADVISE_FRESNEL_PROP || member == ADVISE_FOURIER_PROP)
            for (int a = 0; a < (pair_.OneRow() ? 1 : 2); ++a)
                grid_.p[a] = pair_.lambda * distance / grid_.Width(a);
        return Add(member, distance, 0.0, 0.0, 0, LengthText(distance) + " by " + MemberName(member));
    }
    Plan& Shifted(double distance, const double shift[2], int precision)
    {
        return Add(ADVISE_SHIFTED_ASM_PROP, distance, shift[0], shift[1], precision,
                   LengthText(distance) + Formatted(" by ShiftedAsmProp of precision %d", precision));
    }
    Plan& Fresnel(double distance, const double shift[2], const GridShape& to)
    {
        const bool tiles = grid_.n[0] != to.n[0] || grid_.n[1] != to.n[1];
        grid_ = to;
        return Add(ADVISE_SHIFTED_FRESNEL_PROP, distance, shift[0], shift[1], 0,
                   LengthText(distance) + " by " + (tiles ? "ShiftedFresnelPropEx" : "ShiftedFresnelProp"));
    }
    /// To another grid on the same plane; nothing where the grid is that one already.
    Plan& Onto(const GridShape& to, double shiftX, double shiftY)
    {
        const bool pitch = grid_.p[0] != to.p[0] || grid_.p[1] != to.p[1];
        if (!pitch && shiftX == 0.0 && shiftY == 0.0 && grid_.n[0] == to.n[0] && grid_.n[1] == to.n[1])
            return *this;
        grid_ = to;
        const std::string text =
            pitch || shiftX != 0.0 || shiftY != 0.0
                ? "resampled in the spectrum to " + LengthText(to.p[0]) + " by " + LengthText(to.p[1]) + " pitch"
                : Formatted("the middle %d by %d samples", to.n[0], to.n[1]);
        return Add(ADVISE_RESAMPLE, 0.0, shiftX, shiftY, 0, text);
    }
    Plan& Rotate(const GridShape& to)
    {
        grid_ = to;
        return Add(ADVISE_ROTATE, 0.0, 0.0, 0.0, 0,
                   Formatted("Rotate by %.3g degrees", pair_.tilt * 57.29577951308232));
    }
    Plan& Conjugate() { return Add(ADVISE_CONJUGATE, 0.0, 0.0, 0.0, 0, "conjugated"); }

    const GridShape& Grid() const { return grid_; }
    double Largest() const { return largest_; }

    AdviceMember Done() const
    {
        AdviceMember way;
        way.steps = steps_;
        way.member = steps_.size() == 1 ? steps_.front().member : ADVISE_STEPS;
        for (const AdviceStep& step : steps_)
            if (step.member != ADVISE_CONJUGATE)
                way.name += (way.name.empty() ? "" : ", ") + std::string(MemberName(step.member));
        return way;
    }

private:
    void Grow(int doublings)
    {
        for (int a = 0; a < 2; ++a)
            grid_.n[a] =
                doublings > 0 ? Doubled(grid_.n[a], doublings) : std::max<std::int32_t>(1, grid_.n[a] >> -doublings);
    }
    Plan& Add(AdvisedMember member, double distance, double shiftX, double shiftY, int doublings, std::string text)
    {
        steps_.push_back({member, distance, shiftX, shiftY, doublings, grid_.n[0], grid_.n[1], grid_.p[0], grid_.p[1],
                          std::move(text)});
        const double inner = member == ADVISE_EXACT_ASM_PROP     ? 4.0
                             : member == ADVISE_SHIFTED_ASM_PROP ? std::ldexp(1.0, 2 * doublings)
                                                                 : 1.0;
        largest_ = std::max(largest_, grid_.Samples() * inner);
        // A transform of free pitch has twice the length, and its squares count to 32 bits: Lumora::RawScaledFft.
        const std::int32_t longest = std::max(grid_.n[0], grid_.n[1]);
        if (longest > kLongestAxis || (member == ADVISE_RESAMPLE && longest > 32768))
            largest_ = 1e300;
        return *this;
    }

    const PlanePair& pair_;
    GridShape grid_;
    std::vector<AdviceStep> steps_;
    double largest_ = 0.0;
};

/// How often a width must be doubled to reach another one.
int Doublings(double width, double wanted)
{
    int m = 0;
    while (m < 20 && std::ldexp(width, m) < wanted * (1.0 - 1e-9))
        ++m;
    return m;
}

AdviceMember Without(AdvisedMember member, const char* reason)
{
    AdviceMember way;
    way.member = member;
    way.name = MemberName(member);
    way.reasons.emplace_back(reason);
    return way;
}

/// Ways to the plane through a tilted destination's centre, on a grid that has the light which passes the destination
/// in it and empty margins around, and the turn there.
void AddTilted(const PlanePair& pair, std::vector<AdviceMember>& ways)
{
    const bool there = std::abs(pair.distance) == 0.0 && pair.Unshifted();
    for (int before = 1; before <= 3; ++before)
        for (int behind = 0; behind <= 2; ++behind)
        {
            Plan plan(pair);
            GridShape working = pair.destination;
            for (int a = 0; a < 2; ++a)
                working.n[a] = Doubled(working.n[a], behind);
            plan.Embed(before);
            if (!there && pair.Unshifted())
                plan.Forward(ADVISE_ASM_PROP, pair.distance);
            else if (!there && pair.distance < 0.0)
                plan.Conjugate().Shifted(-pair.distance, pair.shift, 1).Conjugate();
            else if (!there)
                plan.Shifted(pair.distance, pair.shift, 1);
            plan.Rotate(working).Extract(behind);
            if (plan.Largest() <= LargestGrid(pair))
                ways.push_back(plan.Done());
        }
}

/// The angular spectrum on grids of growing size, read at the destination's samples.
void AddEmbedded(const PlanePair& pair, std::vector<AdviceMember>& ways)
{
    int least = 0;
    for (int a = 0; a < (pair.OneRow() ? 1 : 2); ++a)
        least =
            std::max(least, Doublings(pair.source.Width(a), pair.destination.Width(a) + 2.0 * std::abs(pair.shift[a])));
    const double shiftX = pair.Unshifted() ? 0.0 : pair.shift[0];
    const double shiftY = pair.Unshifted() ? 0.0 : pair.shift[1];
    for (int m = std::max(least, pair.SameGrid() && pair.Unshifted() ? 2 : 0); m <= least + 3; ++m)
    {
        Plan plan(pair);
        plan.Embed(m);
        if (pair.distance != 0.0)
            plan.Forward(ADVISE_ASM_PROP, pair.distance);
        if (pair.SameGrid() && shiftX == 0.0 && shiftY == 0.0)
            plan.Extract(m);
        else
            plan.Onto(pair.destination, shiftX, shiftY);
        if (plan.Largest() <= LargestGrid(pair))
            ways.push_back(plan.Done());
    }
}

/// The shifted angular spectrum: its band follows the shift, so that the grid need not reach over.
void AddShifted(const PlanePair& pair, std::vector<AdviceMember>& ways)
{
    int least = 0;
    for (int a = 0; a < (pair.OneRow() ? 1 : 2); ++a)
        least = std::max(least, Doublings(pair.source.Width(a), pair.destination.Width(a)));
    for (int precision = pair.SameGrid() && pair.distance > 0.0 ? 2 : 1; precision <= 3; ++precision)
    {
        Plan plan(pair);
        if (pair.distance < 0.0)
            plan.Conjugate();
        plan.Embed(least).Shifted(std::abs(pair.distance), pair.shift, precision);
        plan.Onto(pair.destination, 0.0, 0.0);
        if (pair.distance < 0.0)
            plan.Conjugate();
        if (plan.Largest() <= LargestGrid(pair))
            ways.push_back(plan.Done());
    }
}

/// Fresnel's sum from a finer grid, whose repetitions stand farther apart, and over the last part of the way alone.
void AddFresnel(const PlanePair& pair, double fresnelShare, std::vector<AdviceMember>& ways)
{
    for (int finer = pair.distance < 0.0 ? 0 : 1; finer <= 2; ++finer)
    {
        Plan plan(pair);
        if (pair.distance < 0.0)
            plan.Conjugate();
        GridShape fine = pair.source;
        for (int a = 0; a < (pair.OneRow() ? 1 : 2); ++a)
        {
            fine.n[a] = Doubled(fine.n[a], finer);
            fine.p[a] = std::ldexp(fine.p[a], -finer);
        }
        plan.Onto(fine, 0.0, 0.0).Fresnel(std::abs(pair.distance), pair.shift, pair.destination);
        if (pair.distance < 0.0)
            plan.Conjugate();
        if (plan.Largest() <= LargestGrid(pair))
            ways.push_back(plan.Done());
    }
    if (fresnelShare < 1.0 && fresnelShare > 1e-6 && pair.distance > 0.0)
    {
        const double rest = pair.distance * fresnelShare;
        // The repetitions that the last part has stand wider apart than the destination is.
        for (int a = 0; a < (pair.OneRow() ? 1 : 2); ++a)
            if (pair.lambda * rest < pair.destination.Width(a) * pair.source.p[a])
                return;
        Plan plan(pair);
        plan.Forward(ADVISE_EXACT_ASM_PROP, pair.distance - rest).Fresnel(rest, pair.shift, pair.destination);
        if (plan.Largest() <= LargestGrid(pair))
            ways.push_back(plan.Done());
    }
}
} // namespace

bool PlanePair::SamePitch() const
{
    return source.p[0] == destination.p[0] && (OneRow() || source.p[1] == destination.p[1]);
}

bool PlanePair::SameGrid() const
{
    return SamePitch() && source.n[0] == destination.n[0] && source.n[1] == destination.n[1];
}

bool PlanePair::Unshifted() const
{
    return std::abs(shift[0]) < kSamePlace * source.p[0] && std::abs(shift[1]) < kSamePlace * source.p[1];
}

PlanePair MakePair(const Lumora& source, const AdviceGeometry& destination)
{
    const auto raised = [](std::int32_t n)
    {
        return static_cast<std::int32_t>(std::bit_ceil(static_cast<std::uint32_t>(n)));
    };
    PlanePair pair;
    pair.lambda = source.GetWavelength();
    pair.source = {{source.GetNx(), source.GetNy()}, {source.GetPx(), source.GetPy()}};
    pair.destination = {{raised(destination.nx), raised(destination.ny)}, {destination.px, destination.py}};
    const Vector place = source.GetLocalPosition(destination.origin);
    pair.distance = place.z;
    pair.shift[0] = place.x;
    pair.shift[1] = place.y;
    Lumora there(1, 1);
    there.SetOrigin(destination.origin).SetNormalVector(destination.normal);
    const Matrix from(source.GetCRMatrixLG());
    const Matrix to(there.GetCRMatrixGL());
    pair.mirrored = from.Determinant() * to.Determinant() < 0.0;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            pair.turn[r][c] = to.m[r][0] * from.m[0][c] + to.m[r][1] * from.m[1][c] + to.m[r][2] * from.m[2][c];
    pair.tilt = std::atan2(std::hypot(pair.turn[0][2], pair.turn[1][2]), pair.turn[2][2]);
    for (int a = 0; a < 2; ++a)
        pair.axisTilt[a] = pair.Parallel() ? 0.0 : std::atan2(pair.turn[a][2], pair.turn[a][a]);
    // Rounding of the way into the source's frame is no distance and no shift.
    const double scale =
        1e-12 * (std::abs(destination.origin.x) + std::abs(destination.origin.y) + std::abs(destination.origin.z) +
                 std::abs(source.GetOrigin().x) + std::abs(source.GetOrigin().y) + std::abs(source.GetOrigin().z));
    for (double* value : {&pair.distance, &pair.shift[0], &pair.shift[1]})
        if (std::abs(*value) <= scale)
            *value = 0.0;
    return pair;
}

const char* MemberName(AdvisedMember member)
{
    static constexpr const char* kNames[] = {
        "copy",        "RawAsmProp", "AsmProp", "ExactAsmProp", "ShiftedAsmProp", "ShiftedFresnelProp", "FresnelProp",
        "FourierProp", "Rotate",     "Embed",   "Extract",      "ScaledFft",      "ConvToConjugate",    "steps"};
    return kNames[member];
}

std::vector<AdviceMember> SingleWays(const PlanePair& pair)
{
    std::vector<AdviceMember> ways;
    const bool parallel = pair.Parallel();
    const bool unshifted = pair.Unshifted();
    const bool onPlane = pair.distance == 0.0;
    if (parallel && onPlane && unshifted && pair.SameGrid())
    {
        AdviceMember way;
        way.name = MemberName(ADVISE_COPY);
        way.steps.push_back({ADVISE_COPY, 0.0, 0.0, 0.0, 0, pair.source.n[0], pair.source.n[1], pair.source.p[0],
                             pair.source.p[1], "the source itself"});
        ways.push_back(way);
    }
    const char* const shared = !parallel ? "The planes are tilted against each other."
                               : onPlane ? "Source and destination lie on one plane."
                                         : nullptr;
    const auto add = [&](AdvisedMember member, const char* reason, auto&& make)
    {
        if (shared != nullptr || reason != nullptr)
            ways.push_back(Without(member, shared != nullptr ? shared : reason));
        else
            ways.push_back(make(Plan(pair)).Done());
    };
    const char* const otherGrid = !pair.SamePitch()  ? "It keeps the pitch, and the destination has another."
                                  : !pair.SameGrid() ? "It keeps the size, and the destination has another."
                                                     : nullptr;
    const char* const aside = otherGrid != nullptr ? otherGrid
                              : unshifted          ? nullptr
                                                   : "It goes along the normal, and the destination stands aside.";
    for (const AdvisedMember member : {ADVISE_ASM_PROP, ADVISE_RAW_ASM_PROP, ADVISE_EXACT_ASM_PROP})
        add(member, aside, [&](Plan plan) { return plan.Forward(member, pair.distance); });
    const char* const behind =
        pair.distance < 0.0 ? "It goes forward only, and the destination stands behind." : nullptr;
    add(ADVISE_SHIFTED_ASM_PROP, otherGrid != nullptr ? otherGrid : behind,
        [&](Plan plan) { return plan.Shifted(pair.distance, pair.shift, 1); });
    add(ADVISE_SHIFTED_FRESNEL_PROP, behind,
        [&](Plan plan) { return plan.Fresnel(pair.distance, pair.shift, pair.destination); });
    bool fits = unshifted;
    for (int a = 0; a < (pair.OneRow() ? 1 : 2); ++a)
    {
        const double p = pair.lambda * std::abs(pair.distance) / pair.source.Width(a);
        fits = fits && pair.source.n[a] == pair.destination.n[a] &&
               std::abs(p - pair.destination.p[a]) * pair.source.n[a] < kSamePlace * p;
    }
    const char* const other = behind != nullptr ? behind
                              : fits            ? nullptr
                                     : "Its pitch is lambda d / W on the axis, and the destination's is not.";
    for (const AdvisedMember member : {ADVISE_FRESNEL_PROP, ADVISE_FOURIER_PROP})
        add(member, other, [&](Plan plan) { return plan.Forward(member, pair.distance); });
    if (parallel)
        ways.push_back(Without(ADVISE_ROTATE, "The planes are parallel."));
    else if (!onPlane || !unshifted)
        ways.push_back(Without(ADVISE_ROTATE, "It turns about the centre, and the destination's is elsewhere."));
    else
        ways.push_back(Plan(pair).Rotate(pair.destination).Done());
    return ways;
}

std::vector<AdviceMember> StepWays(const PlanePair& pair, double fresnelShare)
{
    std::vector<AdviceMember> ways;
    if (!pair.Parallel())
    {
        AddTilted(pair, ways);
        return ways;
    }
    if (pair.distance == 0.0 && pair.SameGrid() && pair.Unshifted())
        return ways;
    AddEmbedded(pair, ways);
    if (pair.distance == 0.0)
        return ways;
    if (pair.SamePitch() || !pair.Unshifted())
        AddShifted(pair, ways);
    AddFresnel(pair, fresnelShare, ways);
    return ways;
}
} // namespace LumoraLib::detail
