// Spectral passes, fused: three sweeps in place of transform, exchanges, product and transform back.
//
// Let S exchange quadrants, F transform, H multiply: S F' S H S F S = F' (S H) F, since a half shift is a sign pattern
// in the other domain and commutes with the diagonal H. So there is no exchange at all: rows forward; column by column
// forward, times H in transform order, inverse; rows inverse. Memory: per-thread scratch, and for an enlarged grid the
// field's own rows over its full width.
#include "transform/Engine.h"

#include "base/FieldAccess.h"
#include "base/IntMath.h"
#include "base/Memory.h"
#include "base/Parallel.h"
#include "base/Progress.h"
#include "field/FieldTools.h"
#include "transform/EngineTable.h"
#include "transform/SpectrumFactors.h"
#include "transform/wide/WideFft.h"

#include <algorithm>
#include <memory>

namespace LumoraLib::detail
{
namespace
{
bool IsLength(std::int32_t n)
{
    return n > 1 && IsPowerOfTwo(n);
}

// Beyond this enlargement the step-by-step form meets the limits of memory.
constexpr int kMostDoublings = 4;
} // namespace

bool FusedEngine::TakesSpectra(const Lumora& to, int doublings)
{
    // An enlarged pass step by step asks a caller's buffer for room, and reports where there is none.
    return WideEngineBound() && IsLength(to.GetNx()) && IsLength(to.GetNy()) && doublings <= kMostDoublings &&
           (doublings == 0 || FieldAccess::OwnsSamples(to));
}

bool FusedEngine::Takes(const SpectralPass& pass, const Lumora& to, const Lumora& from)
{
    return TakesSpectra(to, pass.doublings) && (!from.IsPolarForm() || (&from == &to && !pass.filtersPolar));
}

void FusedEngine::Run(const SpectralPass& pass, Lumora& to, const Lumora& from) const
{
    const std::int32_t nx = to.GetNx();
    const std::int32_t ny = to.GetNy();
    const SpectrumFactors factors{pass.transfer, GrownColumns(nx, pass.doublings), GrownRows(ny, pass.doublings)};
    const std::size_t width = static_cast<std::size_t>(factors.nx);
    const std::size_t height = static_cast<std::size_t>(factors.ny);
    const WideRange columns = TransformRange(pass.band.i0, pass.band.i1, factors.nx);
    const WideRange bandRows = TransformRange(pass.band.j0, pass.band.j1, factors.ny);
    if (to.N() > FieldAccess::Capacity(to))
        Resize(to, nx, ny);
    std::unique_ptr<Complex[], FreeMemory> turnColumns, turnRows;
    if (pass.transfer.shifted)
    {
        turnColumns = ShiftTurns(factors.nx, pass.transfer.du, pass.transfer.x0);
        turnRows = ShiftTurns(factors.ny, pass.transfer.dv, pass.transfer.y0);
    }
    if (columns.Count(width) == 0 || bandRows.Count(height) == 0)
        return FillSamples(to.GetDataPointer(), to.N(), Complex());
    // The enlarged grid's rows beyond the field are zero before the columns and not wanted after them: only the field's
    // own rows are held, over the full width.
    const bool enlarged = pass.doublings != 0;
    const Scratch middle(enlarged ? 1 : 0, width * static_cast<std::size_t>(ny) * sizeof(Complex),
                         [](std::size_t bytes) { NoSamples(bytes); });
    Complex* const spectrum = enlarged ? middle.As<Complex>(0) : to.GetDataPointer();
    const std::size_t x0 = (width - static_cast<std::size_t>(nx)) / 2;
    const std::size_t y0 = (height - static_cast<std::size_t>(ny)) / 2;
    const WideRange ownColumns{x0, x0 + static_cast<std::size_t>(nx)};
    const WideRange ownRows{y0, y0 + static_cast<std::size_t>(ny)};

    const std::size_t rows = static_cast<std::size_t>(ny);
    const WideRows forward = {.source = {.samples = from.GetDataPointer(),
                                         .stride = static_cast<std::size_t>(nx),
                                         .origin = x0,
                                         .range = ownColumns},
                              .target = {.samples = spectrum, .stride = width, .range = columns},
                              .rows = rows,
                              .n = width,
                              .sign = -1};
    const WideFused middlePass = {
        .strips = {.source = {.samples = spectrum, .stride = width, .origin = y0, .range = ownRows},
                   .target = {.samples = spectrum, .stride = width, .origin = y0, .range = ownRows},
                   .columns = width,
                   .which = columns,
                   .n = height},
        .factor = EvenFactor,
        .context = &factors,
        .zeroRows = Complement(bandRows, static_cast<std::int32_t>(height)),
        .symmetric = true,
        .column = turnColumns.get(),
        .row = turnRows.get()};
    const WideRows back = {.source = {.samples = spectrum, .stride = width, .range = columns},
                           .target = {.samples = to.GetDataPointer(),
                                      .stride = static_cast<std::size_t>(nx),
                                      .origin = x0,
                                      .range = ownColumns},
                           .rows = rows,
                           .n = width,
                           .sign = 1,
                           .scale =
                               static_cast<float>(1.0 / (static_cast<double>(width) * static_cast<double>(height)))};

    const int threads = WideThreads(width * height, GetNumThreads());
    const WideFusedPass second(middlePass, threads);
    const WideRowPass first(forward, threads, &second.Memory());
    const WideRowPass third(back, threads, &second.Memory());
    // All memory is taken.
    const CartesianSamples cartesian(to, from.IsPolarForm());
    ParallelPasses(
        threads, [&](int index, int size) { first.Part(index, size); },
        [&](int index, int size) { second.Part(index, size); }, [&](int index, int size) { third.Part(index, size); });
}
} // namespace LumoraLib::detail
