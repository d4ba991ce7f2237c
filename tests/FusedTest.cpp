// The fused forms beside the step-by-step forms: every operation that has both runs on every kind of field with both
// values of FftLib, and all that a caller sees is compared: samples within the rounding of the transforms, everything
// else exactly, also after a refused call. And the memory that the fused forms take.
#include "Oracle.h"
#include "TestTools.h"
#include "transform/ChirpAxis.h"
#include "transform/ChirpPhase.h"
#include "transform/FactorCache.h"

using namespace lmltest;

namespace
{
constexpr double kLambda = 5e-7;
using Buffer = std::unique_ptr<Complex, decltype(&Free)>;

struct Operation
{
    const char* name;
    std::function<void(Lumora& f, const Lumora& s)> run;
    bool noColumns = false; // transforms the grid itself: one column of several rows is no supported transform
};
// clang-format off
#define STEPS(...) [=]([[maybe_unused]] Lumora& f, [[maybe_unused]] const Lumora& s) { static_cast<void>(__VA_ARGS__); }
#define OPERATION(...) Operation{#__VA_ARGS__, STEPS(__VA_ARGS__)}
#define TRANSFORM(...) Operation{#__VA_ARGS__, STEPS(__VA_ARGS__), true}
// clang-format on

ShiftedFresnelPropDescriptor DescriptorOf(const Lumora& f, const Lumora& s)
{
    return ShiftedFresnelPropDescriptor(f.GetPlane().GetDistance(s.GetOrigin()), f.GetPx(), f.GetPy(), s);
}

std::vector<Operation> Operations()
{
    const Vector step(1e-6, 0, 0.4);
    std::vector<Operation> table = {
        TRANSFORM(f.Fft(-1)),
        TRANSFORM(f.Fft(1)),
        OPERATION(f.Fft(0)),
        TRANSFORM(f.FresnelProp(0.5)),
        TRANSFORM(f.FourierProp(0.5)),
        TRANSFORM(f.BackFourierProp(0.5)),
        TRANSFORM(f._Old_SPWProp(1e-5)),
        OPERATION(f.ScaledFft(-0.7, 1.3)),
        OPERATION(f.ScaledFft(0.0, 0.0)),
        OPERATION(f.ScaledFft1d(0.6)),
        OPERATION(f.RawScaledFft(0.017, -0.3)),
        OPERATION(f.RawScaledFft1d(0.4)),
        OPERATION(f.RawScaledFft(ScaledFftDescriptor(s, 0.05, 0.04))),
        OPERATION(f.ShiftedAsmProp(s, 0)),
        OPERATION(f.ShiftedAsmProp(s, 1)),
        OPERATION(f.ShiftedAsmProp(s, 2)),
        OPERATION(f.ShiftedAsmPropAdd(s, 1)),
        OPERATION(f.ShiftedAsmPropAddEx(s)),
        OPERATION(f.ShiftedAsmPropEx(s)),
        OPERATION(f.ShiftedFresnelProp(s)),
        OPERATION(f.ShiftedFresnelProp(s, DescriptorOf(f, s))),
        OPERATION(f.ShiftedFresnelPropAdd(s, DescriptorOf(f, s))),
        OPERATION(f.ShiftedFresnelPropAdd(s, ShiftedFresnelPropDescriptor(1, 1, 1, s))), // does not fit
        OPERATION(f.ShiftedFresnelProp(f.GetOrigin() + step, 1e-6, 2e-6)),
        OPERATION(
            f.ShiftedFresnelProp(f.GetOrigin() + step, 1e-6, 2e-6, ShiftedFresnelPropDescriptor(0.4, 1e-6, 2e-6, f))),
        OPERATION(f.ShiftedFresnelPropAddEx(s)),
        OPERATION(f.ShiftedFresnelPropEx(s)),
        OPERATION(f.ShiftedFresnelProp1d(s)),
    };
    // Distances whose band limits cut nothing, one axis, both axes, everything.
    for (const double d : {0.0, 1e-6, -3e-5, 2e-3, 50.0})
        for (const Operation& operation :
             {TRANSFORM(f.AsmProp(d)), TRANSFORM(f.RawAsmProp(d)), OPERATION(f.ExactAsmProp(d)),
              OPERATION(f.AsmPropFs(d)), OPERATION(f.RawAsmPropFs(d))})
            table.push_back(operation);
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

/// l2 distance of the stored pairs, relative to those of b (0 where both are zero); what is not finite must be so in
/// both.
double PairDistance(const Lumora& a, const Lumora& b)
{
    const auto finite = [](const Complex& c)
    {
        return std::isfinite(c.Real()) && std::isfinite(c.Imag());
    };
    double difference = 0.0;
    double norm = 0.0;
    for (std::size_t n = 0; n < a.N(); ++n)
    {
        const Complex x = a.GetDataPointer()[n];
        const Complex y = b.GetDataPointer()[n];
        if (finite(x) != finite(y))
            return INFINITY;
        if (finite(y))
        {
            difference += (x - y).Intensity();
            norm += y.Intensity();
        }
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

struct Outcome
{
    Failure failure;
    Lumora field;
    Lumora source;
};

Outcome Perform(const Scene& scene, const Operation& operation, FftLib lib, int threads)
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
    Outcome plain = Perform(scene, operation, FFT_LIB_SPLIT_RADIX, 1);
    Outcome fused = Perform(scene, operation, FFT_LIB_VENDOR, threads);
    EXPECT_EQ(fused.failure, plain.failure);
    Lumora& a = fused.field;
    Lumora& b = plain.field;
    EXPECT_EQ(Frame(a), Frame(b));
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

/// Operations on large fields, and the extra memory in fields that each may take; tables, which stay, with it.
std::vector<std::pair<Operation, double>> MemoryCases()
{
    return {
        {OPERATION(f.AsmProp(0.01)), 0.054},
        {OPERATION(f.RawAsmProp(0.01)), 0.054},
        {OPERATION(f.Fft(-1)), 0.05},
        {OPERATION(f.ExactAsmProp(0.01)), 2.2},
        {OPERATION(f.MeasureStack(std::data({0.01, 0.02}), 2, FOCUS_TAMURA)), 2.2},
        {OPERATION(f.ShiftedAsmProp(s, 1)), 2.2},
        {OPERATION(f.ScaledFft(-0.7, 1.3)), 0.1},
        {OPERATION(f.ShiftedFresnelProp(s)), 0.1},
        {OPERATION(f.ShiftedFresnelPropEx(s)), 1.1},
    };
}
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

// Long axes take several sweeps; the bits of a team and of an instruction set are those of one thread and the widest.
TEST(Fused, LargerFieldsOnTeamsAndInstructionSets)
{
    for (const Operation& operation : Operations())
        for (const auto& [nx, ny] : {std::pair{256, 128}, {64, 512}, {1 << 17, 1}, {2, 1 << 16}, {1 << 16, 2}})
        {
            const bool large = nx * ny > 1 << 15;
            const Scene scene{nx, ny, 2e-6, 1e-6, 0, false, 0};
            ExpectSame(scene, operation, 3);
            if (!large)
                ExpectSame({nx, ny, 2e-6, 1e-6, 2, false, 0}, operation, 3);
            const Outcome one = Perform(scene, operation, FFT_LIB_VENDOR, 1);
            const Outcome plain = Perform(scene, operation, FFT_LIB_SPLIT_RADIX, 1);
            EXPECT_TRUE(SameBits(Perform(scene, operation, FFT_LIB_SPLIT_RADIX, 3).field, plain.field));
            for (const detail::Isa isa : InstructionSets())
                for (const int threads : {1, 7})
                    if (const Cap cap(isa); !large || (threads == 1 && isa == detail::Isa::Sse2))
                    {
                        EXPECT_TRUE(SameBits(Perform(scene, operation, FFT_LIB_VENDOR, threads).field, one.field))
                            << operation.name << " on " << nx << " by " << ny << ", threads " << threads;
                    }
        }
}

// Above the size from which stores go past the caches; rows of several sweeps; the longest columns of one.
TEST(Fused, LargestGrids)
{
    const Operation table[] = {TRANSFORM(f.AsmProp(2e-3)), OPERATION(f.ExactAsmProp(2e-3)),
                               OPERATION(f.ShiftedAsmProp(s, 1)), OPERATION(f.ScaledFft(-0.7, 1.3)),
                               OPERATION(f.ShiftedFresnelProp(s))};
    for (const Operation& operation : table)
        for (const auto& [nx, ny] : {std::pair{1024, 2048}, {1 << 17, 4}, {64, 16384}})
        {
            const Scene scene{nx, ny, 2e-6, 1e-6, 0, false, 0};
            ExpectSame(scene, operation, 2);
            const Outcome wide = Perform(scene, operation, FFT_LIB_VENDOR, 3);
            const Cap cap(detail::Isa::Sse2);
            EXPECT_TRUE(SameBits(Perform(scene, operation, FFT_LIB_VENDOR, 1).field, wide.field)) << operation.name;
        }
}

// Kept for the second call of a kind, read from the third on; and under a limit that one table fits, or none.
TEST(Fused, KeptFactorsChangeNothing)
{
    const std::size_t usual = GetPropagationCache();
    const Operation table[] = {OPERATION(f.AsmProp(2e-3)), OPERATION(f.AsmProp(0.3)), OPERATION(f.RawAsmProp(1e-4)),
                               OPERATION(f.ExactAsmProp(2e-3)), OPERATION(f.ShiftedAsmProp(s, 1))};
    for (const auto& [nx, ny] : {std::pair{64, 64}, {128, 64}, {256, 128}, {64, 256}, {512, 256}})
        for (const std::size_t bytes : {usual, std::size_t{200000}})
        {
            const Scene scene{nx, ny, 2e-6, 1e-6, 0, false, 0};
            std::vector<Lumora> expected;
            SetPropagationCache(0);
            for (const Operation& operation : table)
                expected.push_back(Perform(scene, operation, FFT_LIB_VENDOR, 1).field);
            SetPropagationCache(bytes);
            for (const int threads : {1, 3, 1, 3})
                for (std::size_t k = 0; k < std::size(table); ++k)
                {
                    EXPECT_TRUE(SameBits(Perform(scene, table[k], FFT_LIB_VENDOR, threads).field, expected[k]))
                        << table[k].name << " on " << nx << " by " << ny << ", " << bytes << " bytes";
                }
        }
    const auto lease = [](double number)
    {
        detail::FactorKey key;
        key.Add(number);
        return std::make_unique<detail::FactorLease>(key, 1000);
    };
    SetPropagationCache(8000); // two tables
    for (const double number : {1.5, 2.5})
    {
        EXPECT_EQ(lease(number)->Table(), nullptr) << "what comes once is not kept";
        EXPECT_FALSE(lease(number)->IsFilled());
        EXPECT_FALSE(lease(number)->IsFilled()) << "what was not finished is made anew";
        lease(number)->Keep();
    }
    const auto first = lease(1.5);
    EXPECT_TRUE(first->IsFilled() && lease(2.5)->IsFilled() && lease(3.5)->Table() == nullptr);
    EXPECT_NE(lease(3.5)->Table(), nullptr);
    EXPECT_FALSE(lease(2.5)->IsFilled()) << "the one unused for longest made room";
    SetPropagationCache(0);
    std::fill_n(first->Table(), 1000, 1.0f); // stays as long as it is used
    EXPECT_EQ(lease(1.5)->Table(), nullptr);
    SetPropagationCache(usual);
    EXPECT_EQ(GetPropagationCache(), usual);
}

// The kernel of a chirp is as good as its rounding to float, about 2^-25 of its size: a transform in single precision
// would be four times worse.
TEST(Fused, ChirpKernelIsRoundedOnce)
{
    for (const std::int32_t n : {2, 64, 2048})
    {
        const double a = 0.8 / n;
        std::vector<Value> chirp(2 * static_cast<std::size_t>(n));
        for (std::int32_t i = -n; i < n; ++i)
            chirp[static_cast<std::size_t>((i + 2 * n) % (2 * n))] =
                std::polar(1.0, detail::ChirpPhase(detail::ChirpSquare(i), 0.0, a, 0.0));
        Dft(chirp, -1);
        const auto kernel = detail::AxisKernel(n, a);
        EXPECT_LT(ErrorConstant(kernel.get(), chirp) * std::sqrt(std::log2(chirp.size())), 0.6) << n;
    }
}

TEST(Fused, NotANumberSpreadsAlike)
{
    const Operation table[] = {OPERATION(f.AsmProp(1e-6)), OPERATION(f.ExactAsmProp(1e-6)),
                               OPERATION(f.ShiftedAsmProp(s, 1)), OPERATION(f.RawScaledFft(0.017, -0.3)),
                               OPERATION(f.ShiftedFresnelProp(s))};
    for (const Operation& operation : table)
    {
        const auto poisoned = [&](Lumora& f, const Lumora& s)
        {
            Lumora source(s);
            f.SetPixel(3, 2, Complex(NAN, 0.0));
            source.SetPixel(3, 2, Complex(0.0, INFINITY));
            operation.run(f, source);
        };
        ExpectSame({16, 32, 4e-6, 3e-6, 0, false, 0}, {operation.name, poisoned}, 1);
    }
}

// Each case runs in a process of its own, so that no memory of another one is reused, and tells its peak in fields.
TEST(FusedMemory, DISABLED_Child)
{
    const char* const name = std::getenv(kChild);
    ASSERT_NE(name, nullptr);
    Threads team(2); // scratch grows with the threads, about 0.8 KiB times the size per thread
    constexpr int kSize = 4096;
    const auto run = [](const Operation& operation, int size, int sourceSize)
    {
        Lumora f(size, size, 4e-6, 4e-6, kLambda), source(sourceSize, sourceSize, 4e-6, 4e-6, kLambda);
        f.SetConst(Complex(1.0, 0.0)).SetOrigin(Vector(1e-4, 0, 0.05));
        source.SetConst(Complex(1.0, 0.0));
        std::ofstream("/proc/self/clear_refs") << "5"; // the peak starts anew
        const double before = Status("VmRSS:");
        operation.run(f, source);
        return (Status("VmHWM:") - before) / (8.0 * size * size);
    };
    const Operation operation = MemoryCases().at(std::size_t(std::atoi(name))).first;
    run(operation, 512, 512); // code that is loaded and threads that are started at first use do not count
    const bool needsSource = std::strstr(operation.name, "(s") != nullptr;
    std::printf("peak %.4f fields\n", run(operation, kSize, needsSource ? kSize : 1));
}

TEST(FusedMemory, PeakBesideTheFields)
{
#if defined(LML_TEST_SANITIZED)
    GTEST_SKIP() << "an instrumented build has memory of its own";
#endif
    const auto cases = MemoryCases();
    for (std::size_t n = 0; n < cases.size(); ++n)
    {
        const auto& [operation, allowed] = cases[n];
        const std::string command = std::string(kChild) + "=" + std::to_string(n) + " '" +
                                    ::testing::internal::GetArgvs()[0] +
                                    "' --gtest_filter=FusedMemory.DISABLED_Child --gtest_also_run_disabled_tests";
        std::FILE* const pipe = popen(command.c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        double fields = -1.0;
        char line[256];
        while (std::fgets(line, sizeof line, pipe))
            std::sscanf(line, "peak %lf", &fields);
        EXPECT_EQ(pclose(pipe), 0);
        EXPECT_GT(fields, -0.5) << operation.name << " told nothing";
        EXPECT_LE(fields, allowed) << operation.name;
        std::printf("%-32s %.4f fields\n", operation.name, fields);
    }
}
