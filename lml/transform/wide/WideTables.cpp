// Tables of the wide transform engine: roots of unity, and how a length is made of shorter ones.
#include "transform/wide/WideTables.h"

#include "LmlRuntime.h"
#include "base/Isa.h"
#include "base/Reduce.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstdint>
#include <memory>
#include <new>

namespace LumoraLib::detail
{
namespace
{
constexpr char kTables[] = "transform tables";

/// exp(-2 pi i e / n), each part to float from a double that is itself good to its last place: the angle is reduced
/// exactly, in integers, to an eighth of the circle.
struct Root
{
    float re;
    float im;
};

Root RootOf(std::uint64_t e, std::uint64_t n)
{
    e %= n;
    const std::uint64_t quadrant = 4 * e / n;
    const std::uint64_t rest = 4 * e - quadrant * n; // of n for a quarter turn
    const bool far = 2 * rest > n;
    const double angle = static_cast<double>(far ? n - rest : rest) * (1.5707963267948966 / static_cast<double>(n));
    const double c0 = std::cos(angle), s0 = std::sin(angle);
    const double c = far ? s0 : c0, s = far ? c0 : s0;
    double re = c, im = -s;
    if (quadrant == 1)
        re = -s, im = -c;
    else if (quadrant == 2)
        re = -c, im = s;
    else if (quadrant == 3)
        re = s, im = c;
    return {static_cast<float>(re + 0.0), static_cast<float>(im + 0.0)};
}

std::atomic<const WideLength*> published[3][kLongestTransformLg + 1];

const WideLength& LengthOfLg(int lg, Isa isa);

/// Lays the tables of a length out: called twice, first to count, then to fill.
class Layout
{
public:
    explicit Layout(float* base) : base_(base) {}
    float* Take(std::size_t floats)
    {
        float* p = base_ == nullptr ? nullptr : base_ + used_;
        used_ += (floats + 15) / 16 * 16;
        return p;
    }
    std::size_t Used() const { return used_; }

private:
    float* base_;
    std::size_t used_ = 0;
};

/// Outputs of a row's first radix that share the vectors of a line.
std::size_t LineOutputs(std::size_t lanes)
{
    return lanes == 16 ? 4 : 1;
}

/// Roots of a two-level length.
void FillLevels(WideLength& t, Layout& layout, bool fill)
{
    const std::size_t strips = t.middle * t.side / kWideStrip;
    float* const strip = layout.Take(2 * strips * t.side);
    float* const lane = layout.Take(2 * t.side * kWideStrip);
    if (!fill)
        return;
    for (std::size_t s = 0; s < strips; ++s)
        for (std::size_t k = 0; k < t.side; ++k)
        {
            const Root w = RootOf(k * s * kWideStrip, t.n);
            strip[2 * (s * t.side + k)] = w.re;
            strip[2 * (s * t.side + k) + 1] = w.im;
        }
    for (std::size_t k = 0; k < t.side; ++k)
        for (std::size_t l = 0; l < kWideStrip; ++l)
        {
            const Root w = RootOf(k * l, t.n);
            lane[2 * k * kWideStrip + l] = w.re;
            lane[(2 * k + 1) * kWideStrip + l] = w.im;
        }
    t.stripRoot = strip;
    t.laneRoot = lane;
}

/// Roots of the lane-parallel transforms and the twiddles of strips; null where a length has none.
void FillColumns(WideLength& t, const Root* roots, float* inner, float* twiddle, float* twiddleT)
{
    const auto put = [&](float* to, std::size_t e)
    {
        to[0] = roots[e % t.n].re;
        to[1] = roots[e % t.n].im;
    };
    if (inner != nullptr)
    {
        const std::size_t p = static_cast<std::size_t>(WideFirstRadix(t.lg));
        for (std::size_t q = 0; q < t.n / p; ++q)
            for (std::size_t k = 0; k < p; ++k)
                put(inner + 2 * (q * p + k), q * k);
    }
    for (std::size_t b = 0; twiddle != nullptr && b < t.b; ++b)
        for (std::size_t k = 0; k < t.a; ++k)
        {
            put(twiddle + 2 * (b * t.a + k), b * k);
            put(twiddleT + 2 * (k * t.b + b), b * k);
        }
    t.inner = inner;
    t.twiddle = twiddle;
    t.twiddleT = twiddleT;
}

/// Roots of rows for builds with `lanes` lanes; null where a length has none.
void FillRows(WideLength& t, const Root* roots, std::size_t lanes, float* rowRoots, float* lineRoots)
{
    const auto inLane = [&](std::size_t l)
    {
        return static_cast<std::size_t>(WideLaneSample(static_cast<int>(l), static_cast<int>(lanes)));
    };
    const auto plain = [&](std::size_t v, std::size_t l)
    {
        return v * lanes + inLane(l);
    };
    const auto shared = [&](std::size_t v, std::size_t l)
    {
        return v / 4 * 16 + inLane(l / 4 * 4 + v % 4);
    };
    const auto vectors = [&](float* table, std::size_t radix, std::size_t count, auto sampleOf)
    {
        for (std::size_t v = 0; v < count; ++v)
            for (std::size_t k = 0; k < radix; ++k)
                for (std::size_t l = 0; l < lanes; ++l)
                {
                    const Root w = roots[sampleOf(v, l) * k % t.n];
                    float* vector = table + 2 * (v * radix + k) * lanes;
                    vector[l] = w.re;
                    vector[lanes + l] = w.im;
                }
    };
    if (rowRoots != nullptr)
        vectors(rowRoots, 16, t.n / 16 / lanes, plain);
    if (lineRoots != nullptr)
    {
        const std::size_t radix = static_cast<std::size_t>(WideLineRadix(t.lg));
        if (LineOutputs(lanes) == 4)
            vectors(lineRoots, radix, t.n / radix / 4, shared);
        else
            vectors(lineRoots, radix, t.n / radix / lanes, plain);
    }
    t.rowRoots = rowRoots;
    t.lineRoots = lineRoots;
}

void FillTables(WideLength& t, Isa isa, Layout& layout, bool fill)
{
    if (!IsDirectRow(t))
        return FillLevels(t, layout, fill);
    const std::size_t lanes = std::size_t{4} << static_cast<int>(isa), pairs = 2 * t.n;
    const auto take = [&](bool has, std::size_t floats)
    {
        return has ? layout.Take(floats) : nullptr;
    };
    float* const inner = take(t.lg >= 5 && t.lg <= 7, pairs);
    float* const twiddle = take(IsDirectColumn(t), pairs);
    float* const twiddleT = take(IsDirectColumn(t), pairs);
    float* const rowRoots = take(t.lg >= 8, pairs);
    float* const lineRoots = take(t.lg >= 5 && t.lg <= 12, pairs * LineOutputs(lanes));
    if (!fill)
        return;
    const auto roots = MallocArray<Root>(t.n, kTables);
    for (std::size_t e = 0; e < t.n; ++e)
        roots[e] = RootOf(e, t.n);
    FillColumns(t, roots.get(), inner, twiddle, twiddleT);
    FillRows(t, roots.get(), lanes, rowRoots, lineRoots);
}

/// A length in a block of its own, its tables behind it.
using OwnedLength = std::unique_ptr<WideLength, FreeMemory>;

OwnedLength MakeLength(int lg, Isa isa)
{
    WideLength t;
    t.lg = lg;
    t.n = std::size_t{1} << lg;
    int lgA = -1;
    if (lg > kWideMaxRowLg)
    {
        const int sideLg = std::min(lg / 2, kWideMaxColumnLg);
        t.side = std::size_t{1} << sideLg;
        t.middle = t.n / t.side / t.side;
        t.sideLength = &LengthOfLg(sideLg, isa);
        t.rowLength = &LengthOfLg(lg - sideLg, isa);
    }
    else
    {
        // Up to 128 one lane-parallel transform does a column; above, two of about the square root.
        if (lg <= kWideMaxColumnLg)
        {
            lgA = lg <= 7 ? 0 : lg / 2;
            t.a = std::size_t{1} << lgA;
            t.b = t.n / t.a;
            t.lengthA = lgA == lg ? nullptr : &LengthOfLg(lgA, isa); // null: itself, once it has its place
            t.lengthB = lgA == 0 ? nullptr : &LengthOfLg(lg - lgA, isa);
        }
        if (lg >= 8)
            t.rowNext = &LengthOfLg(lg - 4, isa);
        if (lg >= 5 && lg <= 12)
            t.lineNext = &LengthOfLg(lg - std::countr_zero(static_cast<unsigned>(WideLineRadix(lg))), isa);
    }
    Layout count(nullptr);
    FillTables(t, isa, count, false);
    constexpr std::size_t head = (sizeof(WideLength) + 63) / 64 * 64;
    auto block = MallocArray<unsigned char>(head + count.Used() * sizeof(float), kTables);
    Layout place(reinterpret_cast<float*>(block.get() + head));
    FillTables(t, isa, place, true);
    OwnedLength made(new (block.get()) WideLength(t));
    static_cast<void>(block.release());
    if (lgA == lg)
        made->lengthA = made.get();
    if (lgA == 0)
        made->lengthB = made.get();
    return made;
}

const WideLength& LengthOfLg(int lg, Isa isa)
{
    std::atomic<const WideLength*>& slot = published[static_cast<int>(isa)][lg];
    if (const WideLength* t = slot.load(std::memory_order_acquire))
        return *t;
    OwnedLength made = MakeLength(lg, isa);
    const WideLength* expected = nullptr;
    if (slot.compare_exchange_strong(expected, made.get(), std::memory_order_acq_rel, std::memory_order_acquire))
        return *made.release(); // kept for the process
    return *expected;
}

} // namespace

const WideLength& WideLengthOf(std::size_t n, Isa isa)
{
    return LengthOfLg(std::countr_zero(n), isa);
}
} // namespace LumoraLib::detail
