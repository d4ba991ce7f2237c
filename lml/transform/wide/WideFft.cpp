// Whole transforms of the wide engine: one row on the stack or by a team, grids in two passes.
#include "transform/wide/WideFft.h"

#include "base/Parallel.h"
#include "base/Progress.h"
#include "transform/wide/WideKernels.h"
#include "transform/wide/WideLong.h"
#include "transform/wide/WideScratch.h"

namespace LumoraLib::detail
{
namespace
{
// The longest row whose scratch stands on the stack, so that short transforms touch no shared state.
constexpr std::size_t kNearRow = 4096;
constexpr std::size_t kNearFloats = 2 * kNearRow + 16 * 32;

/// Short rows are done one per lane: a single one wastes least in the narrowest build.
const WideKernels& RowKernels(std::size_t n)
{
    return n < 256 ? sse2::wideKernels : BoundKernels();
}

/// One row of at most kNearRow samples. Its scratch is 2 n + 16 * 32 floats from 256 samples on; below, with the four
/// lanes of RowKernels, 16 n + 1024.
inline void NearRow(const WideKernels& kernels, const WideLength& length, Complex* x, int sign, bool halfShift,
                    float scale)
{
    alignas(64) float near[kNearFloats];
    kernels.row(length,
                {.x = x, .y = x, .sign = sign, .shiftInput = halfShift, .shiftOutput = halfShift, .scale = scale},
                near);
}
} // namespace

WideReadyRow::WideReadyRow(Complex* x, std::size_t n, int sign, bool halfShift, float scale, int threads)
    : x_(x), sign_(sign), halfShift_(halfShift), scale_(scale), kernels_(&RowKernels(n)),
      length_(&WideLengthOf(n, kernels_->isa)), team_(IsDirectRow(*length_) ? 1 : WideThreads(n, threads))
{
    if (n > kNearRow)
        scratch_.emplace(team_, WideLineFloats(*length_) * sizeof(float));
}

void WideReadyRow::Run(std::size_t offset) const noexcept
{
    Complex* const x = x_ + offset;
    if (!scratch_)
        return NearRow(*kernels_, *length_, x, sign_, halfShift_, scale_);
    const WideLong job = {
        .kernels = kernels_,
        .length = length_,
        .line = {.x = x, .y = x, .sign = sign_, .shiftInput = halfShift_, .shiftOutput = halfShift_, .scale = scale_}};
    ParallelTeam(team_, [&](int index, int size) { WideLongPart(job, index, size, scratch_->As<float>(index)); });
}

void WideFft1d(Complex* x, std::size_t n, int sign, bool halfShift, float scale, int threads)
{
    if (n <= kNearRow)
    {
        const WideKernels& kernels = RowKernels(n);
        return NearRow(kernels, WideLengthOf(n, kernels.isa), x, sign, halfShift, scale);
    }
    WideReadyRow(x, n, sign, halfShift, scale, threads).Run();
}

WideReadyGrid::WideReadyGrid(Complex* x, std::size_t nx, std::size_t ny, int sign, bool halfShift, float scale,
                             int threads)
    : nx_(nx), rows_(0), team_(WideThreads(nx * ny, threads))
{
    if (nx == 1 || ny == 1)
    {
        lines_.emplace(x, nx * ny, sign, halfShift, scale, threads);
        rows_ = 1;
        return;
    }
    // Few long rows: the team does them one after another.
    const bool byRow = nx >> kWideMaxRowLg > 1 && ny < static_cast<std::size_t>(team_);
    const auto target = [&](std::size_t n)
    {
        return AxisView<Complex>{.samples = x, .stride = nx, .range = {0, n}, .shift = halfShift};
    };
    const auto source = [&](std::size_t n)
    {
        return AxisView<const Complex>{.samples = x, .stride = nx, .range = {0, n}, .shift = halfShift};
    };
    const WideRows rows = {.source = source(nx), .target = target(nx), .rows = ny, .n = nx, .sign = sign};
    const WideStrips strips = {.source = source(ny),
                               .target = target(ny),
                               .columns = nx,
                               .which = {0, nx},
                               .n = ny,
                               .sign = sign,
                               .scale = scale};
    stripPass_.emplace(strips, team_);
    if (byRow)
    {
        lines_.emplace(x, nx, sign, halfShift, 1.0f, team_);
        rows_ = ny;
    }
    else
        rowPass_.emplace(rows, team_, &stripPass_->Memory());
}

void WideReadyGrid::Run() const noexcept
{
    for (std::size_t r = 0; r < rows_; ++r)
        lines_->Run(r * nx_);
    if (!stripPass_)
        return;
    ParallelTeam(team_,
                 [&](int index, int size)
                 {
                     if (rowPass_)
                     {
                         rowPass_->Part(index, size);
                         TeamBarrier(size);
                     }
                     stripPass_->Part(index, size);
                 });
}

void WideReadyGrid::RunWatched() const
{
    if (rowPass_)
        return ParallelPasses(
            team_, [this](int index, int size) { rowPass_->Part(index, size); },
            [this](int index, int size) { stripPass_->Part(index, size); });
    Progress progress("LumoraLib", static_cast<std::int64_t>(2 * rows_));
    for (std::size_t r = 0; r < rows_; ++r)
    {
        progress.Step(static_cast<std::int64_t>(r));
        lines_->Run(r * nx_);
    }
    progress.Step(static_cast<std::int64_t>(rows_));
    if (stripPass_)
        ParallelTeam(team_, [this](int index, int size) { stripPass_->Part(index, size); });
}

void WideFft2d(Complex* x, std::size_t nx, std::size_t ny, int sign, bool halfShift, float scale, int threads)
{
    if (nx == 1 || ny == 1)
        return WideFft1d(x, nx * ny, sign, halfShift, scale, threads);
    WideReadyGrid(x, nx, ny, sign, halfShift, scale, threads).Run();
}
} // namespace LumoraLib::detail
