// Without memory: whichever allocation of an operation fails, the failure takes the one road with code 1, and the field
// is what it was. And lengths that no transform takes, refused before anything is touched.
#include "field/FieldTools.h"
#include "TestTools.h"

#include <cerrno>
#include <malloc.h>
#include <new>
#include <sys/mman.h>

using namespace lmltest;

namespace
{
bool counting = false;
int left = 0; // allocations that still succeed

bool FailsNow()
{
    return counting && --left < 0;
}
} // namespace

#ifndef LML_TEST_SANITIZED
// Every road by which the library takes memory.
extern "C" int posix_memalign(void** p, std::size_t alignment, std::size_t bytes) noexcept
{
    *p = FailsNow() ? nullptr : ::memalign(alignment, bytes);
    return *p == nullptr ? ENOMEM : 0;
}

extern "C" void* aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept
{
    return FailsNow() ? nullptr : ::memalign(alignment, bytes);
}

void* operator new(std::size_t bytes)
{
    void* const p = FailsNow() ? nullptr : std::malloc(bytes);
    if (p == nullptr)
        throw std::bad_alloc();
    return p;
}

void operator delete(void* p) noexcept
{
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}
#endif

namespace
{
struct Operation
{
    const char* name;
    int nx, ny;
    ComplexForm form;
    std::function<void(Lumora&)> run;
};

/// The second field of an operation, 0.1 m before the first.
Lumora Other(const Lumora& f)
{
    Lumora other(f);
    return other.SetOrigin(f.GetOrigin() - Vector(0, 0, 0.1));
}

void Turn(Lumora& (Lumora::*rotate)(const Lumora&, RMatrix&, SFrequency*, Interpol, bool), Lumora& f,
          const Lumora& source)
{
    RMatrix r(Vector(0, 0, 1), Vector(0, 0.1, 1));
    (f.*rotate)(source, r, nullptr, CUBIC4_INTERPOL, true);
}

// Sizes differ from row to row, so that each meets tables which are not made yet.
// clang-format off
const std::vector<Operation> kOperations = {
    {"Fft of a short row", 64, 1, POLAR_AMPLITUDE, [](Lumora& f) { f.Fft(-1); }},
    {"Fft of a row", 1 << 16, 1, POLAR_AMPLITUDE, [](Lumora& f) { f.Fft(-1); }},
    {"Fft of a long row", 1 << 17, 1, COMPLEX_AMPLITUDE, [](Lumora& f) { f.Fft(1); }},
    {"Fft", 512, 128, POLAR_AMPLITUDE, [](Lumora& f) { f.Fft(-1); }},
    {"FresnelProp", 256, 1024, POLAR_AMPLITUDE, [](Lumora& f) { f.FresnelProp(0.1); }},
    {"FourierProp", 32, 64, POLAR_AMPLITUDE, [](Lumora& f) { f.FourierProp(0.1); }},
    {"AsmProp", 64, 32, POLAR_AMPLITUDE, [](Lumora& f) { f.AsmProp(1e-3); }},
    {"ExactAsmProp", 128, 32, POLAR_AMPLITUDE, [](Lumora& f) { f.ExactAsmProp(1e-3); }},
    {"AsmProp of a row", 8, 1, POLAR_AMPLITUDE, [](Lumora& f) { f.AsmProp(1e-3); }},
    {"ExactAsmProp", 16, 64, POLAR_AMPLITUDE, [](Lumora& f) { f.ExactAsmProp(1e-3); }},
    {"ExactAsmProp of a row", 16, 1, POLAR_AMPLITUDE, [](Lumora& f) { f.ExactAsmProp(1e-3); }},
    {"RawAsmPropFs", 16, 8, SPECTRUM, [](Lumora& f) { f.RawAsmPropFs(1e-3); }},
    {"_Old_SPWProp", 16, 8, POLAR_AMPLITUDE, [](Lumora& f) { f._Old_SPWProp(1e-3); }},
    {"_Old_SPWProp of a row", 16, 1, POLAR_AMPLITUDE, [](Lumora& f) { f._Old_SPWProp(1e-3); }},
    {"SPWPropFsTbl", 16, 8, SPECTRUM, [](Lumora& f) { f.SPWPropFsTbl(1e-3, 6); }},
    {"ShiftedAsmProp", 32, 16, COMPLEX_AMPLITUDE, [](Lumora& f) { f.ShiftedAsmProp(Other(f), 1); }},
    {"ShiftedAsmProp, polar", 16, 8, POLAR_AMPLITUDE, [](Lumora& f) { f.ShiftedAsmProp(Other(f), 1); }},
    {"ShiftedAsmProp of itself", 16, 8, POLAR_AMPLITUDE, [](Lumora& f) { f.ShiftedAsmProp(f, 1); }},
    {"ShiftedAsmPropAdd", 16, 8, COMPLEX_AMPLITUDE, [](Lumora& f) { f.ShiftedAsmPropAdd(Other(f), 1); }},
    {"ShiftedAsmPropEx", 16, 8, COMPLEX_AMPLITUDE, [](Lumora& f) { f.ShiftedAsmPropEx(Other(f)); }},
    {"ShiftedFresnelProp", 16, 8, COMPLEX_AMPLITUDE, [](Lumora& f) { f.ShiftedFresnelProp(Other(f)); }},
    {"ShiftedFresnelProp in place", 16, 8, COMPLEX_AMPLITUDE,
     [](Lumora& f) { f.ShiftedFresnelProp(Vector(0, 0, 0.1), 1e-6, 1e-6); }},
    {"ShiftedFresnelProp, descriptor", 16, 8, COMPLEX_AMPLITUDE,
     [](Lumora& f) {
         const Lumora other = Other(f);
         f.ShiftedFresnelProp(other, ShiftedFresnelPropDescriptor(0.1, f.GetPx(), f.GetPy(), other));
     }},
    {"ShiftedFresnelPropEx", 16, 8, COMPLEX_AMPLITUDE, [](Lumora& f) { f.ShiftedFresnelPropEx(Other(f)); }},
    {"ShiftedFresnelProp1d", 16, 1, COMPLEX_AMPLITUDE, [](Lumora& f) { f.ShiftedFresnelProp1d(Other(f)); }},
    {"Rotate", 16, 8, COMPLEX_AMPLITUDE, [](Lumora& f) { Turn(&Lumora::Rotate, f, Other(f)); }},
    {"Rotate, polar", 16, 8, POLAR_AMPLITUDE, [](Lumora& f) { Turn(&Lumora::Rotate, f, Other(f)); }},
    {"RotateFs", 16, 8, SPECTRUM, [](Lumora& f) { Turn(&Lumora::RotateFs, f, Other(f)); }},
    {"GetRotationFs", 16, 8, SPECTRUM, [](Lumora& f) { RMatrix r(Vector(0, 0, 1), Vector(0, 0.1, 1)); Other(f).GetRotationFs(f, r); }},
    {"GetRotationParaFs", 16, 8, SPECTRUM, [](Lumora& f) { Other(f).GetRotationParaFs(f); }},
    {"RotateY", 16, 8, COMPLEX_AMPLITUDE, [](Lumora& f) { f.RotateY(0.1, nullptr); }},
    {"RotateYFs", 16, 8, SPECTRUM, [](Lumora& f) { f.RotateYFs(0.1, CUBIC_INTERPOL, 8, nullptr); }},
    {"Rotate1d", 16, 1, COMPLEX_AMPLITUDE, [](Lumora& f) { f.Rotate1d(0.1); }},
    {"RotateSpec1d", 16, 1, SPECTRUM, [](Lumora& f) { f.RotateSpec1d(0.1, CUBIC_INTERPOL, 8); }},
    {"ScaledFft", 128, 16, COMPLEX_AMPLITUDE, [](Lumora& f) { f.ScaledFft(-0.5, -0.25); }},
    {"ScaledFft of a row", 32, 1, COMPLEX_AMPLITUDE, [](Lumora& f) { f.ScaledFft(-0.5, -0.25); }},
    {"ScaledFft of a sample", 1, 1, COMPLEX_AMPLITUDE, [](Lumora& f) { f.ScaledFft(-0.5, -0.25); }},
    {"ScaledFft1d", 4096, 1, COMPLEX_AMPLITUDE, [](Lumora& f) { f.ScaledFft1d(0.5); }},
    {"RawScaledFft", 16, 8, COMPLEX_AMPLITUDE, [](Lumora& f) { f.RawScaledFft(0.1, 0.2); }},
    {"Embed", 16, 8, POLAR_AMPLITUDE, [](Lumora& f) { f.Embed(1); }},
    {"Extract", 16, 8, POLAR_AMPLITUDE, [](Lumora& f) { f.Extract(1); }},
    {"SwitchQuadrant", 16, 8, POLAR_AMPLITUDE, [](Lumora& f) { f.SwitchQuadrant(); }},
};
// clang-format on

/// What the call reports when there is memory for `count` allocations: 0 nothing, -1 an exception that is not ours.
int CodeAfter(int count, const std::function<void()>& call)
{
    SetErrorHandling(ERROR_HANDLING_THROW);
    int code = 0;
    left = count;
    counting = true;
    try
    {
        call();
        counting = false;
    }
    catch (const LumoraException& e)
    {
        counting = false;
        code = e.GetErrorCode();
    }
    catch (...)
    {
        counting = false;
        code = -1;
    }
    SetErrorHandling(ERROR_HANDLING_EXIT);
    return code;
}

::testing::AssertionResult Same(const Lumora& a, const Lumora& b)
{
    const LML_RECT v = detail::FieldAccess::Window(a), w = detail::FieldAccess::Window(b);
    if (detail::FieldAccess::Form(a) != detail::FieldAccess::Form(b) || a.GetPx() != b.GetPx() ||
        a.GetPy() != b.GetPy() || v.left != w.left || v.right != w.right || v.bottom != w.bottom || v.top != w.top)
        return ::testing::AssertionFailure() << "form, pitches or window differ";
    if (!(a.GetOrigin() == b.GetOrigin()) || !(a.GetNormalVector() == b.GetNormalVector()))
        return ::testing::AssertionFailure() << "origin or normal differ";
    return SameBits(a, b);
}
} // namespace

