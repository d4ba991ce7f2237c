// Chirp passes, fused: the scaled transform as a row pass and a column pass of one-dimensional chirp convolutions.
//
// The doubled two-dimensional convolution has an outer product as its kernel, so it is the same sum as convolutions
// along the rows followed by convolutions along the columns: 4 n transforms of length 2 n instead of 12 n, and no
// doubled grid. Phases are per axis, in double, and each axis' factor is rounded to float once.
#include "transform/Engine.h"

#include "base/IntMath.h"
#include "base/Parallel.h"
#include "base/Progress.h"
#include "base/Reduce.h"
#include "field/FieldTools.h"
#include "simd/SinCos.h"
#include "simd/WidePhase.h"
#include "transform/ChirpAxis.h"
#include "transform/EngineTable.h"
#include "transform/wide/WideFft.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace LumoraLib::detail
{
namespace
{
/// Whether the row is the products of y with the factors x, each within the root of (|x|^2 + floor) limit.
bool IsProductRow(const Complex* row, const Complex* x, const Complex& y, std::size_t count, float floor, float limit)
{
    const float* const s = reinterpret_cast<const float*>(row);
    const float* const f = reinterpret_cast<const float*>(x);
    const float yRe = y.Real();
    const float yIm = y.Imag();
    std::uint32_t far = 0; // also for what is not a number
    for (std::size_t i = 0; i < 2 * count; i += 2)
    {
        const float dRe = s[i] - (f[i] * yRe - f[i + 1] * yIm);
        const float dIm = s[i + 1] - (f[i] * yIm + f[i + 1] * yRe);
        const float most = (f[i] * f[i] + f[i + 1] * f[i + 1] + floor) * limit;
        far |= static_cast<std::uint32_t>(!(dRe * dRe + dIm * dIm <= most));
    }
    return far == 0;
}

WideConvolution Job(Complex* data, std::int32_t nx, std::int32_t ny, const AxisTables& axis, std::int32_t n)
{
    return {.data = data,
            .stride = static_cast<std::size_t>(nx),
            .columns = static_cast<std::size_t>(nx),
            .rows = static_cast<std::size_t>(ny),
            .pre = axis.pre.get(),
            .spectrum = axis.spectrum.get(),
            .post = axis.post.get(),
            .scale = static_cast<float>(1.0 / (2.0 * n))};
}

/// Whether the samples of a doubled grid are still the transform of the chirp kernel of a and b, to about 1e-5: only
/// then do the parameters stand for the samples. One sweep over them.
bool IsChirpKernel(const Lumora& kernel, double a, double b)
{
    // Both factors carry errors of single precision relative to themselves and to the mean square of their axis, which
    // is its number of samples.
    constexpr double kTolerance = 1e-5;
    const std::int32_t nx = kernel.GetNx();
    const std::int32_t ny = kernel.GetNy();
    const auto x = AxisKernel(nx / 2, a);
    const auto y = AxisKernel(ny / 2, b);
    const float floorX = static_cast<float>(nx);
    const std::size_t width = static_cast<std::size_t>(nx);
    std::atomic<bool> same{true};
    ParallelRows(0, ny,
                 [&](std::int32_t j)
                 {
                     const std::size_t row = static_cast<std::size_t>(j);
                     const double square = y[row].GetReal() * y[row].GetReal() + y[row].GetImag() * y[row].GetImag();
                     const float limit = static_cast<float>(kTolerance * kTolerance * (square + ny));
                     if (same.load(std::memory_order_relaxed) &&
                         !IsProductRow(kernel.GetDataPointer() + row * width, x.get(), y[row], width, floorX, limit))
                         same.store(false, std::memory_order_relaxed);
                 });
    return same.load();
}
} // namespace

bool FusedEngine::TakesChirps(std::int32_t nx, std::int32_t ny)
{
    const auto isLength = [](std::int32_t n)
    {
        return n > 1 && n <= kLongestTransform / 2 && IsPowerOfTwo(n);
    };
    return WideEngineBound() && isLength(nx) && isLength(ny);
}

bool FusedEngine::Takes(const ChirpPass& pass, const Lumora& to)
{
    return TakesChirps(to.GetNx(), to.GetNy()) &&
           (pass.kernel == nullptr || IsChirpKernel(*pass.kernel, pass.a, pass.b));
}

void FusedEngine::Run(const ChirpPass& pass, Lumora& to, const Lumora& from) const
{
    const std::int32_t nx = to.GetNx();
    const std::int32_t ny = to.GetNy();
    const ChirpAxes axes(pass, nx, ny);
    const int threads = WideThreads(static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny), GetNumThreads());
    Complex* const data = to.GetDataPointer();
    const WideRowConvolution rows(Job(data, nx, ny, axes.x, nx), threads);
    const WideColumnConvolution columns(Job(data, nx, ny, axes.y, ny), threads);
    if (from.GetDataPointer() != data)
        CopySamples(data, to.N(), from.GetDataPointer(), from.N());
    ParallelPasses(
        threads, [&](int index, int size) { rows.Part(index, size); },
        [&](int index, int size) { columns.Part(index, size); });
}

} // namespace LumoraLib::detail
