// A chirp pass in sweeps: convolutions along the rows, convolutions along the columns, and the way out.
#include "large/ChirpSteps.h"

#include "base/Isa.h"
#include "base/Parallel.h"
#include "transform/wide/WideScratch.h"
#include "transform/wide/WideTables.h"

#include <algorithm>

namespace LumoraLib::detail
{
namespace
{
float ScaleOf(std::int32_t n)
{
    return static_cast<float>(1.0 / (2.0 * n));
}
} // namespace

TileNeeds ChirpSteps::Needs(const GridPlace& to, const SegmentGrid& destination, int threads)
{
    const std::size_t width = static_cast<std::size_t>(to.nx);
    const WideLength& rows = WideLengthOf(2 * width, CurrentIsa());
    const WideLength& columns = WideLengthOf(2 * static_cast<std::size_t>(to.ny), CurrentIsa());
    const std::uint64_t team = static_cast<std::uint64_t>(threads);
    const std::uint64_t tables = 8 * sizeof(Complex) * (width + static_cast<std::size_t>(to.ny));
    TileNeeds needs;
    needs.gridColumns = width;
    needs.columns = {to.x0, to.x0 + static_cast<std::size_t>(destination.Nx())};
    needs.rowBytes = tables + RowStage::Bytes(width, threads) + team * sizeof(float) * WideConvolveFloats(rows);
    needs.stripBytes = tables + team * sizeof(float) * WideFusedFloats(columns, false, false);
    needs.threads = threads;
    return needs;
}

ChirpSteps::ChirpSteps(const ChirpPass& pass, const GridPlace& from, const SegmentGrid& source, const GridPlace& to,
                       const SegmentGrid& destination, const TileLayout& layout, int threads)
    : axes_(pass, to.nx, to.ny), from_(from), to_(to), sourceColumns_(static_cast<std::size_t>(source.Nx())),
      destinationColumns_(static_cast<std::size_t>(destination.Nx())), layout_(layout), threads_(threads),
      stage_(static_cast<std::size_t>(to.nx), threads)
{
    const std::size_t width = static_cast<std::size_t>(to.nx);
    rows_.emplace(WideConvolution{.stride = width,
                                  .columns = width,
                                  .pre = axes_.x.pre.get(),
                                  .spectrum = axes_.x.spectrum.get(),
                                  .post = axes_.x.post.get(),
                                  .scale = ScaleOf(to.nx)},
                  threads);
}

void ChirpSteps::Forward(int index, int size, const Complex* rows, Complex* tiles, std::size_t, std::size_t count) const
{
    const std::size_t width = static_cast<std::size_t>(from_.nx);
    Complex* const stage = stage_.Of(index);
    stage_.ForEachGroup(count, index, size,
                        [&](std::size_t row, std::size_t group)
                        {
                            for (std::size_t r = 0; r < group; ++r)
                                RowStage::Place(stage + r * width, width, from_.x0, rows + (row + r) * sourceColumns_,
                                                sourceColumns_);
                            rows_->Rows(index, stage, group);
                            for (std::size_t r = 0; r < group; ++r)
                                layout_.Scatter(stage + r * width, tiles, row + r, count);
                        });
}

void ChirpSteps::Strips(std::size_t unit, Complex* samples) const
{
    const std::size_t width = layout_.units[unit].Width();
    const WideColumnConvolution pass({.data = samples,
                                      .stride = width,
                                      .columns = width,
                                      .rows = static_cast<std::size_t>(to_.ny),
                                      .pre = axes_.y.pre.get(),
                                      .spectrum = axes_.y.spectrum.get(),
                                      .post = axes_.y.post.get(),
                                      .scale = ScaleOf(to_.ny)},
                                     threads_);
    ParallelTeam(threads_, [&](int index, int size) { pass.Part(index, size); });
}

void ChirpSteps::Back(int index, int size, const Complex* tiles, Complex* rows, std::size_t, std::size_t count) const
{
    Complex* const stage = stage_.Of(index);
    stage_.ForEachGroup(count, index, size,
                        [&](std::size_t row, std::size_t group)
                        {
                            for (std::size_t r = row; r < row + group; ++r)
                            {
                                layout_.Gather(tiles, stage, r, count);
                                std::copy_n(stage + to_.x0, destinationColumns_, rows + r * destinationColumns_);
                            }
                        });
}
} // namespace LumoraLib::detail
