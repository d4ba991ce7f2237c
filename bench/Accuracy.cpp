// Accuracy beside speed: relative l2 error of each fused form and of its step-by-step form against a reference in
// double. Prints Markdown rows.
#include "LmlLumora.h"

#include <fftw3.h>

#include <cmath>
#include <complex>
#include <cstdio>
#include <functional>
#include <vector>

namespace
{
using namespace LumoraLib;
using Grid = std::vector<std::complex<double>>;
constexpr double kPi = 3.141592653589793;

void Fill(Lumora& f)
{
    unsigned s = 5;
    for (std::size_t n = 0; n < f.N(); ++n)
    {
        s = s * 1664525u + 1013904223u;
        const float re = static_cast<float>(static_cast<int>(s)) * 4.656612873e-10f;
        s = s * 1664525u + 1013904223u;
        f[n] = Complex(re, static_cast<float>(static_cast<int>(s)) * 4.656612873e-10f);
    }
}

Grid Widen(const Lumora& f)
{
    Grid g(f.N());
    for (std::size_t n = 0; n < f.N(); ++n)
        g[n] = {f.GetDataPointer()[n].GetReal(), f.GetDataPointer()[n].GetImag()};
    return g;
}

/// Centred, unscaled transform in double.
void Transform(Grid& g, int nx, int ny, int sign)
{
    const auto shift = [&]
    {
        Grid t(g.size());
        for (int j = 0; j < ny; ++j)
            for (int i = 0; i < nx; ++i)
                t[static_cast<std::size_t>(((j + ny / 2) % ny) * nx + (i + nx / 2) % nx)] =
                    g[static_cast<std::size_t>(j * nx + i)];
        g.swap(t);
    };
    shift();
    auto* const p = reinterpret_cast<fftw_complex*>(g.data());
    const fftw_plan plan = fftw_plan_dft_2d(ny, nx, p, p, sign < 0 ? FFTW_FORWARD : FFTW_BACKWARD, FFTW_ESTIMATE);
    fftw_execute(plan);
    fftw_destroy_plan(plan);
    shift();
}

double Error(const Lumora& f, const Grid& reference)
{
    double num = 0.0;
    double den = 0.0;
    for (std::size_t n = 0; n < f.N(); ++n)
    {
        const std::complex<double> v(f.GetDataPointer()[n].GetReal(), f.GetDataPointer()[n].GetImag());
        num += std::norm(v - reference[n]);
        den += std::norm(reference[n]);
    }
    return std::sqrt(num / den);
}

void Row(const char* name, const Lumora& start, const std::function<void(Lumora&)>& operation, const Grid& reference)
{
    double errors[2];
    for (const FftLib lib : {FFT_LIB_SPLIT_RADIX, FFT_LIB_VENDOR})
    {
        SetFftLib(lib);
        Lumora f(start);
        operation(f);
        errors[lib == FFT_LIB_SPLIT_RADIX ? 0 : 1] = Error(f, reference);
    }
    std::printf("| %s | %d² | %.2e | %.2e |\n", name, start.GetNx(), errors[1], errors[0]);
}

/// RawAsmProp and AsmProp in double.
Grid Asm(const Lumora& f, double d, bool limit)
{
    const int nx = f.GetNx();
    const int ny = f.GetNy();
    Grid g = Widen(f);
    Transform(g, nx, ny, -1);
    const double lambda = f.GetWavelength();
    const double c = 1.0 / (lambda * lambda);
    const double du = 1.0 / (nx * f.GetPx());
    const double dv = 1.0 / (ny * f.GetPy());
    const auto box = [&](double p, int n, int& low, int& high)
    {
        const double bound = 1.0 / std::sqrt((p * d * 2) * (p * d * 2) + 1.0) / lambda;
        low = 0;
        high = n;
        if (limit && (n / 2) * p > bound)
        {
            low = static_cast<int>(std::floor(-bound / p + 0.5)) + n / 2;
            high = static_cast<int>(std::floor(bound / p + 0.5)) + n / 2;
        }
    };
    int i0, i1, j0, j1;
    box(du, nx, i0, i1);
    box(dv, ny, j0, j1);
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i)
        {
            const double u = (i - nx / 2) * du;
            const double v = (j - ny / 2) * dv;
            const double w = c - v * v - u * u;
            std::complex<double>& s = g[static_cast<std::size_t>(j * nx + i)];
            if (i < i0 || i >= i1 || j < j0 || j >= j1)
                s = 0.0;
            else if (w > 0.0)
                s *= std::polar(1.0, 2.0 * kPi * d * std::sqrt(w));
        }
    Transform(g, nx, ny, 1);
    for (auto& s : g)
        s /= static_cast<double>(f.N());
    return g;
}