TEST(Memory, EachFailedAllocationLeavesTheFieldAsItWas)
{
#ifdef LML_TEST_SANITIZED
    GTEST_SKIP() << "the checked build has an allocator of its own";
#endif
    for (const int threads : {1, 2})
        for (const FftLib lib : {FFT_LIB_VENDOR, FFT_LIB_SPLIT_RADIX})
            for (const Operation& operation : kOperations)
            {
                const Engine engine(lib);
                const Threads team(threads);
                Lumora source(operation.nx, operation.ny, 2e-6);
                FillRandom(source);
                source.Form() = operation.form;
                source.SetWindow(0, 1, 0, 1);
                int code = 1;
                for (int n = 0; code != 0; ++n)
                {
                    Lumora f(source);
                    code = CodeAfter(n, [&] { operation.run(f); });
                    EXPECT_TRUE(code == 0 ? left >= 0 : code == 1) << operation.name << ", allocation " << n;
                    EXPECT_TRUE(code == 0 || Same(f, source)) << operation.name << ", allocation " << n;
                    ASSERT_LT(n, 1000);
                }
            }
}

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
    for (const FftLib lib : {FFT_LIB_VENDOR, FFT_LIB_SPLIT_RADIX})
        for (const ComplexForm form : {COMPLEX_AMPLITUDE, POLAR_AMPLITUDE})
            for (const Row& row : rows)
            {
                const Engine engine(lib);
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
