// The one-dimensional chirp convolutions that a scaled transform consists of: tables of each axis.
#include "transform/ChirpAxis.h"

#include "base/IntMath.h"
#include "simd/SinCos.h"
#include "simd/WidePhase.h"
#include "transform/ChirpPhase.h"
#include "transform/wide/WideFft.h"

namespace LumoraLib::detail
{
std::unique_ptr<Complex[], FreeMemory> AxisKernel(std::int32_t n, double a)
{
    const std::size_t count = 2 * static_cast<std::size_t>(n);
    const auto phases = MallocArray<double>(count, "phase tables");
    auto spectrum = MallocArray<Complex>(count, "phase tables");
    for (std::int32_t i = 0; i < 2 * n; ++i)
        phases[static_cast<std::size_t>(i)] = ChirpPhase(ChirpSquare(SignedIndex(i, 2 * n)), 0.0, a, 0.0);
    Phases().unit(PhaseForm::Given(phases.get()), 0, count, reinterpret_cast<float*>(spectrum.get()), nullptr);
    WideFft1d(spectrum.get(), count, -1, false, 1.0f, 1);
    return spectrum;
}

namespace
{
/// pre(i) and post(k) are the phases beside the chirp.
template <class Pre, class Post>
AxisTables MakeAxis(std::int32_t n, double a, const Pre& pre, const Post& post, double cRe, double cIm)
{
    const std::size_t count = static_cast<std::size_t>(n);
    const auto phases = MallocArray<double>(count, "phase tables");
    double* const p = phases.get();
    AxisTables axis{MallocArray<Complex>(count, "phase tables"), AxisKernel(n, a),
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
