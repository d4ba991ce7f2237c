// Accuracy beside speed: the errors of every fused operation, and of its step-by-step form, against a reference in
// double. Prints two Markdown tables; ends with 2 where the l2 error of a fused operation is above kMost.
//
//   lml_accuracy [LARGEST]        grids from 256 to LARGEST (8192: 8 GiB of memory, some minutes)
//
// A cell holds the relative l2 error and the largest error of a sample, as part of the largest amplitude.
#include "LmlLumora.h"

#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace
{
using namespace LumoraLib;
using Value = std::complex<double>;
using Grid = std::vector<Value>;
constexpr double kPi = 3.141592653589793;
constexpr double kMost = 4e-7;

// ------------------------------------------------------------------------------------------- transforms in double

std::size_t At(int nx, int i, int j)
{
    return static_cast<std::size_t>(j) * static_cast<std::size_t>(nx) + static_cast<std::size_t>(i);
}

/// visit(j) for all rows, divided over the threads.
template <class Visit>
void ForRows(int ny, const Visit& visit)
{
#pragma omp parallel for schedule(static)
    for (int j = 0; j < ny; ++j)
        visit(j);
}

/// line(x) for every row of the grid.
template <class Line>
void AlongRows(Grid& g, int nx, int ny, const Line& line)
{
    ForRows(ny, [&](int j) { line(g.data() + At(nx, 0, j)); });
}

/// line(x) for every column, copied out and back some columns at once.
template <class Line>
void AlongColumns(Grid& g, int nx, int ny, const Line& line)
{
    constexpr int kColumns = 16;
    ForRows(nx / kColumns,
            [&](int strip)
            {
                Grid columns(At(ny, 0, kColumns));
                for (int j = 0; j < ny; ++j)
                    for (int i = 0; i < kColumns; ++i)
                        columns[At(ny, j, i)] = g[At(nx, strip * kColumns + i, j)];
                for (int i = 0; i < kColumns; ++i)
                    line(columns.data() + At(ny, 0, i));
                for (int j = 0; j < ny; ++j)
                    for (int i = 0; i < kColumns; ++i)
                        g[At(nx, strip * kColumns + i, j)] = columns[At(ny, j, i)];
            });
}

/// An unscaled transform of one line, in place, on any thread.
class Plan
{
public:
    Plan(int n, int sign)
    {
        Grid room(static_cast<std::size_t>(n));
        plan_ = fftw_plan_dft_1d(n, Of(room.data()), Of(room.data()), sign, FFTW_ESTIMATE | FFTW_UNALIGNED);
    }
    ~Plan() { fftw_destroy_plan(plan_); }
    Plan(const Plan&) = delete;
    Plan& operator=(const Plan&) = delete;
    void operator()(Value* x) const { fftw_execute_dft(plan_, Of(x), Of(x)); }

private:
    static fftw_complex* Of(Value* x) { return reinterpret_cast<fftw_complex*>(x); }
    fftw_plan plan_;
};

/// The same with the origin at index n / 2 on both sides (n a multiple of 4): a half shift is a sign pattern on the
/// other side.
class CentredLine
{
public:
    CentredLine(int n, int sign) : n_(n), plan_(n, sign) {}
    void operator()(Value* x) const
    {
        Signs(x);
        plan_(x);
        Signs(x);
    }

private:
    void Signs(Value* x) const
    {
        for (int i = 1; i < n_; i += 2)
            x[i] = -x[i];
    }
    int n_;
    Plan plan_;
};

void Transform(Grid& g, int nx, int ny, int sign)
{
    AlongRows(g, nx, ny, CentredLine(nx, sign));
    AlongColumns(g, nx, ny, CentredLine(ny, sign));
}

/// Sums of n samples, x'[k] = sum over i of x[i] exp(-2 pi i a (k - out) (i - in)): a transform of any pitch between
/// origins at `in` and `out`, by 2 k i = k k + i i - (k - i)(k - i).
class ScaledLine
{
public:
    ScaledLine(int n, double a, double in, double out)
        : n_(n), there_(2 * n, -1), back_(2 * n, 1), before_(Size(n)), after_(Size(n)), kernel_(Size(2 * n))
    {
        for (int i = 0; i < n; ++i)
        {
            const double square = double(i) * i;
            before_[Size(i)] = std::polar(1.0, kPi * a * (2.0 * out * i - square));
            after_[Size(i)] = std::polar(0.5 / n, kPi * a * (2.0 * in * i - square - 2.0 * in * out));
            kernel_[Size(i)] = std::polar(1.0, kPi * a * square);
            if (i > 0)
                kernel_[Size(2 * n - i)] = kernel_[Size(i)];
        }
        there_(kernel_.data());
    }
    void operator()(Value* x) const
    {
        Grid y(Size(2 * n_));
        for (std::size_t i = 0; i < Size(n_); ++i)
            y[i] = x[i] * before_[i];
        there_(y.data());
        for (std::size_t i = 0; i < Size(2 * n_); ++i)
            y[i] *= kernel_[i];
        back_(y.data());
        for (std::size_t i = 0; i < Size(n_); ++i)
            x[i] = y[i] * after_[i];
    }

private:
    static std::size_t Size(int n) { return static_cast<std::size_t>(n); }
    int n_;
    Plan there_, back_;
    Grid before_, after_, kernel_;
};

/// g[i, j] := g[i, j] * factor(i, j).
template <class Factor>
void Multiply(Grid& g, int nx, int ny, const Factor& factor)
{
    ForRows(ny,
            [&](int j)
            {
                for (int i = 0; i < nx; ++i)
                    g[At(nx, i, j)] *= factor(i, j);
            });
}

// ----------------------------------------------------------------------------------------- the operations in double

Value Widened(const Complex& v)
{
    return {v.GetReal(), v.GetImag()};
}

/// The field in the middle of a grid so many times larger along both axes.
Grid Widen(const Lumora& f, int times = 1)
{
    const int nx = f.GetNx();
    const int ny = f.GetNy();
    Grid g(f.N() * static_cast<std::size_t>(times * times));
    ForRows(ny,
            [&](int j)
            {
                for (int i = 0; i < nx; ++i)
                    g[At(times * nx, i + (times - 1) * nx / 2, j + (times - 1) * ny / 2)] =
                        Widened(f.GetDataPointer()[At(nx, i, j)]);
            });
    return g;
}

Grid Spectrum(const Lumora& f)
{
    Grid g = Widen(f);
    Transform(g, f.GetNx(), f.GetNy(), -1);
    return g;
}

/// There and back around the transfer function factor(u, v) on a grid `times` as large; the field's part of it.
template <class Factor>
Grid BySpectrum(const Lumora& f, int times, const Factor& factor)
{
    const int nx = times * f.GetNx();
    const int ny = times * f.GetNy();
    const double du = 1.0 / (nx * f.GetPx());
    const double dv = 1.0 / (ny * f.GetPy());
    Grid g = Widen(f, times);
    Transform(g, nx, ny, -1);
    Multiply(g, nx, ny,
             [&](int i, int j)
             { return factor((i - nx / 2) * du, (j - ny / 2) * dv) / (static_cast<double>(nx) * ny); });
    Transform(g, nx, ny, 1);
    if (times == 1)
        return g;
    const int x0 = (nx - f.GetNx()) / 2;
    const int y0 = (ny - f.GetNy()) / 2;
    for (int j = 0; j < f.GetNy(); ++j) // in place: a row's destination lies before it
        std::copy_n(g.begin() + static_cast<std::ptrdiff_t>(At(nx, x0, j + y0)), f.GetNx(),
                    g.begin() + static_cast<std::ptrdiff_t>(At(f.GetNx(), 0, j)));
    g.resize(f.N());
    return g;
}

/// RawAsmProp, AsmProp and ExactAsmProp.
Grid Asm(const Lumora& f, double d, bool limit, int times)
{
    const double lambda = f.GetWavelength();
    /// Whether a frequency is in the band, whose ends are those of the sample nearest to them.
    const auto inside = [=](double frequency, double pitch, int n)
    {
        const double bound = 1.0 / std::sqrt((pitch * d * 2) * (pitch * d * 2) + 1.0) / lambda;
        const double index = frequency / pitch;
        return !limit || (n / 2) * pitch <= bound ||
               (index > std::floor(-bound / pitch + 0.5) - 0.5 && index < std::floor(bound / pitch + 0.5) - 0.5);
    };
    const int nx = times * f.GetNx();
    const int ny = times * f.GetNy();
    return BySpectrum(f, times,
                      [=, px = 1.0 / (nx * f.GetPx()), py = 1.0 / (ny * f.GetPy())](double u, double v)
                      {
                          if (!inside(u, px, nx) || !inside(v, py, ny))
                              return Value();
                          const double w = 1.0 / (lambda * lambda) - u * u - v * v;
                          return std::polar(1.0, w > 0.0 ? 2.0 * kPi * d * std::sqrt(w) : 0.0);
                      });
}

/// ShiftedAsmProp on a grid of twice the size. The shift lies within half the grid, so that the band holds frequency 0.
Grid ShiftedAsm(const Lumora& f, double x0, double y0, double z0)
{
    const double lambda = f.GetWavelength();
    const auto inside = [=](double frequency, double shift, double pitch)
    {
        const auto bound = [=](double s)
        {
            return 1.0 / std::sqrt(z0 * z0 / (s * s) + 1.0) / lambda;
        };
        const double half = 1.0 / (2.0 * pitch);
        return frequency > -bound(shift - half) && frequency < bound(shift + half);
    };
    return BySpectrum(f, 2,
                      [=, px = 0.5 / (f.GetNx() * f.GetPx()), py = 0.5 / (f.GetNy() * f.GetPy())](double u, double v)
                      {
                          const double w = 1.0 / (lambda * lambda) - u * u - v * v;
                          return inside(u, x0, px) && inside(v, y0, py)
                                     ? std::polar(1.0, 2.0 * kPi * (x0 * u + y0 * v + z0 * std::sqrt(w)))
                                     : Value();
                      });
}

/// RawScaledFft, its origins at sample 0, and ScaledFft, whose origins are in the middle.
Grid Scaled(const Lumora& f, double a, double b, bool centred)
{
    Grid g = Widen(f);
    const double x = centred ? f.GetNx() / 2 : 0;
    const double y = centred ? f.GetNy() / 2 : 0;
    AlongRows(g, f.GetNx(), f.GetNy(), ScaledLine(f.GetNx(), a, x, x));
    AlongColumns(g, f.GetNx(), f.GetNy(), ScaledLine(f.GetNy(), b, y, y));
    return g;
}

/// The Fresnel integral from one grid to another, with the square of the distance between two samples of an axis taken
/// apart into two squares and a product.
Grid ShiftedFresnel(const Lumora& f, const Lumora& target)
{
    const double k = f.GetWavenumber();
    const double lambda = 2.0 * kPi / k;
    const double z = target.GetOrigin().z - f.GetOrigin().z;
    Grid g = Widen(f);
    const auto square = [=](double pitchX, double pitchY, double originX, double originY, int nx, int ny)
    {
        return [=](int i, int j)
        {
            const double x = (i - nx / 2) * pitchX + originX;
            const double y = (j - ny / 2) * pitchY + originY;
            return std::polar(1.0, k / (2.0 * z) * (x * x + y * y));
        };
    };
    const int nx = f.GetNx();
    const int ny = f.GetNy();
    const auto line = [=](int n, double from, double to, double fromOrigin, double toOrigin)
    {
        return ScaledLine(n, from * to / (lambda * z), n / 2 - fromOrigin / from, n / 2 - toOrigin / to);
    };
    const Vector s = f.GetOrigin();
    const Vector t = target.GetOrigin();
    Multiply(g, nx, ny, square(f.GetPx(), f.GetPy(), s.x, s.y, nx, ny));
    AlongRows(g, nx, ny, line(nx, f.GetPx(), target.GetPx(), s.x, t.x));
    AlongColumns(g, nx, ny, line(ny, f.GetPy(), target.GetPy(), s.y, t.y));
    Multiply(g, nx, ny, square(target.GetPx(), target.GetPy(), t.x, t.y, nx, ny));
    const Value constant = Value(0.0, -f.GetPx() * f.GetPy() / (lambda * z)) * std::polar(1.0, k * z);
    Multiply(g, nx, ny, [=](int, int) { return constant; });
    return g;
}

/// FresnelProp, with its phases rounded to single precision as its definition has them.
Grid Fresnel(const Lumora& f, double d)
{
    const int nx = f.GetNx();
    const int ny = f.GetNy();
    const double k = f.GetWavenumber();
    const auto phases = [=](double px, double py, bool after)
    {
        return [=](int i, int j)
        {
            const double x = (i - nx / 2) * px;
            const double y = (j - ny / 2) * py;
            const double phase = after ? ((y * y + x * x) / (d + d) + d) * k : (y * y + x * x) * k / (d + d);
            return std::polar(1.0, static_cast<double>(static_cast<float>(phase)));
        };
    };
    Grid g = Widen(f);
    Multiply(g, nx, ny, phases(f.GetPx(), f.GetPy(), false));
    Transform(g, nx, ny, -1);
    const double s = f.GetWavelength() * d;
    Multiply(g, nx, ny, phases(s / (nx * f.GetPx()), s / (ny * f.GetPy()), true));
    return g;
}

// ------------------------------------------------------------------------------------------------------ the tables

struct Errors
{
    double l2 = 0.0, largest = 0.0;
};

Errors ErrorsOf(const Lumora& f, const Grid& reference)
{
    double num = 0.0, den = 0.0, most = 0.0, amplitude = 0.0;
    for (std::size_t n = 0; n < f.N(); ++n)
    {
        const double e = std::norm(Widened(f.GetDataPointer()[n]) - reference[n]);
        const double r = std::norm(reference[n]);
        num += e;
        den += r;
        // A sample that is no number is as wrong as can be.
        most = std::isnan(e) ? HUGE_VAL : std::max(most, e);
        amplitude = std::max(amplitude, r);
    }
    return {std::sqrt(num / den), std::sqrt(most / amplitude)};
}

using Operation = std::pair<const char*, std::function<void(Lumora&)>>;

struct TableRow
{
    std::string name;
    std::vector<Errors> wide, plain;
};

/// The operations whose results the reference holds, both forms.
void Measure(std::vector<TableRow>& table, const Lumora& start, const Grid& reference,
             const std::vector<Operation>& operations)
{
    for (const Operation& operation : operations)
    {
        auto line =
            std::find_if(table.begin(), table.end(), [&](const TableRow& l) { return l.name == operation.first; });
        if (line == table.end())
            line = table.insert(line, {operation.first, {}, {}});
        for (const FftLib lib : {FFT_LIB_SPLIT_RADIX, FFT_LIB_VENDOR})
        {
            SetFftLib(lib);
            Lumora f(start);
            operation.second(f);
            (lib == FFT_LIB_VENDOR ? line->wide : line->plain).push_back(ErrorsOf(f, reference));
        }
        std::fprintf(stderr, "%d %s: %.2e, %.2e\n", start.GetNx(), operation.first, line->wide.back().l2,
                     line->wide.back().largest);
    }
}

/// The last of two planes, so that the spectrum has been used before.
void LastOfStack(Lumora& f, double d, StackPropagator propagator)
{
    const double distances[] = {0.5 * d, d};
    Lumora last(f);
    f.PropagateStack(
        distances, 2,
        [&](const Lumora& plane, std::size_t)
        {
            last.CopyData(plane);
            return true;
        },
        propagator);
    f.CopyData(last);
}

void MeasureSize(std::vector<TableRow>& table, int n)
{
    Lumora f(n, n, 4e-6);
    // Equally distributed, with no pattern over powers of two, which transforms would make peaks of.
    std::mt19937 random(5);
    const auto next = [&random]
    {
        return static_cast<float>(static_cast<std::int32_t>(random())) * 4.656612873e-10f;
    };
    for (std::size_t m = 0; m < f.N(); ++m)
    {
        const float re = next();
        f[m] = Complex(re, next());
    }
    constexpr double d = 0.1;
    Measure(table, f, Spectrum(f),
            {{"`Fft`",
              [](Lumora& x)
              {
                  x.Fft(-1);
              }},
             {"`FourierProp`", [](Lumora& x)
              {
                  x.FourierProp(d);
              }}});
    Measure(table, f, Asm(f, d, false, 1),
            {{"`RawAsmProp`, 10 cm", [](Lumora& x)
              {
                  x.RawAsmProp(d);
              }}});
    Measure(table, f, Asm(f, d, true, 1),
            {{"`AsmProp`, 10 cm",
              [](Lumora& x)
              {
                  x.AsmProp(d);
              }},
             {"`PropagateStack`", [](Lumora& x)
              {
                  LastOfStack(x, d, STACK_ASM);
              }}});
    Measure(table, f, Asm(f, d, true, 2),
            {{"`ExactAsmProp`, 10 cm",
              [](Lumora& x)
              {
                  x.ExactAsmProp(d);
              }},
             {"`PropagateStack`, exact", [](Lumora& x)
              {
                  LastOfStack(x, d, STACK_EXACT_ASM);
              }}});
    Measure(table, f, ShiftedAsm(f, 1e-4, -2e-4, 0.01),
            {{"`ShiftedAsmProp`, 1 cm", [](Lumora& x)
              {
                  const Lumora source(x);
                  x.SetOrigin(Vector(1e-4, -2e-4, 0.01)).ShiftedAsmProp(source, 1);
              }}});
    Measure(table, f, Scaled(f, 0.8 / n, 0.7 / n, false),
            {{"`RawScaledFft`", [n](Lumora& x)
              {
                  x.RawScaledFft(0.8 / n, 0.7 / n);
              }}});
    // Negative parameters: those of the forward sum without a phase left over.
    Measure(table, f, Scaled(f, 0.8 / n, 0.7 / n, true),
            {{"`ScaledFft`", [](Lumora& x)
              {
                  x.ScaledFft(-0.8, -0.7);
              }}});
    {
        const auto place = [](Lumora& x)
        {
            x.SetOrigin(Vector(1e-4, -2e-4, 0.2)).SetPx(5e-6).SetPy(3e-6);
        };
        Lumora target(f);
        place(target);
        Measure(table, f, ShiftedFresnel(f, target),
                {{"`ShiftedFresnelProp`, 20 cm", [=](Lumora& x)
                  {
                      const Lumora source(x);
                      place(x);
                      x.ShiftedFresnelProp(source);
                  }}});
    }
    Measure(table, f, Fresnel(f, d),
            {{"`FresnelProp`, 10 cm", [](Lumora& x)
              {
                  x.FresnelProp(d);
              }}});
    // A turn by nothing: transform, every sample looked up at its place, transform back.
    Measure(table, f, Widen(f),
            {{"`Rotate`, transforms", [](Lumora& x)
              {
                  const Lumora source(x);
                  RMatrix none(RMatrix::RotationY(0.0));
                  x.Rotate(source, none, nullptr, CUBIC8_INTERPOL, true);
              }}});
}

void Print(const std::vector<TableRow>& table, std::vector<Errors> TableRow::*form, int largest)
{
    std::printf("| Operation |");
    for (int n = 256; n <= largest; n *= 2)
        std::printf(" %d² |", n);
    std::printf("\n|---|");
    for (int n = 256; n <= largest; n *= 2)
        std::printf("---|");
    std::printf("\n");
    for (const TableRow& line : table)
    {
        std::printf("| %s |", line.name.c_str());
        for (const Errors& e : line.*form)
            std::printf(" %.2f, %.2f |", e.l2 * 1e7, e.largest * 1e7);
        std::printf("\n");
    }
}
} // namespace

int main(int argc, char** argv)
{
    const int largest = argc > 1 ? std::atoi(argv[1]) : 8192;
    if (largest < 256)
    {
        std::fprintf(stderr, "lml_accuracy [LARGEST]: at least 256\n");
        return 1;
    }
    SetNumThreads();
    std::vector<TableRow> table;
    for (int n = 256; n <= largest; n *= 2)
        MeasureSize(table, n);
    std::printf(
        "Relative l2 error, largest error of a sample over the largest amplitude; both in 1e-7. Wide and fused:\n\n");
    Print(table, &TableRow::wide, largest);
    std::printf("\nStep by step:\n\n");
    Print(table, &TableRow::plain, largest);
    Errors worst;
    for (const TableRow& line : table)
        for (const Errors& e : line.wide)
        {
            worst.l2 = e.l2 <= worst.l2 ? worst.l2 : e.l2;
            worst.largest = std::max(worst.largest, e.largest);
        }
    std::printf("\nThe largest of the wide and fused ones: %.2fe-7 relative l2, %.2fe-7 for a sample.\n",
                worst.l2 * 1e7, worst.largest * 1e7);
    return worst.l2 <= kMost ? 0 : 2;
}
