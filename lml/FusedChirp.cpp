// The scaled transform as a row pass and a column pass of one-dimensional chirp convolutions.
//
// The doubled two-dimensional convolution has an outer product as its kernel, so it is the same sum as convolutions
// along the rows followed by convolutions along the columns: 4 n transforms of length 2 n instead of 12 n, and no
// doubled grid. Phases are per axis, in double, and each axis' factor is rounded to float once.
#include "ChirpPhase.h"
#include "Dispatch.h"
#include "Fused.h"
#include "Parallel.h"
#include "Reduce.h"
#include "SinCos.h"
#include "WideFft.h"
#include "WidePhase.h"

#include <memory>

namespace LumoraLib::detail
{
namespace
{
/// Factors before and after the convolution of one axis, and the transform of its chirp kernel.
struct AxisTables
{
    std::unique_ptr<Complex[], FreeMemory> pre;
    std::unique_ptr<Complex[], FreeMemory> spectrum;
    std::unique_ptr<Complex[], FreeMemory> post;
};

double Extra(const AxisPhase& phase, std::int32_t index)
{
    return phase.phase ? phase.phase(phase.context, index) : 0.0;
}

void UnitFactors(const double* phases, std::size_t count, Complex* out)
{
    Phases().unit(PhaseForm::Given(phases), 0, count, reinterpret_cast<float*>(out), nullptr);
}

AxisTables MakeAxis(std::int32_t n, double a, const AxisPhase& pre, const AxisPhase& post, double cRe, double cIm)
{
    const std::size_t count = static_cast<std::size_t>(n);
    const auto phases = MallocArray<double>(2 * count, "phase tables");
    double* const p = phases.get();
    AxisTables axis{MallocArray<Complex>(count, "phase tables"), MallocArray<Complex>(2 * count, "phase tables"),
                    MallocArray<Complex>(count, "phase tables")};
    for (std::int32_t i = 0; i < n; ++i)
        p[i] = Extra(pre, i) - ChirpPhase(ChirpSquare(i), 0.0, a, 0.0);
    UnitFactors(p, count, axis.pre.get());
    for (std::int32_t i = 0; i < 2 * n; ++i)
        p[i] = ChirpPhase(ChirpSquare(ChirpIndex(i, 2 * n)), 0.0, a, 0.0);
    UnitFactors(p, 2 * count, axis.spectrum.get());
    WideFft1d(axis.spectrum.get(), 2 * count, -1, false, 1.0f, 1);
    for (std::int32_t k = 0; k < n; ++k)
    {
        double s = 0.0;
        double c = 0.0;
        SinCos1(Extra(post, k) - ChirpPhase(ChirpSquare(k), 0.0, a, 0.0), s, c);
        axis.post.get()[k] = Complex(cRe * c - cIm * s, cRe * s + cIm * c);
    }
    return axis;
}

WideConvolution Job(Complex* data, std::int32_t nx, std::int32_t ny, const AxisTables& axis, std::int32_t n)
{
    WideConvolution job;
    job.data = data;
    job.stride = static_cast<std::size_t>(nx);
    job.columns = static_cast<std::size_t>(nx);
    job.rows = static_cast<std::size_t>(ny);
    job.pre = axis.pre.get();
    job.spectrum = axis.spectrum.get();
    job.post = axis.post.get();
    job.scale = static_cast<float>(1.0 / (2.0 * n));
    return job;
}
} // namespace

bool CanFuseChirp(std::int32_t nx, std::int32_t ny)
{
    const auto isLength = [](std::int32_t n)
    {
        return n > 1 && n <= kLongestTransform / 2 && (n & (n - 1)) == 0;
    };
    return FusedBound() && isLength(nx) && isLength(ny);
}

void FusedChirp(Complex* data, std::int32_t nx, std::int32_t ny, double a, double b, AxisPhase preX, AxisPhase preY,
                AxisPhase postX, AxisPhase postY, double cRe, double cIm)
{
    const AxisTables x = MakeAxis(nx, a, preX, postX, 1.0, 0.0);
    const AxisTables y = MakeAxis(ny, b, preY, postY, cRe, cIm);
    const int threads = WideThreads(static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny), GetNumThreads());
    const WideRowConvolution rows(Job(data, nx, ny, x, nx), threads);
    const WideColumnConvolution columns(Job(data, nx, ny, y, ny), threads);
    ParallelTeam(threads,
                 [&](int index, int size)
                 {
                     rows.Part(index, size);
                     TeamBarrier(size);
                     columns.Part(index, size);
                 });
}
} // namespace LumoraLib::detail
