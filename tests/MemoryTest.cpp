// Lengths that no transform takes, refused before anything is touched. (Missing memory is the faults program's.)
#include "TestTools.h"

#include <sys/mman.h>

using namespace lmltest;

TEST(Memory, LengthsThatNoTransformTakesAreRefused)
{
    // Samples that nobody may look at: address space alone.
    constexpr std::size_t bytes = std::size_t{8} << 30;
    void* const space = ::mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (space == MAP_FAILED)
        GTEST_SKIP() << "no address space";
    const std::string text = "an axis is longer than a transform takes (2^29 samples)";
    const Vector far(0, 0, 1);
    struct Row
    {
        const char* member;
        int nx, ny;
        std::function<void(Lumora&)> run;
    };
    // clang-format off
    const std::vector<Row> rows = {
        {"Fft", 1 << 30, 1, [](Lumora& f) { f.Fft(-1); }},
        {"Fft", 1, 1 << 30, [](Lumora& f) { f.Fft(1); }},
        {"AsmProp", 1 << 30, 1, [](Lumora& f) { f.AsmProp(1e-3); }},
        {"ExactAsmProp", 1 << 29, 2, [](Lumora& f) { f.ExactAsmProp(0); }},
        {"FresnelProp", 1 << 30, 1, [](Lumora& f) { f.FresnelProp(1); }},
        {"FourierProp", 1 << 30, 1, [](Lumora& f) { f.FourierProp(1); }},
        {"ScaledFft", 1 << 29, 2, [](Lumora& f) { f.ScaledFft(1, 1); }},
        {"ScaledFft1d", 1 << 29, 1, [](Lumora& f) { f.ScaledFft1d(1); }},
        {"RawScaledFft", 2, 1 << 29, [](Lumora& f) { f.RawScaledFft(1, 1); }},
        {"RawScaledFft1d", 1 << 29, 1, [](Lumora& f) { f.RawScaledFft1d(1); }},
        {"ScaledProp1d", 1 << 29, 1, [](Lumora& f) { Lumora(2, 1).ScaledProp1d(f, 1); }},
        {"ShiftedFresnelProp", 1 << 29, 1, [far](Lumora& f) { f.ShiftedFresnelProp(far, 1e-6, 1e-6); }},
        {"ShiftedFresnelProp1d", 1 << 29, 1, [](Lumora& f) { f.ShiftedFresnelProp1d(f); }},
        {"ShiftedAsmProp", 1 << 29, 2, [](Lumora& f) { f.ShiftedAsmProp(f, 1); }},
    };
    // clang-format on
    for (const Engine lib : EachEngine())
        for (const ComplexForm form : {COMPLEX_AMPLITUDE, POLAR_AMPLITUDE})
            for (const Row& row : rows)
            {
                Lumora f(0, 0);
                f.SetNx(row.nx).SetNy(row.ny).SetPx(1e-6).SetPy(1e-6);
                f.Init(static_cast<Complex*>(space));
                f.Form() = form;
                EXPECT_EQ(Catch([&] { row.run(f); }),
                          (Failure{6, std::string("LumoraLib::Lumora::") + row.member, text}));
                EXPECT_TRUE(f.GetPx() == 1e-6 && f.GetPy() == 1e-6 && f.Form() == form) << row.member;
            }
    ::munmap(space, bytes);
}
