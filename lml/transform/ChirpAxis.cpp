// The one-dimensional chirp convolutions that a scaled transform consists of: tables of each axis.
#include "transform/ChirpAxis.h"

#include "base/Constants.h"
#include "simd/SinCos.h"
#include "simd/WidePhase.h"
#include "transform/ChirpPhase.h"

#include <cstddef>
#include <utility>

namespace LumoraLib::detail
{
namespace
{
/// An unscaled forward transform of n values (a power of two) in place, by halving; the results come out in the
/// reversed order of their index bits. Roots: exp(-2 pi i e / n), e = 0 .. n / 2 - 1.
void TransformReversed(double* re, double* im, const double* rootRe, const double* rootIm, std::size_t n)
{
    for (std::size_t half = n / 2, step = 1; half > 0; half /= 2, step *= 2)
        for (std::size_t first = 0; first < n; first += 2 * half)
            for (std::size_t k = 0; k < half; ++k)
            {
                const std::size_t low = first + k, high = low + half;
                const double r = re[low] - re[high], i = im[low] - im[high];
                const double wr = rootRe[k * step], wi = rootIm[k * step];
                re[low] += re[high];
                im[low] += im[high];
                re[high] = r * wr - i * wi;
                im[high] = r * wi + i * wr;
            }
}
} // namespace

// In double, rounded once: a convolution has the errors of its own two transforms in single precision; a third one in
// its kernel would add half of them again.
std::unique_ptr<Complex[], FreeMemory> AxisKernel(std::int32_t n, double a)
{
    const std::size_t half = static_cast<std::size_t>(n), count = 2 * half;
    const auto work = MallocArray<double>(3 * count, "phase tables");
    double *const re = work.get(), *const im = re + count, *const rootRe = im + count, *const rootIm = rootRe + half;
    {
        const auto phases = MallocArray<double>(half + 1, "phase tables");
        for (std::int32_t i = 0; i <= n; ++i)
            phases[static_cast<std::size_t>(i)] = ChirpPhase(ChirpSquare(i), 0.0, a, 0.0);
        Phases().sinCos(phases.get(), half + 1, im, re);
        for (std::size_t i = 1; i < half; ++i)
        {
            re[count - i] = re[i];
            im[count - i] = im[i];
        }
        for (std::size_t e = 0; e < half; ++e)
            phases[e] = -kTwoPi / static_cast<double>(count) * static_cast<double>(e);
        Phases().sinCos(phases.get(), half, rootIm, rootRe);
    }
    auto spectrum = MallocArray<Complex>(count, "phase tables");
    TransformReversed(re, im, rootRe, rootIm, count);
    for (std::size_t k = 0, reversed = 0; k < count; ++k)
    {
        spectrum[k] = Complex(re[reversed], im[reversed]);
        std::size_t bit = half;
        for (; (reversed & bit) != 0; bit /= 2)
            reversed ^= bit;
        reversed |= bit;
    }
    return spectrum;
}

namespace
{
/// pre(i) and post(k) are the phases beside the chirp.
template <class Pre, class Post>
AxisTables MakeAxis(std::int32_t n, double a, const Pre& pre, const Post& post, double cRe, double cIm)
{
    const std::size_t count = static_cast<std::size_t>(n);
    auto spectrum = AxisKernel(n, a); // what takes most memory on the way comes first
    const auto phases = MallocArray<double>(count, "phase tables");
    double* const p = phases.get();
    AxisTables axis{MallocArray<Complex>(count, "phase tables"), std::move(spectrum),
                    MallocArray<Complex>(count, "phase tables")};
    for (std::int32_t i = 0; i < n; ++i)
        p[i] = pre(i) - ChirpPhase(ChirpSquare(i), 0.0, a, 0.0);
    Phases().unit(PhaseForm::Given(p), 0, count, reinterpret_cast<float*>(axis.pre.get()), nullptr);
    for (std::int32_t k = 0; k < n; ++k)
    {
        double s = 0.0;
        double c = 0.0;
        SinCos1(post(k) - ChirpPhase(ChirpSquare(k), 0.0, a, 0.0), s, c);
        axis.post.get()[k] = Complex(cRe * c - cIm * s, cRe * s + cIm * c);
    }
    return axis;
}

ComplexDouble WholeConstant(const ChirpPass& pass)
{
    const double rest = pass.destination != nullptr ? pass.destination->Constant() : 0.0;
    return rest != 0.0 ? pass.constant * Unit(rest) : pass.constant;
}

AxisTables AlongX(const ChirpPass& pass, std::int32_t n)
{
    const auto phase = [](const GridPhase* of)
    {
        return [of](std::int32_t i)
        {
            return of != nullptr ? of->AlongX(i) : 0.0;
        };
    };
    return MakeAxis(n, pass.a, phase(pass.source), phase(pass.destination), 1.0, 0.0);
}

AxisTables AlongY(const ChirpPass& pass, std::int32_t n)
{
    const auto phase = [](const GridPhase* of)
    {
        return [of](std::int32_t j)
        {
            return of != nullptr ? of->AlongY(j) : 0.0;
        };
    };
    const ComplexDouble constant = WholeConstant(pass);
    return MakeAxis(n, pass.b, phase(pass.source), phase(pass.destination), constant.Real(), constant.Imag());
}
} // namespace

ChirpAxes::ChirpAxes(const ChirpPass& pass, std::int32_t nx, std::int32_t ny) : x(AlongX(pass, nx)), y(AlongY(pass, ny))
{
}
} // namespace LumoraLib::detail
