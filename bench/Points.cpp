// Point sources beside the scalar loops of the C library's sine, cosine and square root.
#include "Bench.h"
#include "simd/WidePhase.h"

#include <vector>

namespace lmlbench
{
void SleefWide(const double* x, double* s, double* c, int count);

namespace
{
constexpr double kPi = 3.141592653589793;

void ScalarExact(Lumora& f, double x0, double y0, double z0, double amp)
{
    const double k = f.GetWavenumber();
    for (int j = 0; j < f.GetNy(); ++j)
        for (int i = 0; i < f.GetNx(); ++i)
        {
            const double x = f.X(i);
            const double y = f.Y(j);
            const double r = std::sqrt((x - x0) * (x - x0) + ((y - y0) * (y - y0) + z0 * z0));
            const double a = amp / r;
            Complex& s = f.Pixel(i, j);
            s.real() += static_cast<float>(a * std::cos(k * r));
            s.imag() += static_cast<float>(a * std::sin(k * r));
        }
}

/// The table loop as written: one square root, one truncation and two table reads for each sample.
void ScalarTable(Lumora& f, const std::vector<double>& c, const std::vector<double>& s, double z0, double amp)
{
    const double factor = 1024.0 / f.GetWavelength();
    double y = f.Y(0);
    for (int j = 0; j < f.GetNy(); ++j, y += f.GetPy())
    {
        double x = f.X(0);
        for (int i = 0; i < f.GetNx(); ++i, x += f.GetPx())
        {
            const double r = std::sqrt(x * x + (y * y + z0 * z0));
            const int n = static_cast<int>(factor * r) & 1023;
            Complex& z = f.Pixel(i, j);
            z.real() += static_cast<float>(c[static_cast<std::size_t>(n)] * amp);
            z.imag() += static_cast<float>(s[static_cast<std::size_t>(n)] * amp);
        }
    }
}
} // namespace

/// Sine and cosine of phases as a transfer function has them, up to 1e6 radians.
static void AddSinCos()
{
    constexpr int kCount = 4096;
    auto x = std::make_shared<std::vector<double>>(kCount);
    auto s = std::make_shared<std::vector<double>>(kCount);
    auto c = std::make_shared<std::vector<double>>(kCount);
    for (int n = 0; n < kCount; ++n)
        (*x)[static_cast<std::size_t>(n)] = 1e6 - n * 17.3;
    Add("sine and cosine", "ours", kCount, 1, kCount,
        [=] { detail::Phases().sinCos(x->data(), kCount, s->data(), c->data()); });
    Add("sine and cosine", "libm", kCount, 1, kCount,
        [=]
        {
            for (std::size_t n = 0; n < kCount; ++n)
            {
                (*s)[n] = std::sin((*x)[n]);
                (*c)[n] = std::cos((*x)[n]);
            }
            benchmark::ClobberMemory();
        });
#ifdef LML_BENCH_SLEEF
    if (__builtin_cpu_supports("avx512f"))
    {
        Add("sine and cosine, wide", "ours", kCount, 1, kCount,
            [=] { detail::Phases().sinCos(x->data(), kCount, s->data(), c->data()); });
        Add("sine and cosine, wide", "SLEEF u10 AVX-512", kCount, 1, kCount,
            [=] { SleefWide(x->data(), s->data(), c->data(), kCount); });
    }
#endif
}

void AddPoints(bool quick)
{
    AddSinCos();
    std::vector<double> c(1024);
    std::vector<double> s(1024);
    for (int n = 0; n < 1024; ++n)
    {
        c[static_cast<std::size_t>(n)] = std::cos(2.0 * kPi * n / 1024);
        s[static_cast<std::size_t>(n)] = std::sin(2.0 * kPi * n / 1024);
    }
    // Both table families share one set of tables; without a window their limits do not matter.
    Lumora(4, 4, 1e-6).InitSphericalWaveRF(0.0, 0.0);
    for (const int n : {256, 1024, quick ? 1024 : 4096})
    {
        const double samples = static_cast<double>(n) * n;
        const auto make = [n]
        {
            auto f = std::make_shared<Lumora>(n, n, 1e-6);
            f->Clear();
            return f;
        };
        const double z = -1.0; // far enough that the patch is the whole grid
        const auto add = [&](const std::string& operation, const std::string& who, int threads,
                             const std::function<void(Lumora&)>& run)
        {
            Add(operation, who, n, threads, samples,
                [f = std::shared_ptr<Lumora>(), make, run]() mutable
                {
                    if (!f)
                        f = make();
                    run(*f);
                });
        };
        add("point exact", "ours", 1,
            [z](Lumora& f) { f.AddSphericalWave(Vector(0, 0, z), Phase(0), 1.0, WINDOW_RECT); });
        add("point exact", "scalar libm", 1, [z](Lumora& f) { ScalarExact(f, 0, 0, z, 1.0); });
        add("point exact", "ours", 2,
            [z](Lumora& f) { f.AddSphericalWave(Vector(0, 0, z), Phase(0), 1.0, WINDOW_RECT); });
        add("point table", "ours", 1, [z](Lumora& f) { f.AddSphericalWaveSQR(0, 0, z, 1.0, 0.0, WINDOW_NONE); });
        add("point table", "scalar loop", 1, [c, s, z](Lumora& f) { ScalarTable(f, c, s, z, 1.0); });
        const auto recurrence = [z](Lumora& f)
        {
            f.AddSphericalWaveRF(0, 0, z, 1.0, 0.0, WINDOW_NONE);
        };
        add("point recurrence", "ours", 1, recurrence);
        add("point recurrence", "scalar loop", 1,
            [recurrence](Lumora& f)
            {
                SetFftLib(FFT_LIB_SPLIT_RADIX);
                recurrence(f);
                SetFftLib(FFT_LIB_VENDOR);
            });
        if (n == 1024 && quick)
            break;
    }
}
} // namespace lmlbench
