// The library inside a program's own threads: every heavy operation from one thread of a parallel region, and from a
// thread beside one, ends and gives the samples that it gives alone.
#include "TestTools.h"

#include <omp.h>
#include <thread>
#include <unistd.h>

using namespace lmltest;

namespace
{
struct Operation
{
    const char* name;
    int nx, ny;
    std::function<void(Lumora&)> run;
};

// clang-format off
const std::vector<Operation> kOperations = {
    {"Fft", 256, 256, [](Lumora& f) { f.Fft(-1).Fft(1); }},
    {"Fft 64", 64, 64, [](Lumora& f) { f.Fft(-1); }},
    {"Fft long", 1 << 17, 1, [](Lumora& f) { f.Fft(-1); }},
    {"Fft long rows", 1 << 17, 2, [](Lumora& f) { f.Fft(1); }},
    {"FresnelProp", 256, 256, [](Lumora& f) { f.FresnelProp(0.1); }},
    {"FourierProp", 256, 128, [](Lumora& f) { f.FourierProp(0.1).BackFourierProp(0.1); }},
    {"AsmProp", 256, 256, [](Lumora& f) { f.AsmProp(1e-3); }},
    {"ExactAsmProp", 128, 128, [](Lumora& f) { f.ExactAsmProp(1e-3); }},
    {"ExactAsmProp polar", 128, 128, [](Lumora& f) { f.ConvToPolarForm().ExactAsmProp(1e-3); }},
    {"_Old_SPWProp", 128, 128, [](Lumora& f) { f._Old_SPWProp(1e-3); }},
    {"ShiftedAsmProp", 128, 128,
     [](Lumora& f)
     {
         const Lumora source(f);
         f.SetOrigin(Vector(1e-5, 2e-5, 1e-3));
         f.ShiftedAsmProp(source, 1);
     }},
    {"ShiftedFresnelProp", 128, 128, [](Lumora& f) { f.ShiftedFresnelProp(Vector(1e-4, 0, 0.1), 2e-6, 3e-6); }},
    {"ScaledFft", 128, 128, [](Lumora& f) { f.ScaledFft(-0.5, -0.25); }},
    {"ScaledFft1d", 4096, 1, [](Lumora& f) { f.ScaledFft1d(-0.5); }},
    {"RotateFs", 128, 128,
     [](Lumora& f)
     {
         f.Form() = SPECTRUM;
         const Lumora source(f);
         RMatrix r(RMatrix::RotationY(0.1));
         f.RotateFs(source, r, nullptr, CUBIC8_INTERPOL, true);
     }},
    {"RotateY", 128, 128, [](Lumora& f) { f.RotateY(0.1, nullptr); }},
    {"ResamplingCopy", 128, 128,
     [](Lumora& f)
     {
         const Lumora source(f);
         f.SetPx(1.7e-6).SetPy(1.3e-6);
         f.ResamplingCopy(source, CUBIC6_INTERPOL);
     }},
    {"point sources", 128, 128,
     [](Lumora& f)
     {
         f.AddSphericalWave(Vector(0, 0, 1e-2));
         f.AddSphericalWaveSqr({f.GetWavelength(), f.GetPx(), f.GetPx(), Vector::K()}, 0, 0, 1e-3, 1, 0, WINDOW_RECT);
         f.InitSphericalWaveSQR(Vector::K());
         f.AddSphericalWaveSQR(0, 0, 1e-3, 1, 0, WINDOW_RECT);
         f.InitSphericalWaveRF(0, 0);
         f.AddSphericalWaveRF(0, 0, 1e-3, 1, 0, WINDOW_RECT);
     }},
    {"measures and forms", 512, 512,
     [](Lumora& f)
     {
         static_cast<void>(f.GetSquareSum() + f.GetAmplitudeAverage());
         f.Normalize(1.0).ConvToPolarForm().ConvToComplexForm().SetQuadraticPhase(0.1).Embed(1);
         f.ShiftZeroFill(3, 5).Extract(1).ConvToIntensity();
     }},
};
// clang-format on

/// What stands around a call: how a program comes to its one library call at a time.
struct Surrounding
{
    const char* name;
    std::function<void(const std::function<void()>&)> run;
};

const std::vector<Surrounding> kSurroundings = {
    {"single",
     [](const std::function<void()>& call)
     {
#pragma omp parallel num_threads(3)
#pragma omp single
         call();
     }},
    {"master",
     [](const std::function<void()>& call)
     {
#pragma omp parallel num_threads(2)
         {
#pragma omp master
             call();
#pragma omp barrier
         }
     }},
    {"thread beside a region",
     [](const std::function<void()>& call)
     {
#pragma omp parallel num_threads(2)
#pragma omp single
         std::thread(call).join();
     }},
};
} // namespace

TEST(Parallel, OperationsEndInsideAProgramsOwnThreads)
{
    ::alarm(200); // an operation that waits for ever ends the program and not the suite's patience
    for (const FftLib lib : {FFT_LIB_SPLIT_RADIX, FFT_LIB_VENDOR})
        for (const Operation& operation : kOperations)
        {
            const Engine engine(lib);
            Lumora source(operation.nx, operation.ny, 2e-6);
            FillRandom(source);
            Lumora expected(source);
            operation.run(expected);
            for (const Surrounding& surrounding : kSurroundings)
                for (const int count : {1, 2, 4})
                {
                    const Threads threads(count);
                    Lumora f(source);
                    surrounding.run([&] { operation.run(f); });
                    EXPECT_TRUE(SameBits(f, expected)) << operation.name << ", " << surrounding.name << ", " << count;
                }
        }
    ::alarm(0);
}
