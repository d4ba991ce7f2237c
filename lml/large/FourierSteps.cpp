// One centred transform in sweeps, between factors that depend on row and column: Fft and FresnelProp.
#include "large/FourierSteps.h"

#include "base/Isa.h"
#include "base/Parallel.h"
#include "transform/wide/WideScratch.h"
#include "transform/wide/WideTables.h"

#include <algorithm>

namespace LumoraLib::detail
{
namespace
{
/// As FresnelProp multiplies a row of the whole grid.
void MultiplyFresnel(const PhaseForm& form, Complex* row, std::int32_t nx)
{
    PhaseProduct mixed;
    mixed.rule = PhaseProduct::Rule::Mixed;
    float* const samples = reinterpret_cast<float*>(row);
    Phases().multiply(form, mixed, -(nx / 2), static_cast<std::size_t>(nx), samples, samples);
}
} // namespace

TileNeeds FourierSteps::Needs(const GridPlace& place, int threads)
{
    const std::size_t width = static_cast<std::size_t>(place.nx);
    const WideLength& rows = WideLengthOf(width, CurrentIsa());
    const WideLength& columns = WideLengthOf(static_cast<std::size_t>(place.ny), CurrentIsa());
    const std::uint64_t team = static_cast<std::uint64_t>(threads);
    TileNeeds needs;
    needs.gridColumns = width;
    needs.columns = {0, width};
    needs.rowBytes = RowStage::Bytes(width, threads) + team * sizeof(float) * WideRowFloats(rows);
    needs.stripBytes = team * sizeof(float) * WideStripFloats(columns);
    needs.threads = threads;
    return needs;
}

FourierSteps::FourierSteps(int sign, const FresnelPhases* phases, const GridPlace& place, const SegmentGrid& own,
                           const TileLayout& layout, int threads)
    : sign_(sign), phases_(phases), place_(place), layout_(layout), ownColumns_(static_cast<std::size_t>(own.Nx())),
      threads_(threads), stage_(static_cast<std::size_t>(place.nx), threads)
{
    const std::size_t width = static_cast<std::size_t>(place.nx);
    rows_.emplace(WideRows{.source = {.stride = width, .range = {0, width}, .shift = true},
                           .target = {.stride = width, .range = {0, width}, .shift = true},
                           .n = width,
                           .sign = sign},
                  threads);
}

void FourierSteps::Forward(int index, int size, const Complex* rows, Complex* tiles, std::size_t first,
                           std::size_t count) const
{
    const std::size_t width = static_cast<std::size_t>(place_.nx);
    Complex* const stage = stage_.Of(index);
    stage_.ForEachGroup(count, index, size,
                        [&](std::size_t row, std::size_t group)
                        {
                            for (std::size_t r = 0; r < group; ++r)
                            {
                                Complex* const to = stage + r * width;
                                RowStage::Place(to, width, place_.x0, rows + (row + r) * ownColumns_, ownColumns_);
                                if (phases_ == nullptr)
                                    continue;
                                const Lumora& plane = phases_->before;
                                const double y = plane.Y(static_cast<int>(place_.y0 + first + row + r));
                                MultiplyFresnel(
                                    PhaseForm::FresnelIn(plane.GetPx(), y * y, phases_->k, phases_->d + phases_->d), to,
                                    place_.nx);
                            }
                            rows_->Rows(index, stage, stage, group);
                            for (std::size_t r = 0; r < group; ++r)
                                layout_.Scatter(stage + r * width, tiles, row + r, count);
                        });
}

void FourierSteps::Strips(std::size_t unit, Complex* samples) const
{
    const std::size_t width = layout_.units[unit].Width();
    const std::size_t n = static_cast<std::size_t>(place_.ny);
    const WideStripPass pass({.source = {.samples = samples, .stride = width, .range = {0, n}, .shift = true},
                              .target = {.samples = samples, .stride = width, .range = {0, n}, .shift = true},
                              .columns = width,
                              .which = {0, width},
                              .n = n,
                              .sign = sign_},
                             threads_);
    ParallelTeam(threads_, [&](int index, int size) { pass.Part(index, size); });
}

void FourierSteps::Back(int index, int size, const Complex* tiles, Complex* rows, std::size_t first,
                        std::size_t count) const
{
    Complex* const stage = stage_.Of(index);
    stage_.ForEachGroup(count, index, size,
                        [&](std::size_t row, std::size_t group)
                        {
                            for (std::size_t r = row; r < row + group; ++r)
                            {
                                layout_.Gather(tiles, stage, r, count);
                                if (phases_ != nullptr)
                                {
                                    const Lumora& plane = phases_->after;
                                    const double y = plane.Y(static_cast<int>(place_.y0 + first + r));
                                    MultiplyFresnel(PhaseForm::FresnelOut(plane.GetPx(), y * y, phases_->k,
                                                                          phases_->d + phases_->d, phases_->d),
                                                    stage, place_.nx);
                                }
                                std::copy_n(stage + place_.x0, ownColumns_, rows + r * ownColumns_);
                            }
                        });
}
} // namespace LumoraLib::detail