/// The shifted angular spectrum on a grid of twice the size, in double.
Grid Shifted(const Lumora& f, double x0, double y0, double z0)
{
    const int nx = f.GetNx();
    const int ny = f.GetNy();
    const int wide = 2 * nx;
    const int high = 2 * ny;
    Grid g(4 * f.N());
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i)
        {
            const Complex v = f.GetPixel(i, j);
            g[static_cast<std::size_t>((j + ny / 2) * wide + i + nx / 2)] = {v.GetReal(), v.GetImag()};
        }
    Transform(g, wide, high, -1);
    const double lambda = f.GetWavelength();
    const double du = 1.0 / (wide * f.GetPx());
    const double dv = 1.0 / (high * f.GetPy());
    const auto inside = [&](double frequency, double shift, double pitch)
    {
        // The shift lies within half the grid here, so that the band holds frequency 0.
        const auto bound = [&](double s)
        {
            return 1.0 / std::sqrt(z0 * z0 / (s * s) + 1.0) / lambda;
        };
        const double half = 1.0 / (2.0 * pitch);
        return frequency > -bound(shift - half) && frequency < bound(shift + half);
    };
    for (int j = 0; j < high; ++j)
        for (int i = 0; i < wide; ++i)
        {
            const double u = (i - nx) * du;
            const double v = (j - ny) * dv;
            std::complex<double>& s = g[static_cast<std::size_t>(j * wide + i)];
            s = inside(u, x0, du) && inside(v, y0, dv)
                    ? s * std::polar(1.0,
                                     2.0 * kPi *
                                         (x0 * u + y0 * v + z0 * std::sqrt(1.0 / (lambda * lambda) - u * u - v * v)))
                    : 0.0;
        }
    Transform(g, wide, high, 1);
    Grid out(f.N());
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i)
            out[static_cast<std::size_t>(j * nx + i)] =
                g[static_cast<std::size_t>((j + ny / 2) * wide + i + nx / 2)] / static_cast<double>(g.size());
    return out;
}

/// The raw scaled sum along one axis after the other, in double.
Grid Scaled(const Lumora& f, double a, double b)
{
    const int nx = f.GetNx();
    const int ny = f.GetNy();
    const Grid g = Widen(f);
    Grid rows(g.size());
    for (int j = 0; j < ny; ++j)
        for (int k = 0; k < nx; ++k)
        {
            std::complex<double> sum = 0.0;
            for (int i = 0; i < nx; ++i)
                sum += g[static_cast<std::size_t>(j * nx + i)] * std::polar(1.0, -2.0 * kPi * a * k * i);
            rows[static_cast<std::size_t>(j * nx + k)] = sum;
        }
    Grid out(g.size());
    for (int l = 0; l < ny; ++l)
        for (int k = 0; k < nx; ++k)
        {
            std::complex<double> sum = 0.0;
            for (int j = 0; j < ny; ++j)
                sum += rows[static_cast<std::size_t>(j * nx + k)] * std::polar(1.0, -2.0 * kPi * b * l * j);
            out[static_cast<std::size_t>(l * nx + k)] = sum;
        }
    return out;
}
} // namespace

int main()
{
    std::printf("| Operation | Grid | Wide and fused | Step by step |\n|---|---|---|---|\n");
    for (const int n : {256, 1024, 4096})
    {
        Lumora f(n, n, 4e-6);
        Fill(f);
        Grid spectrum = Widen(f);
        Transform(spectrum, n, n, -1);
        Row(
            "`Fft`", f, [](Lumora& x) { x.Fft(-1); }, spectrum);
        Row(
            "`RawAsmProp`, 0.1 m", f, [](Lumora& x) { x.RawAsmProp(0.1); }, Asm(f, 0.1, false));
        Row(
            "`AsmProp`, 0.1 m", f, [](Lumora& x) { x.AsmProp(0.1); }, Asm(f, 0.1, true));
        if (n <= 1024)
            Row(
                "`ShiftedAsmProp`, 1 cm", f,
                [](Lumora& x)
                {
                    Lumora target(x);
                    target.SetOrigin(Vector(1e-4, -2e-4, 0.01)).ShiftedAsmProp(x, 1);
                    x = target;
                },
                Shifted(f, 1e-4, -2e-4, 0.01));
        if (n <= 256)
            Row(
                "`RawScaledFft`", f, [n](Lumora& x) { x.RawScaledFft(0.8 / n, 0.7 / n); }, Scaled(f, 0.8 / n, 0.7 / n));
    }
    return 0;
}
