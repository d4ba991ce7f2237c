// The fused forms beside the step-by-step forms: every operation that has both runs on every kind of field with both
// values of FftLib, and all that a caller sees is compared: samples within the rounding of the transforms, everything
// else exactly, also after a refused call. And the memory that the fused forms take.
#include "TestTools.h"

#include <cstdlib>
#include <functional>
#include <memory>

using namespace lmltest;

namespace
{
constexpr double kLambda = 5e-7;
using Buffer = std::unique_ptr<Complex, decltype(&Free)>;

struct Open : Lumora
{
    explicit Open(const Lumora& f) : Lumora(f) {}
    using Lumora::_ConvToComplexForm;
};

struct Operation
{
    const char* name;
    std::function<void(Lumora& f, const Lumora& source)> run;
    bool noColumns = false; // transforms the grid itself: one column of several rows is no supported transform
};

ShiftedFresnelPropDescriptor DescriptorOf(const Lumora& f, const Lumora& s)
{
    return ShiftedFresnelPropDescriptor(f.GetPlane().GetDistance(s.GetOrigin()), f.GetPx(), f.GetPy(), s);
}

std::vector<Operation> Operations()
{
    std::vector<Operation> table = {
        {"Fft(-1)", [](Lumora& f, const Lumora&) { f.Fft(-1); }, true},
        {"Fft(1)", [](Lumora& f, const Lumora&) { f.Fft(1); }, true},
        {"Fft(0)",
         [](Lumora& f, const Lumora&)
         {
             f.Fft(0);
         }},
        {"FresnelProp", [](Lumora& f, const Lumora&) { f.FresnelProp(0.5); }, true},
        {"FourierProp", [](Lumora& f, const Lumora&) { f.FourierProp(0.5); }, true},
        {"BackFourierProp", [](Lumora& f, const Lumora&) { f.BackFourierProp(0.5); }, true},
        {"_Old_SPWProp", [](Lumora& f, const Lumora&) { f._Old_SPWProp(1e-5); }, true},
        {"ScaledFft",
         [](Lumora& f, const Lumora&)
         {
             f.ScaledFft(-0.7, 1.3);
         }},
        {"ScaledFft(0)",
         [](Lumora& f, const Lumora&)
         {
             f.ScaledFft(0.0, 0.0);
         }},
        {"ScaledFft1d",
         [](Lumora& f, const Lumora&)
         {
             f.ScaledFft1d(0.6);
         }},
        {"RawScaledFft",
         [](Lumora& f, const Lumora&)
         {
             f.RawScaledFft(0.017, -0.3);
         }},
        {"RawScaledFft1d",
         [](Lumora& f, const Lumora&)
         {
             f.RawScaledFft1d(0.4);
         }},
        {"RawScaledFft, cached",
         [](Lumora& f, const Lumora& s)
         {
             f.RawScaledFft(ScaledFftDescriptor(s, 0.05, 0.04));
         }},
        {"ShiftedAsmProp 0",
         [](Lumora& f, const Lumora& s)
         {
             f.ShiftedAsmProp(s, 0);
         }},
        {"ShiftedAsmProp 1",
         [](Lumora& f, const Lumora& s)
         {
             f.ShiftedAsmProp(s, 1);
         }},
        {"ShiftedAsmProp 2",
         [](Lumora& f, const Lumora& s)
         {
             f.ShiftedAsmProp(s, 2);
         }},
        {"ShiftedAsmPropAdd",
         [](Lumora& f, const Lumora& s)
         {
             f.ShiftedAsmPropAdd(s, 1);
         }},
        {"ShiftedAsmPropAddEx",
         [](Lumora& f, const Lumora& s)
         {
             f.ShiftedAsmPropAddEx(s);
         }},
        {"ShiftedAsmPropEx",
         [](Lumora& f, const Lumora& s)
         {
             f.ShiftedAsmPropEx(s);
         }},
        {"ShiftedFresnelProp",
         [](Lumora& f, const Lumora& s)
         {
             f.ShiftedFresnelProp(s);
         }},
        {"ShiftedFresnelProp, cached",
         [](Lumora& f, const Lumora& s)
         {
             f.ShiftedFresnelProp(s, DescriptorOf(f, s));
         }},
        {"ShiftedFresnelPropAdd",
         [](Lumora& f, const Lumora& s)
         {
             f.ShiftedFresnelPropAdd(s, DescriptorOf(f, s));
         }},
        {"ShiftedFresnelPropAdd, misfit",
         [](Lumora& f, const Lumora& s)
         {
             f.ShiftedFresnelPropAdd(s, ShiftedFresnelPropDescriptor(1, 1, 1, s));
         }},
        {"ShiftedFresnelProp, in place",
         [](Lumora& f, const Lumora&)
         {
             f.ShiftedFresnelProp(f.GetOrigin() + Vector(1e-6, 0, 0.4), 1e-6, 2e-6);
         }},
        {"ShiftedFresnelProp, in place, cached",
         [](Lumora& f, const Lumora&)
         {
             f.ShiftedFresnelProp(f.GetOrigin() + Vector(1e-6, 0, 0.4), 1e-6, 2e-6,
                                  ShiftedFresnelPropDescriptor(0.4, 1e-6, 2e-6, f));
         }},
        {"ShiftedFresnelPropAddEx",
         [](Lumora& f, const Lumora& s)
         {
             f.ShiftedFresnelPropAddEx(s);
         }},
        {"ShiftedFresnelPropEx",
         [](Lumora& f, const Lumora& s)
         {
             f.ShiftedFresnelPropEx(s);
         }},
        {"ShiftedFresnelProp1d",
         [](Lumora& f, const Lumora& s)
         {
             f.ShiftedFresnelProp1d(s);
         }},
    };
    // Distances whose band limits cut nothing, one axis, both axes, everything.
    for (const double d : {0.0, 1e-6, -3e-5, 2e-3, 50.0})
    {
        table.push_back({"AsmProp", [d](Lumora& f, const Lumora&) { f.AsmProp(d); }, true});
        table.push_back({"RawAsmProp", [d](Lumora& f, const Lumora&) { f.RawAsmProp(d); }, true});
        table.push_back({"ExactAsmProp", [d](Lumora& f, const Lumora&)
                         {
                             f.ExactAsmProp(d);
                         }});
        table.push_back({"AsmPropFs", [d](Lumora& f, const Lumora&)
                         {
                             f.AsmPropFs(d);
                         }});
        table.push_back({"RawAsmPropFs", [d](Lumora& f, const Lumora&)
                         {
                             f.RawAsmPropFs(d);
                         }});
    }
    return table;
}

/// The fields of one case: a subject with samples of its own or on a caller's buffer, and a source before it.
struct Scene
{
    int nx, ny;
    double px, py;
    int form;
    bool callersBuffer;
    int sourceGrowth; // the source is 2^n times larger in x

