// The choice of the instruction set, strict arithmetic, and that nothing needs more than any 64-bit x86 has. The tests
// named AnyProcessor and Narrow also run under emulation of a processor without AVX.
#include "base/Isa.h"
#include "TestTools.h"

#include <algorithm>
#include <array>
#include <utility>

using namespace lmltest;
using LumoraLib::detail::CapIsa;
using LumoraLib::detail::CurrentIsa;
using LumoraLib::detail::Isa;
using LumoraLib::detail::ProcessorIsa;

TEST(Isa, NarrowProcessorGetsTheNarrowForm)
{
    const bool avx2 = __builtin_cpu_supports("avx2") != 0;
    const bool avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
                        __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl");
    EXPECT_EQ(ProcessorIsa(), avx512 ? Isa::Avx512 : avx2 ? Isa::Avx2 : Isa::Sse2);
    EXPECT_EQ(CurrentIsa(), ProcessorIsa());
}

TEST(Isa, CapHoldsAndLifts)
{
    CapIsa(Isa::Sse2);
    EXPECT_EQ(CurrentIsa(), Isa::Sse2);
    CapIsa(Isa::Avx512);
    EXPECT_EQ(CurrentIsa(), ProcessorIsa());
    // The public pair, values outside its list too; a limit above the processor's shows the processor's.
    for (const auto& [limit, expected] : {std::pair{-1, 0}, {0, 0}, {1, 1}, {2, 2}, {99, 2}})
    {
        SetInstructionSet(static_cast<InstructionSet>(limit));
        const int now = std::min<int>(expected, GetProcessorInstructionSet());
        EXPECT_EQ(GetInstructionSet(), now) << limit;
        EXPECT_STREQ(GetInstructionSetString(), (std::array{"SSE2", "AVX2", "AVX-512"})[static_cast<std::size_t>(now)]);
    }
}

// (1 + 2^-12)^2 = 1 + 2^-11 + 2^-24: the product rounded to float loses the last term, a fused multiply-add would keep
// it.
TEST(Isa, AnyProcessorRoundsEveryProduct)
{
    const double nearOne = 1.0 + 0x1p-12;
    for (const Engine lib : EachEngine())
    {
        Lumora a(16, 1);
        Lumora b(16, 1);
        a.SetConst(Complex(nearOne, 1.0));
        b.SetConst(Complex(nearOne, 1.0 + 0x1p-11));
        a *= b;
        for (std::size_t n = 0; n < a.N(); ++n)
            ASSERT_EQ(a[n].Real(), 0.0f) << "a product was fused with the difference around it";
    }
}

TEST(Isa, AnyProcessorPropagates)
{
    Lumora start(128, 64, 2e-6);
    FillRandom(start);
    Lumora plain(start);
    Lumora wide(start);
    {
        const Engine engine(FFT_LIB_SPLIT_RADIX);
        plain.AsmProp(1e-3).FresnelProp(0.1);
    }
    wide.AsmProp(1e-3).FresnelProp(0.1);
    EXPECT_LT(RelativeL2(wide, plain), 2e-6);
    EXPECT_EQ(wide.GetPx(), plain.GetPx());
    EXPECT_EQ(wide.GetOrigin().z, plain.GetOrigin().z);
}
