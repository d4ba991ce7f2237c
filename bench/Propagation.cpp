// Propagations beside plain programs around FFTW (MEASURE): quadrant swaps, transforms, compiled phases, scale.
#include "Bench.h"

#include <algorithm>
#include <map>
#include <memory>
#include <tuple>
#include <vector>

namespace lmlbench
{
void SwapQuadrants(Lumora& field);

namespace
{
constexpr double kPi = 3.141592653589793;

#define LML_BENCH_ROWS _Pragma("omp parallel for num_threads(GetNumThreads())")

void Scale(Lumora& field, float factor)
{
    Complex* const x = field.GetDataPointer();
    const long n = static_cast<long>(field.N());
    LML_BENCH_ROWS
    for (long i = 0; i < n; ++i)
        x[i] = Complex(x[i].Real() * factor, x[i].Imag() * factor);
}

/// The transfer function of free space on a centred spectrum, one quarter evaluated, with the band limit of the method.
void MultiplyTransfer(Lumora& f, double du, double dv, double d, bool limit)
{
    const double lambda = f.GetWavelength();
    const double c = 1.0 / (lambda * lambda);
    const int nx = f.GetNx();
    const int ny = f.GetNy();
    const auto bound = [=](double p)
    {
        return 1.0 / std::sqrt((2 * d * p) * (2 * d * p) + 1.0) / lambda;
    };
    const double ulimit = limit ? bound(du) : 1e300;
    const double vlimit = limit ? bound(dv) : 1e300;
    LML_BENCH_ROWS
    for (int j = 0; j <= ny / 2; ++j)
    {
        std::vector<Complex> h(static_cast<std::size_t>(nx));
        const double v = j * dv;
        for (int i = 0; i <= nx / 2; ++i)
        {
            const double u = i * du;
            const double w = c - v * v - u * u;
            const double phase = w > 0.0 ? 2.0 * kPi * d * std::sqrt(w) : 0.0;
            Complex value(std::cos(phase), std::sin(phase));
            if (u > ulimit || v > vlimit)
                value = Complex();
            if (i < nx / 2)
                h[static_cast<std::size_t>(nx / 2 + i)] = value;
            h[static_cast<std::size_t>(nx / 2 - i)] = value;
        }
        for (int side = 0; side < 2; ++side)
        {
            const int row = side ? ny / 2 + j : ny / 2 - j;
            if (row >= ny || (side && j == 0))
                continue;
            Complex* const x = f.GetDataPointer() + f.IJ(0, static_cast<std::size_t>(row));
            for (int i = 0; i < nx; ++i)
            {
                const Complex a = x[i];
                const Complex b = h[static_cast<std::size_t>(i)];
                x[i] = Complex(a.Real() * b.Real() - a.Imag() * b.Imag(), a.Real() * b.Imag() + a.Imag() * b.Real());
            }
        }
    }
}

void PlainAsm(Lumora& f, double d, bool limit, int threads)
{
    const double du = 1.0 / (f.GetNx() * f.GetPx());
    const double dv = 1.0 / (f.GetNy() * f.GetPy());
    SwapQuadrants(f);
    FftwTransform(f, -1, threads);
    SwapQuadrants(f);
    MultiplyTransfer(f, du, dv, d, limit);
    SwapQuadrants(f);
    FftwTransform(f, 1, threads);
    SwapQuadrants(f);
    Scale(f, static_cast<float>(1.0 / static_cast<double>(f.N())));
}

/// The factors of PlainAsm with its scale, once for each grid, distance and limit.
const Lumora& KeptFactors(const Lumora& f, double d, bool limit, bool swapped)
{
    static std::map<std::tuple<int, int, double, bool, bool>, std::unique_ptr<Lumora>> kept;
    std::unique_ptr<Lumora>& h = kept[{f.GetNx(), f.GetNy(), d, limit, swapped}];
    if (!h)
    {
        h = std::make_unique<Lumora>(f);
        const double scale = 1.0 / static_cast<double>(f.N());
        std::fill_n(h->GetDataPointer(), h->N(), Complex(scale, 0.0));
        MultiplyTransfer(*h, 1.0 / (f.GetNx() * f.GetPx()), 1.0 / (f.GetNy() * f.GetPy()), d, limit);
        if (swapped)
            SwapQuadrants(*h);
    }
    return *h;
}

void MultiplyBy(Lumora& f, const Lumora& h)
{
    Complex* const x = f.GetDataPointer();
    const Complex* const factors = h.GetDataPointer();
    const long n = static_cast<long>(f.N());
    LML_BENCH_ROWS
    for (long i = 0; i < n; ++i)
        x[i] = Complex(x[i].Real() * factors[i].Real() - x[i].Imag() * factors[i].Imag(),
                       x[i].Real() * factors[i].Imag() + x[i].Imag() * factors[i].Real());
}

/// PlainAsm with its factors kept.
void KeptAsm(Lumora& f, double d, bool limit, int threads)
{
    const Lumora& h = KeptFactors(f, d, limit, false);
    SwapQuadrants(f);
    FftwTransform(f, -1, threads);
    SwapQuadrants(f);
    MultiplyBy(f, h);
    SwapQuadrants(f);
    FftwTransform(f, 1, threads);
    SwapQuadrants(f);
}

/// And kept in the transform's order: a half shift on both sides of transform, factors and transform back cancels.
void KeptAsmWithoutSwaps(Lumora& f, double d, bool limit, int threads)
{
    const Lumora& h = KeptFactors(f, d, limit, true);
    FftwTransform(f, -1, threads);
    MultiplyBy(f, h);
    FftwTransform(f, 1, threads);
}

/// The same on a grid of twice the size.
void PlainExact(Lumora& f, double d, int threads)
{
    static Lumora big(1, 1);
    const int nx = f.GetNx();
    const int ny = f.GetNy();
    if (big.GetNx() != 2 * nx)
    {
        big.SetNx(2 * nx).SetNy(2 * ny);
        big.Init(nullptr);
        big.SetPx(f.GetPx()).SetPy(f.GetPy()).SetWavelength(f.GetWavelength());
    }
    LML_BENCH_ROWS
    for (int j = 0; j < 2 * ny; ++j)
    {
        Complex* const row = big.GetDataPointer() + big.IJ(0, static_cast<std::size_t>(j));
        std::fill(row, row + 2 * nx, Complex());
        if (j >= ny / 2 && j < ny / 2 + ny)
            std::copy_n(f.GetDataPointer() + f.IJ(0, static_cast<std::size_t>(j - ny / 2)), nx, row + nx / 2);
    }
    PlainAsm(big, d, true, threads);
    LML_BENCH_ROWS
    for (int j = 0; j < ny; ++j)
        std::copy_n(big.GetDataPointer() +
                        big.IJ(static_cast<std::size_t>(nx / 2), static_cast<std::size_t>(j + ny / 2)),
                    nx, f.GetDataPointer() + f.IJ(0, static_cast<std::size_t>(j)));
}

/// The scaled transform as a 2-D chirp convolution on doubled grids with compiled phases.
void PlainScaled(Lumora& f, double a, double b, int threads)
{
    const int nx = f.GetNx();
    const int ny = f.GetNy();
    static Lumora signal(1, 1);
    static Lumora kernel(1, 1);
    for (Lumora* g : {&signal, &kernel})
        if (g->GetNx() != 2 * nx)
        {
            g->SetNx(2 * nx).SetNy(2 * ny);
            g->Init(nullptr);
        }
    const auto phase = [=](int i, int j)
    {
        return kPi * (a * (double(i) * i) + b * (double(j) * j));
    };
    LML_BENCH_ROWS
    for (int j = 0; j < 2 * ny; ++j)
    {
        Complex* const s = signal.GetDataPointer() + signal.IJ(0, static_cast<std::size_t>(j));
        Complex* const k = kernel.GetDataPointer() + kernel.IJ(0, static_cast<std::size_t>(j));
        const int wj = j < ny ? j : j - 2 * ny;
        for (int i = 0; i < 2 * nx; ++i)
        {
            const double p = phase(i < nx ? i : i - 2 * nx, wj);
            const double cs = std::cos(p);
            const double sn = std::sin(p);
            k[i] = Complex(cs, sn);
            s[i] = i < nx && j < ny ? Complex(f.GetPixel(i, j).GetReal() * cs + f.GetPixel(i, j).GetImag() * sn,
                                              f.GetPixel(i, j).GetImag() * cs - f.GetPixel(i, j).GetReal() * sn)
                                    : Complex();
        }
    }
    FftwTransform(signal, -1, threads);
    FftwTransform(kernel, -1, threads);
    signal *= kernel;
    FftwTransform(signal, 1, threads);
    const double scale = 1.0 / (4.0 * nx * ny);
    LML_BENCH_ROWS
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i)
        {
            const double p = phase(i, j);
            const double cs = std::cos(p) * scale;
            const double sn = std::sin(p) * scale;
            const Complex z = signal.GetPixel(i, j);
            f.SetPixel(i, j, Complex(z.GetReal() * cs + z.GetImag() * sn, z.GetImag() * cs - z.GetReal() * sn));
        }
}

using Run = std::function<void(Lumora&)>;

void AddRival(const std::string& operation, int n, int threads, const char* who, const Run& run)
{
    Add(operation, who, n, threads, static_cast<double>(n) * n,
        [field = std::shared_ptr<Lumora>(), n, run]() mutable
        {
            if (!field)
            {
                field = std::make_shared<Lumora>(n, n, 4e-6);
                Fill(*field);
            }
            run(*field);
        });
}

void Pair(const std::string& operation, int n, int threads, const Run& ours, const char* who, const Run& rival)
{
    AddRival(operation, n, threads, "ours", ours);
    if (rival)
        AddRival(operation, n, threads, who, rival);
}

/// Planes of an autofocus: a stack beside the same planes by single calls on copies.
struct Planes
{
    std::vector<double> distances;
    Lumora source, copy;
    explicit Planes(int n) : source(n, n, 4e-6), copy(n, n, 4e-6)
    {
        for (int k = 0; k < 32; ++k)
            distances.push_back(0.01 + 0.0005 * k);
        Fill(source);
    }
    template <class Each>
    void Stack(StackPropagator propagator, const Each& each)
    {
        source.PropagateStack(
            distances.data(), distances.size(),
            [&](const Lumora& plane, std::size_t k) { return each(plane, k), true; }, propagator);
    }
    void Single(StackPropagator propagator)
    {
        for (const double d : distances)
        {
            copy.CopyData(source);
            propagator == STACK_ASM ? copy.AsmProp(d) : copy.ExactAsmProp(d);
        }
    }
};

void AddStack(const std::string& operation, int n, int threads, StackPropagator propagator)
{
    const double samples = 32.0 * n * n;
    const auto planes = std::make_shared<std::unique_ptr<Planes>>();
    const auto ready = [=]() -> Planes&
    {
        if (!*planes)
            *planes = std::make_unique<Planes>(n);
        return **planes;
    };
    Add(operation, "ours", n, threads, samples, [=] { ready().Stack(propagator, [](const Lumora&, std::size_t) {}); });
    Add(operation, "single calls", n, threads, samples, [=] { ready().Single(propagator); });
    if (propagator == STACK_ASM)
        Add("MeasureStack of 32, gradient", "ours", n, threads, samples,
            [=] { ready().source.MeasureStack(ready().distances.data(), 32, FOCUS_GRADIENT); });
}

void Check()
{
    Lumora a(256, 256, 4e-6);
    Fill(a);
    Lumora b(a);
    a.RawAsmProp(0.01);
    PlainAsm(b, 0.01, false, 1);
    Verify("RawAsmProp", RelativeL2(a, b), 1e-6);
    for (const auto rival : {KeptAsm, KeptAsmWithoutSwaps})
    {
        Lumora kept(a);
        Lumora plain(a);
        rival(kept, 0.01, false, 1);
        PlainAsm(plain, 0.01, false, 1);
        Verify("the rivals", RelativeL2(kept, plain), 1e-6);
    }
    a.RawScaledFft(1.0 / 400, 1.0 / 300);
    PlainScaled(b, 1.0 / 400, 1.0 / 300, 1);
    Verify("RawScaledFft", RelativeL2(a, b), 3e-6);
    a.ExactAsmProp(1e-3);
    PlainExact(b, 1e-3, 1);
    Verify("ExactAsmProp", RelativeL2(a, b),
           2e-2); // the rival's band box is symmetric, ours leaves out one row and column
    Planes planes(256);
    planes.Stack(
        STACK_ASM, [&](const Lumora& plane, std::size_t k)
        { Verify("PropagateStack", RelativeL2(plane, Lumora(planes.source).AsmProp(planes.distances[k])), 0.0); });
}
} // namespace

