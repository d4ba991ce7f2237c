// Transforms beside single-precision FFTW, planned with MEASURE: raw 2-D and 1-D, and the centred transform of a field.
#include "Bench.h"
#include "transform/EngineTable.h"

#include <algorithm>

namespace lmlbench
{
/// Diagonal exchange of quadrants as a program around FFTW does it, rows over the threads.
void SwapQuadrants(Lumora& field)
{
    const int nx = field.GetNx();
    const int ny = field.GetNy();
    Complex* const x = field.GetDataPointer();
#pragma omp parallel for num_threads(GetNumThreads())
    for (int j = 0; j < ny / 2; ++j)
    {
        Complex* const a = x + static_cast<std::size_t>(nx) * static_cast<std::size_t>(j);
        Complex* const b = a + static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny / 2);
        std::swap_ranges(a, a + nx / 2, b + nx / 2);
        std::swap_ranges(a + nx / 2, a + nx, b);
    }
}

namespace
{
void Check(int nx, int ny)
{
    Lumora a(nx, ny);
    Fill(a);
    Lumora b(a);
    if (ny == 1)
        detail::fftBinding.transform1d(a.GetDataPointer(), nx, -1);
    else
        detail::fftBinding.transform2d(a.GetDataPointer(), nx, ny, -1);
    FftwTransform(b, -1, 1);
    Verify("transform", RelativeL2(a, b), 1e-6);
}

void Pair(const std::string& operation, int nx, int ny, int threads, const std::function<void(Lumora&, int)>& ours,
          const std::function<void(Lumora&, int)>& rival, const char* who)
{
    const double samples = static_cast<double>(nx) * ny;
    const auto add = [&](const std::string& name, const std::function<void(Lumora&, int)>& run)
    {
        // The directions alternate, so that a centred field keeps its pitches.
        Add(operation, name, nx, threads, samples,
            [rounds = std::make_shared<Rounds>(nx, ny), run, sign = -1]() mutable
            {
                run(rounds->Next(), sign);
                sign = -sign;
            });
    };
    add("ours", ours);
    add(who, rival);
}
} // namespace

void AddTransforms(bool quick)
{
    const int largest = quick ? 1024 : 8192;
    for (int n = 256; n <= largest; n *= 2)
    {
        if (n <= 1024)
            Check(n, n);
        for (const int threads : {1, 2})
        {
            const auto fftw = [threads](Lumora& f, int sign)
            {
                FftwTransform(f, sign, threads);
            };
            Pair(
                "Transform2d", n, n, threads,
                [](Lumora& f, int sign)
                { detail::fftBinding.transform2d(f.GetDataPointer(), f.GetNx(), f.GetNy(), sign); },
                fftw, "fftw");
            Pair(
                "Fft", n, n, threads, [](Lumora& f, int sign) { f.Fft(sign); },
                [fftw](Lumora& f, int sign)
                {
                    SwapQuadrants(f);
                    fftw(f, sign);
                    SwapQuadrants(f);
                },
                "fftw+swaps");
            if (n <= 4096)
                Add("Fft, FftLib 0", "ours", n, threads, static_cast<double>(n) * n,
                    [rounds = std::make_shared<Rounds>(n, n), sign = -1]() mutable
                    {
                        SetFftLib(FFT_LIB_SPLIT_RADIX);
                        rounds->Next().Fft(sign);
                        SetFftLib(FFT_LIB_VENDOR);
                        sign = -sign;
                    });
        }
    }
    // One linear sweep over a grid, read and written in place: what memory alone costs a pass.
    const int sweep = quick ? 1024 : 4096;
    for (const int threads : {1, 2})
        Add("Sweep (read and write)", "ours", sweep, threads, static_cast<double>(sweep) * sweep,
            [rounds = std::make_shared<Rounds>(sweep, sweep)] { rounds->Next() *= 1.0; });
    for (int n = 256; n <= (quick ? 1 << 16 : 1 << 20); n *= 4)
    {
        Check(n, 1);
        for (const int threads : {1, 2})
            Pair(
                "Transform1d", n, 1, threads,
                [](Lumora& f, int sign) { detail::fftBinding.transform1d(f.GetDataPointer(), f.GetNx(), sign); },
                [forward = PlanOf(n, 1, -1, threads), back = PlanOf(n, 1, 1, threads)](Lumora& f, int sign)
                { fftwf_execute_dft(sign < 0 ? forward : back, Fftw(f), Fftw(f)); },
                "fftw");
    }
}
} // namespace lmlbench
