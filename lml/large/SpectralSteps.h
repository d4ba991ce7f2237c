// Propagation by the spectrum in sweeps: rows forward, columns forward, times the transfer function and back, rows
// back.
#ifndef LML_SPECTRALSTEPS_H
#define LML_SPECTRALSTEPS_H

#include "base/Memory.h"
#include "large/LargeRun.h"
#include "transform/Engine.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace LumoraLib::detail
{
class SpectralSteps final : public SweepSteps
{
public:
    /// What a layout for the pass must know.
    static TileNeeds Needs(const SpectralPass& pass, const GridPlace& place, int threads);
    /// Objects that live as long: pass, layout.
    SpectralSteps(const SpectralPass& pass, const GridPlace& place, const SegmentGrid& own, const TileLayout& layout,
                  int threads);

    void Forward(int index, int size, const Complex* rows, Complex* tiles, std::size_t first,
                 std::size_t count) const override;
    void Strips(std::size_t unit, Complex* samples) const override;
    void Back(int index, int size, const Complex* tiles, Complex* rows, std::size_t first,
              std::size_t count) const override;

private:
    const SpectralPass& pass_;
    GridPlace place_;
    const TileLayout& layout_;
    std::size_t ownColumns_;
    WideRange bandRows_;
    int threads_;
    std::unique_ptr<Complex[], FreeMemory> turnColumns_, turnRows_, unitTurns_;
    RowStage stage_;
    std::optional<WideRowPass> forward_, back_;
};
} // namespace LumoraLib::detail

#endif