void AddPropagation(bool quick)
{
    Check();
    const int largest = quick ? 1024 : 8192;
    for (int n = 64; n <= largest; n *= 2)
        for (const int threads : {1, 2})
        {
            const double d = 0.1;
            // Near, the band limit leaves all; at d it leaves an eighth of the columns of 256, a half of 1024.
            for (const auto& [name, distance] : {std::pair{"AsmProp", d}, {"AsmProp, 1 mm", 1e-3}})
            {
                if (name != std::string("AsmProp") && n > 2048)
                    continue;
                Pair(
                    name, n, threads, [z = distance](Lumora& f) { f.AsmProp(z); }, "fftw program",
                    [=, z = distance](Lumora& f) { PlainAsm(f, z, true, threads); });
                if (n > 2048)
                    continue;
                AddRival(name, n, threads, "fftw program, factors kept",
                         [=, z = distance](Lumora& f) { KeptAsm(f, z, true, threads); });
                AddRival(name, n, threads, "fftw, factors kept, no swaps",
                         [=, z = distance](Lumora& f) { KeptAsmWithoutSwaps(f, z, true, threads); });
            }
            if (n < 256)
                continue;
            Pair(
                "RawAsmProp", n, threads, [d](Lumora& f) { f.RawAsmProp(d); }, "fftw program",
                [=](Lumora& f) { PlainAsm(f, d, false, threads); });
            if (n > 4096)
                continue;
            AddStack("PropagateStack of 32", n, threads, STACK_ASM);
            if (n <= 2048)
                AddStack("PropagateStack of 32, exact", n, threads, STACK_EXACT_ASM);
            Pair("AsmProp, FftLib 0", n, threads,
                 [d](Lumora& f)
                 {
                     SetFftLib(FFT_LIB_SPLIT_RADIX);
                     f.AsmProp(d);
                     SetFftLib(FFT_LIB_VENDOR);
                 },
                 "", {});
            Pair(
                "ExactAsmProp", n, threads, [d](Lumora& f) { f.ExactAsmProp(d); }, "fftw program",
                [=](Lumora& f) { PlainExact(f, d, threads); });
            Pair(
                "ShiftedAsmProp(..,1)", n, threads,
                [d, source = std::shared_ptr<Lumora>()](Lumora& f) mutable
                {
                    if (!source)
                    {
                        source = std::make_shared<Lumora>(f);
                        f.SetOrigin(Vector(0.3e-3, 0.0, d));
                    }
                    f.ShiftedAsmProp(*source, 1);
                },
                "fftw program", [=](Lumora& f) { PlainExact(f, d, threads); });
            Pair(
                "ScaledFft", n, threads, [n](Lumora& f) { f.RawScaledFft(0.8 / n, 0.7 / n) *= 1.0 / n; },
                "fftw program",
                [=](Lumora& f)
                {
                    PlainScaled(f, 0.8 / n, 0.7 / n, threads);
                    Scale(f, static_cast<float>(1.0 / n));
                });
            Pair(
                "ShiftedFresnelProp", n, threads,
                [source = std::shared_ptr<Lumora>()](Lumora& f) mutable
                {
                    if (!source)
                    {
                        source = std::make_shared<Lumora>(f);
                        f.SetOrigin(Vector(0.1e-3, 0.0, 0.2));
                    }
                    f.ShiftedFresnelProp(*source);
                },
                "fftw program",
                [=](Lumora& f)
                {
                    PlainScaled(f, 0.8 / n, 0.7 / n, threads);
                    Scale(f, static_cast<float>(1.0 / n));
                });
            if (n > 2048)
                continue;
            Pair("FourierProp", n, threads,
                 [n](Lumora& f)
                 {
                     f.SetPx(4e-6).SetPy(4e-6);
                     f.FourierProp(0.1) *= 1.0 / n;
                 },
                 "", {});
            Pair("ShiftedFresnelProp, descriptor", n, threads,
                 [source = std::shared_ptr<Lumora>(),
                  kernel = std::shared_ptr<ShiftedFresnelPropDescriptor>()](Lumora& f) mutable
                 {
                     if (!source)
                     {
                         source = std::make_shared<Lumora>(f);
                         f.SetOrigin(Vector(0.1e-3, 0.0, 0.2));
                         kernel = std::make_shared<ShiftedFresnelPropDescriptor>(0.2, f.GetPx(), f.GetPy(), *source);
                     }
                     f.ShiftedFresnelProp(*source, *kernel);
                 },
                 "", {});
            Pair("Rotate cubic 8", n, threads,
                 [source = std::shared_ptr<Lumora>()](Lumora& f) mutable
                 {
                     if (!source)
                         source = std::make_shared<Lumora>(f);
                     RMatrix rotation(RMatrix::RotationY(0.02));
                     f.Rotate(*source, rotation, nullptr, CUBIC8_INTERPOL, true);
                 },
                 "", {});
            Pair(
                "FresnelProp", n, threads,
                [n](Lumora& f)
                {
                    f.SetPx(4e-6).SetPy(4e-6);
                    f.FresnelProp(0.1) *= 1.0 / n;
                },
                "step-by-step",
                n > 1024 ? Run()
                         : Run(
                               [n](Lumora& f)
                               {
                                   SetFftLib(FFT_LIB_SPLIT_RADIX);
                                   f.SetPx(4e-6).SetPy(4e-6);
                                   f.FresnelProp(0.1) *= 1.0 / n;
                                   SetFftLib(FFT_LIB_VENDOR);
                               }));
        }
}
} // namespace lmlbench