    Lumora Make(int width, std::uint32_t seed) const
    {
        Lumora f(width, ny, px, py, kLambda);
        FillRandom(f, seed);
        f.Form() = static_cast<ComplexForm>(form);
        f.SetNormalVector(Vector(0.1, -0.2, 1.0)).SetWindow(0, 1, 0, 1);
        return f;
    }
    Lumora Source() const { return Make(nx << sourceGrowth, 2).SetOrigin(Vector(1e-3, 2e-3, 3e-3)); }
};

/// l2 distance of the stored pairs, relative to those of b (0 where both are zero).
double PairDistance(const Lumora& a, const Lumora& b)
{
    double difference = 0.0;
    double norm = 0.0;
    for (std::size_t n = 0; n < a.N(); ++n)
    {
        const Complex x = a.GetDataPointer()[n];
        const Complex y = b.GetDataPointer()[n];
        const auto finite = [](const Complex& c)
        {
            return std::isfinite(c.Real()) && std::isfinite(c.Imag());
        };
        if (finite(x) != finite(y))
            return INFINITY; // what is not finite must be so in both
        if (!finite(y))
            continue;
        difference += (x - y).Intensity();
        norm += y.Intensity();
    }
    return norm == 0.0 ? std::sqrt(difference) : std::sqrt(difference / norm);
}

/// The same, of the fields that polar pairs stand for where the pairs differ: phases may turn at pi, and some
/// operations work on the pairs as they are.
double Distance(const Lumora& a, const Lumora& b)
{
    Open x(a);
    Open y(b);
    x._ConvToComplexForm();
    y._ConvToComplexForm();
    return std::min(PairDistance(a, b), PairDistance(x, y));
}

bool Same(double a, double b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

struct Outcome
{
    Failure failure;
    Lumora field;
    Lumora source;
};

Outcome Run(const Scene& scene, const Operation& operation, FftLib lib, int threads)
{
    Engine engine(lib);
    Threads team(threads);
    Buffer buffer(nullptr, &Free);
    Lumora f = scene.Make(scene.nx, 1);
    f.SetOrigin(Vector(1e-3 + 2e-6, 2e-3 - 1e-6, 3e-3 + 4e-5));
    if (scene.callersBuffer)
    {
        buffer.reset(static_cast<Complex*>(Malloc(f.N() * sizeof(Complex), "buffer")));
        std::copy_n(f.GetDataPointer(), f.N(), buffer.get());
        f.Dispose();
        f.Init(buffer.get());
    }
    Outcome outcome{{}, Lumora(1), scene.Source()};
    outcome.failure = Catch([&] { operation.run(f, outcome.source); });
    if (scene.callersBuffer && buffer)
    {
        EXPECT_EQ(f.GetDataPointer(), buffer.get()) << operation.name;
    }
    outcome.field = f;
    return outcome;
}

void ExpectSame(const Scene& scene, const Operation& operation, int threads)
{
    SCOPED_TRACE(std::string(operation.name) + " on " + std::to_string(scene.nx) + " by " + std::to_string(scene.ny) +
                 ", form " + std::to_string(scene.form) + ", pitch " + std::to_string(scene.px * 1e6) + " um, source " +
                 std::to_string(scene.sourceGrowth) + (scene.callersBuffer ? ", caller's buffer" : ""));
    Outcome plain = Run(scene, operation, FFT_LIB_SPLIT_RADIX, 1);
    Outcome fused = Run(scene, operation, FFT_LIB_VENDOR, threads);
    EXPECT_EQ(fused.failure, plain.failure);
    Lumora& a = fused.field;
    Lumora& b = plain.field;
    EXPECT_EQ(a.GetNx(), b.GetNx());
    EXPECT_EQ(a.GetNy(), b.GetNy());
    EXPECT_EQ(a.Form(), b.Form());
    EXPECT_PRED2(Same, a.GetPx(), b.GetPx());
    EXPECT_PRED2(Same, a.GetPy(), b.GetPy());
    EXPECT_EQ(a.k(), b.k());
    for (const auto& [x, y] : {std::pair{a.GetOrigin(), b.GetOrigin()}, {a.GetNormalVector(), b.GetNormalVector()}})
    {
        EXPECT_EQ(x.x, y.x);
        EXPECT_EQ(x.y, y.y);
        EXPECT_EQ(x.z, y.z);
    }
    EXPECT_EQ(std::memcmp(&a.Window(), &b.Window(), sizeof(LML_RECT)), 0);
    if (plain.failure.code != 0)
    {
        EXPECT_TRUE(SameBits(a, b));
    }
    else if (scene.nx != 1 || !operation.noColumns)
    {
        // Polar pairs between the steps magnify what the transforms round.
        EXPECT_LT(Distance(a, b), (scene.form & 2) != 0 ? 1e-5 : 2e-6);
    }
    EXPECT_TRUE(SameBits(fused.source, scene.Source()));
}

constexpr const char* kChild = "LML_TEST_MEMORY_CASE";

/// A line of /proc/self/status in bytes.
double Status(const char* name)
{
    std::ifstream in("/proc/self/status");
    for (std::string word; in >> word;)
        if (word == name)
        {
            double kilobytes = 0.0;
            in >> kilobytes;
            return kilobytes * 1024.0;
        }
    return -1.0;
}

struct MemoryCase
{
    const char* name;
    std::function<void(Lumora& f, const Lumora& source)> run;
    double fields; // extra memory allowed
};

const MemoryCase kMemory[] = {
    {"AsmProp", [](Lumora& f, const Lumora&) { f.AsmProp(0.01); }, 0.054}, // with tables, which stay
    {"RawAsmProp", [](Lumora& f, const Lumora&) { f.RawAsmProp(0.01); }, 0.054},
    {"Fft", [](Lumora& f, const Lumora&) { f.Fft(-1); }, 0.05},
    {"ExactAsmProp", [](Lumora& f, const Lumora&) { f.ExactAsmProp(0.01); }, 2.2},
    {"ShiftedAsmProp", [](Lumora& f, const Lumora& s) { f.ShiftedAsmProp(s, 1); }, 2.2},
    {"ScaledFft", [](Lumora& f, const Lumora&) { f.ScaledFft(-0.7, 1.3); }, 0.1},
    {"ShiftedFresnelProp", [](Lumora& f, const Lumora& s) { f.ShiftedFresnelProp(s); }, 0.1},
    {"ShiftedFresnelPropEx", [](Lumora& f, const Lumora& s) { f.ShiftedFresnelPropEx(s); }, 1.1},
};
} // namespace

TEST(Fused, EveryOperationOnEveryField)
{
    const int shapes[][2] = {{1, 1}, {8, 1}, {1, 8}, {2, 2}, {4, 64}, {64, 4}, {32, 32}};
    for (const Operation& operation : Operations())
        for (const auto& shape : shapes)
            for (const int form : {0, 1, 2, 3})
                for (const bool callersBuffer : {false, true})
                    // Coarse; fine on one axis; below half a wavelength, where components are evanescent.
                    for (const auto& [px, py] : {std::pair{4e-6, 3e-6}, {4e-6, 0.4e-6}, {0.2e-6, 0.22e-6}})
                        for (const int growth : {0, 1})
                        {
                            if (growth != 0 && (callersBuffer || px != 4e-6))
                                continue;
                            ExpectSame({shape[0], shape[1], px, py, form, callersBuffer, growth}, operation, 1);
                        }
}

TEST(Fused, LargerFieldsOnTeams)
{
    for (const Operation& operation : Operations())
        for (const auto& shape : {std::pair{256, 128}, {64, 512}})
            for (const int form : {0, 2})
                ExpectSame({shape.first, shape.second, 2e-6, 1e-6, form, false, 0}, operation, 3);
}

TEST(Fused, NotANumberSpreadsAlike)
{
    for (const char* name : {"AsmProp", "ExactAsmProp", "ShiftedAsmProp 1", "RawScaledFft", "ShiftedFresnelProp"})
        for (const Operation& operation : Operations())
            if (std::string(operation.name) == name)
            {
                const Operation poisoned{name, [&](Lumora& f, const Lumora& s)
                                         {
                                             Lumora source(s);
                                             f.SetPixel(3, 2, Complex(NAN, 0.0));
                                             source.SetPixel(3, 2, Complex(0.0, INFINITY));
                                             operation.run(f, source);
                                         }};
                ExpectSame({16, 32, 4e-6, 3e-6, 0, false, 0}, poisoned, 1);
            }
}

// Each case runs in a process of its own, so that no memory of another one is reused, and tells its peak in fields.
TEST(FusedMemory, DISABLED_Child)
{
    const char* const name = std::getenv(kChild);
    ASSERT_NE(name, nullptr);
    Threads team(2); // scratch grows with the threads, about 0.8 KiB times the size per thread
    constexpr int kSize = 4096;
    for (const MemoryCase& c : kMemory)
        if (std::string(c.name) == name)
        {
            // Code that is loaded and threads that are started at first use are not the operation's memory.
            Lumora small(512, 512, 4e-6, 4e-6, kLambda), smallSource(small);
            small.SetConst(Complex(1.0, 0.0)).SetOrigin(Vector(1e-4, 0, 0.05));
            smallSource.SetConst(Complex(1.0, 0.0));
            c.run(small, smallSource);
            Lumora f(kSize, kSize, 4e-6, 4e-6, kLambda);
            f.SetConst(Complex(1.0, 0.0)).SetOrigin(Vector(1e-4, 0, 0.05));
            const bool needsSource = std::string(name).find("Shifted") == 0;
            Lumora source(needsSource ? kSize : 1, needsSource ? kSize : 1, 4e-6, 4e-6, kLambda);
            source.SetConst(Complex(1.0, 0.0));
            std::ofstream("/proc/self/clear_refs") << "5"; // the peak starts anew
            const double before = Status("VmRSS:");
            c.run(f, source);
            const double field = 8.0 * kSize * kSize;
            std::printf("peak %.4f fields\n", (Status("VmHWM:") - before) / field);
        }
}

TEST(FusedMemory, PeakBesideTheFields)
{
#if defined(LML_TEST_SANITIZED)
    GTEST_SKIP() << "an instrumented build has memory of its own";
#endif
    for (const MemoryCase& c : kMemory)
    {
        const std::string command = std::string(kChild) + "=" + c.name + " '" + ::testing::internal::GetArgvs()[0] +
                                    "' --gtest_filter=FusedMemory.DISABLED_Child --gtest_also_run_disabled_tests";
        std::FILE* const pipe = popen(command.c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        double fields = -1.0;
        char line[256];
        while (std::fgets(line, sizeof line, pipe))
            std::sscanf(line, "peak %lf", &fields);
        EXPECT_EQ(pclose(pipe), 0);
        EXPECT_GT(fields, -0.5) << c.name << " told nothing";
        EXPECT_LE(fields, c.fields) << c.name;
        std::printf("%-24s %.4f fields\n", c.name, fields);
    }
}
