// Propagation by the spectrum in sweeps: rows forward, columns forward, times the transfer function and back, rows
// back.
//
// The fused engine does the same in memory; the transforms are its passes, so the samples have the same bits.
#include "large/SpectralSteps.h"

#include "base/Isa.h"
#include "base/Parallel.h"
#include "transform/SpectrumFactors.h"
#include "transform/wide/WideScratch.h"
#include "transform/wide/WideTables.h"

#include <algorithm>

namespace LumoraLib::detail
{
namespace
{
std::size_t Size(std::int32_t n)
{
    return static_cast<std::size_t>(n);
}
} // namespace

TileNeeds SpectralSteps::Needs(const SpectralPass& pass, const GridPlace& place, int threads)
{
    const WideLength& rows = WideLengthOf(Size(place.nx), CurrentIsa());
    const WideLength& columns = WideLengthOf(Size(place.ny), CurrentIsa());
    const std::uint64_t team = static_cast<std::uint64_t>(threads);
    TileNeeds needs;
    needs.gridColumns = Size(place.nx);
    needs.columns = TransformRange(pass.band.i0, pass.band.i1, place.nx);
    needs.pairs = IsDirectColumn(columns);
    needs.rowBytes = RowStage::Bytes(Size(place.nx), threads) + 2 * team * sizeof(float) * WideRowFloats(rows);
    needs.stripBytes = team * sizeof(float) * WideFusedFloats(columns, needs.pairs, pass.transfer.shifted);
    needs.threads = threads;
    return needs;
}

SpectralSteps::SpectralSteps(const SpectralPass& pass, const GridPlace& place, const SegmentGrid& own,
                             const TileLayout& layout, int threads)
    : pass_(pass), place_(place), layout_(layout), ownColumns_(static_cast<std::size_t>(own.Nx())),
      bandRows_(TransformRange(pass.band.j0, pass.band.j1, place.ny)), threads_(threads),
      stage_(Size(place.nx), threads)
{
    if (pass.transfer.shifted)
    {
        turnColumns_ = ShiftTurns(place.nx, pass.transfer.du, pass.transfer.x0);
        turnRows_ = ShiftTurns(place.ny, pass.transfer.dv, pass.transfer.y0);
        unitTurns_ = MallocArray<Complex>((layout.slot + 63) / 64 * 64, "phase tables");
    }
    const std::size_t width = Size(place.nx);
    const WideRange columns = TransformRange(pass.band.i0, pass.band.i1, place.nx);
    const WideRange own_{place.x0, place.x0 + ownColumns_};
    forward_.emplace(WideRows{.source = {.stride = ownColumns_, .origin = place.x0, .range = own_},
                              .target = {.stride = width, .range = columns},
                              .n = width,
                              .sign = -1},
                     threads);
    back_.emplace(
        WideRows{.source = {.stride = width, .range = columns},
                 .target = {.stride = ownColumns_, .origin = place.x0, .range = own_},
                 .n = width,
                 .sign = 1,
                 .scale = static_cast<float>(1.0 / (static_cast<double>(width) * static_cast<double>(place.ny)))},
        threads);
}

void SpectralSteps::Forward(int index, int size, const Complex* rows, Complex* tiles, std::size_t,
                            std::size_t count) const
{
    const std::size_t width = Size(place_.nx);
    Complex* const stage = stage_.Of(index);
    stage_.ForEachGroup(count, index, size,
                        [&](std::size_t row, std::size_t group)
                        {
                            forward_->Rows(index, rows + row * ownColumns_, stage, group);
                            for (std::size_t r = 0; r < group; ++r)
                                layout_.Scatter(stage + r * width, tiles, row + r, count);
                        });
}

void SpectralSteps::Strips(std::size_t unit, Complex* samples) const
{
    const TileUnit& columns = layout_.units[unit];
    const std::size_t width = columns.Width();
    // Counted from the unit's first column; its right half, where it has one, mirrors the left one.
    const SpectrumFactors factors{pass_.transfer, place_.nx, place_.ny, columns.left.first};
    if (turnColumns_)
    {
        std::copy_n(turnColumns_.get() + columns.left.first, columns.left.count, unitTurns_.get());
        std::copy_n(turnColumns_.get() + columns.right.first, columns.right.count,
                    unitTurns_.get() + columns.left.count);
        std::fill(unitTurns_.get() + width, unitTurns_.get() + (width + 63) / 64 * 64, Complex());
    }
    const WideRange rows{place_.y0, place_.y0 + layout_.rows};
    const WideFusedPass pass(
        {.strips = {.source = {.samples = samples, .stride = width, .origin = place_.y0, .range = rows},
                    .target = {.samples = samples, .stride = width, .origin = place_.y0, .range = rows},
                    .columns = width,
                    .which = {0, width},
                    .n = Size(place_.ny)},
         .factor = EvenFactor,
         .context = &factors,
         .zeroRows = Complement(bandRows_, place_.ny),
         .symmetric = layout_.pairs,
         .column = unitTurns_.get(),
         .row = turnRows_.get()},
        threads_);
    ParallelTeam(threads_, [&](int index, int size) { pass.Part(index, size); });
}

void SpectralSteps::Back(int index, int size, const Complex* tiles, Complex* rows, std::size_t, std::size_t count) const
{
    const std::size_t width = Size(place_.nx);
    Complex* const stage = stage_.Of(index);
    stage_.ForEachGroup(count, index, size,
                        [&](std::size_t row, std::size_t group)
                        {
                            for (std::size_t r = 0; r < group; ++r)
                                layout_.Gather(tiles, stage + r * width, row + r, count);
                            back_->Rows(index, stage, rows + row * ownColumns_, group);
                        });
}
} // namespace LumoraLib::detail
