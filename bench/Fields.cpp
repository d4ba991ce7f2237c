// Element-wise operations, resampling and rotation beside the loops as written in plain C++.
#include "Bench.h"
#include "field/CubicKernels.h"

#include <vector>

namespace lmlbench
{
namespace
{
using Run = std::function<void(Lumora&)>;

void Pair(const std::string& operation, int n, int threads, const Run& ours, const char* who, const Run& rival,
          double pitch = 1e-6)
{
    for (const auto& [name, run] : {std::pair<std::string, Run>{"ours", ours}, {who, rival}})
        Add(operation, name, n, threads, static_cast<double>(n) * n,
            [field = std::shared_ptr<Lumora>(), n, run = run, pitch]() mutable
            {
                if (!field)
                {
                    field = std::make_shared<Lumora>(n, n, pitch);
                    Fill(*field);
                }
                run(*field);
            });
}

/// Runs on the step-by-step side of the library: plain loops, one sample after the other.
Run Plain(const Run& run)
{
    return [run](Lumora& f)
    {
        SetFftLib(FFT_LIB_SPLIT_RADIX);
        run(f);
        SetFftLib(FFT_LIB_VENDOR);
    };
}

/// The 8-point cubic with both kernels evaluated at every tap.
Complex Naive8(const Lumora& s, double u, double v)
{
    const auto index = [](double half, double c, double p)
    {
        return std::trunc((half + c / p) * 10000.0) / 10000.0;
    };
    const double x = index(s.GetNx() * 0.5, u, s.GetPx());
    const double y = index(s.GetNy() * 0.5, v, s.GetPy());
    float re = 0.0f;
    float im = 0.0f;
    for (int j = static_cast<int>(std::ceil(y - 4)); j <= static_cast<int>(std::floor(y + 4)); ++j)
        for (int i = static_cast<int>(std::ceil(x - 4)); i <= static_cast<int>(std::floor(x + 4)); ++i)
        {
            const float w =
                static_cast<float>(detail::CubicAt(detail::kCubic8, i - x) * detail::CubicAt(detail::kCubic8, j - y));
            if (i < 0 || i >= s.GetNx() || j < 0 || j >= s.GetNy())
                continue;
            const Complex z = s.GetPixel(i, j);
            re += z.Real() * w;
            im += z.Imag() * w;
        }
    return Complex(re, im);
}

/// The lookup of RotateFs as a loop over samples, without the energy match.
void NaiveRotate(Lumora& f, const Lumora& source, const RMatrix& rotation)
{
    const RMatrix inverse = rotation.GetInverse();
    const double limit = 1.0 / (f.GetWavelength() * f.GetWavelength());
    const double cu = rotation.GetElement(2, 0) * std::sqrt(limit);
    const double cv = rotation.GetElement(2, 1) * std::sqrt(limit);
    for (int j = 0; j < f.GetNy(); ++j)
        for (int i = 0; i < f.GetNx(); ++i)
        {
            const double u = f.X(i);
            const double v = f.Y(j);
            const double rest = limit - (u + cu) * (u + cu) - (v + cv) * (v + cv);
            if (u * u + v * v >= limit || rest <= 0.0)
            {
                f.SetPixel(i, j, Complex());
                continue;
            }
            const double w = std::sqrt(rest);
            const auto row = [&](int r)
            {
                return inverse.GetElement(0, r) * (u + cu) + inverse.GetElement(1, r) * (v + cv) +
                       inverse.GetElement(2, r) * w;
            };
            f.SetPixel(i, j, Naive8(source, row(0), row(1)));
        }
}
} // namespace

void AddFields(bool quick)
{
    const int n = quick ? 512 : 2048;
    for (const int threads : {1, 2})
    {
        const auto sweep = [&](const char* name, const Run& run)
        {
            Pair(name, n, threads, run, "loop as written", Plain(run));
        };
        sweep("polar and back", [](Lumora& f) { f.SetConstWinPhase(0.0); });
        sweep("ConvToIntensity", [](Lumora& f) { f.ConvToIntensity(); });
        sweep("ConvToLogIntensity", [](Lumora& f) { f.ConvToLogIntensity(); });
        sweep("Normalize", [](Lumora& f) { f.Normalize(1.0); });
        sweep("operator*=(field)", [](Lumora& f) { f *= f; });
        sweep("GetAmplitudeMax", [](Lumora& f) { benchmark::DoNotOptimize(f.GetAmplitudeMax()); });
        sweep("GetSquareSum", [](Lumora& f) { benchmark::DoNotOptimize(f.GetSquareSum()); });
    }
    const int m = quick ? 256 : 1024;
    const std::pair<const char*, Interpol> kernels[] = {{"linear", LINEAR_INTERPOL},     {"cubic 4", CUBIC4_INTERPOL},
                                                        {"cubic 6", CUBIC6_INTERPOL},    {"cubic 8", CUBIC8_INTERPOL},
                                                        {"adjacent", ADJACENT_INTERPOL}, {"bicubic", BICUBIC_INTERPOL},
                                                        {"bilinear", BILINEAR_INTERPOL}};
    for (const auto& [name, kernel] : kernels)
    {
        auto source = std::make_shared<Lumora>(m, m, 1.1e-6);
        Fill(*source, 7);
        const Run run = [source, kernel = kernel](Lumora& f)
        {
            f.ResamplingCopy(*source, kernel);
        };
        Pair(std::string("ResamplingCopy ") + name, m, 1, run, "loop as written", Plain(run));
    }
    auto source = std::make_shared<Lumora>(m, m, 1e-6);
    Fill(*source, 9);
    source->Fft(-1);
    auto rotation = std::make_shared<RMatrix>(RMatrix::RotationY(5.0 * Deg));
    for (const int threads : {1, 2})
        Pair(
            "RotateFs cubic 8", m, threads,
            [=](Lumora& f)
            {
                f.Form() = SPECTRUM;
                f.RotateFs(*source, *rotation, nullptr, CUBIC8_INTERPOL, false);
            },
            "loop as written",
            [=](Lumora& f)
            {
                f.Form() = SPECTRUM;
                NaiveRotate(f, *source, *rotation);
            },
            1.0 / (m * 1e-6));
}
} // namespace lmlbench
