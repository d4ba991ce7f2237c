// Stacks of planes: the samples of single calls, what a plane carries, and how a stack ends.

#include "TestTools.h"

#include <array>
#include <stdexcept>

namespace
{
using namespace lmltest;

// Nothing cut, part of the band cut on one axis or both, almost nothing left; in no order. The last two need the middle
// of the spectrum alone.
constexpr std::array kDistances{0.0, 1e-4, -3e-3, 0.5, 0.02};

TEST(StackTest, PlanesAreThoseOfSingleCalls)
{
    const int shapes[][2] = {{64, 64}, {256, 128}, {128, 512}, {16, 8}, {2, 2}, {64, 1}, {1, 64}};
    for (const StackPropagator propagator : {STACK_ASM, STACK_EXACT_ASM})
        for (const auto& [nx, ny] : shapes)
            for (const ComplexForm form : {COMPLEX_AMPLITUDE, POLAR_AMPLITUDE})
                InEveryForm(
                    [&, nx = nx, ny = ny]
                    {
                        const Threads threads(nx > 64 ? 3 : 1);
                        Lumora field(nx, ny, 2e-6, 3e-6, 532e-9);
                        FillRandom(field);
                        field.SetOrigin(Vector(1e-3, 0, 1)).SetNormalVector(Vector(0, 0.6, 0.8)).Form() = form;
                        field.Window() = LML_RECT(0, ny, 1, 0);
                        const Lumora before(field);
                        std::size_t first = 0;
                        std::size_t seen = 0;
                        const auto each = [&](const Lumora& plane, std::size_t index)
                        {
                            EXPECT_EQ(index, seen++);
                            Lumora single(before);
                            const double d = kDistances[first + index];
                            propagator == STACK_ASM ? single.AsmProp(d) : single.ExactAsmProp(d);
                            EXPECT_TRUE(SameBits(plane, single)) << nx << " by " << ny << ", plane " << index;
                            EXPECT_EQ(plane.GetPx(), 2e-6);
                            EXPECT_EQ(plane.GetWavelength(), single.GetWavelength());
                            EXPECT_EQ(plane.IsPolarForm(), single.IsPolarForm());
                            EXPECT_EQ(Lumora(plane).Window().right, 1);
                            ExpectNear(plane.GetOrigin(), single.GetOrigin(), 0.0);
                            return true;
                        };
                        for (first = 0; first < kDistances.size(); first += 3)
                        {
                            seen = 0;
                            const std::size_t count = kDistances.size() - first;
                            EXPECT_EQ(field.PropagateStack(kDistances.data() + first, count, each, propagator), count);
                            EXPECT_TRUE(SameBits(field, before));
                        }
                    });
}

TEST(StackTest, EndsWhenAskedAndKeepsItsField)
{
    Lumora field(64, 64, 2e-6, 2e-6, 532e-9);
    FillRandom(field);
    const Lumora before(field);
    const auto second = [](const Lumora&, std::size_t index)
    {
        return index == 0;
    };
    EXPECT_EQ(field.PropagateStack(kDistances.data(), kDistances.size(), second), 2u);
    EXPECT_EQ(field.PropagateStack(nullptr, 0, nullptr), 0u);
    EXPECT_TRUE(field.MeasureStack(nullptr, 0, FOCUS_TAMURA).empty());
    const auto thrower = [](const Lumora&, std::size_t) -> bool
    {
        throw std::runtime_error("mine");
    };
    EXPECT_THROW(field.PropagateStack(kDistances.data(), kDistances.size(), thrower), std::runtime_error);
    EXPECT_TRUE(SameBits(field, before));
}
} // namespace
