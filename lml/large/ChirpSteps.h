// A chirp pass in sweeps: convolutions along the rows, convolutions along the columns, and the way out.
#ifndef LML_CHIRPSTEPS_H
#define LML_CHIRPSTEPS_H

#include "large/LargeRun.h"
#include "transform/ChirpAxis.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace LumoraLib::detail
{
class ChirpSteps final : public SweepSteps
{
public:
    /// Only the columns that the destination has are kept behind the rows.
    static TileNeeds Needs(const GridPlace& to, const SegmentGrid& destination, int threads);
    /// The layout lives as long.
    ChirpSteps(const ChirpPass& pass, const GridPlace& from, const SegmentGrid& source, const GridPlace& to,
               const SegmentGrid& destination, const TileLayout& layout, int threads);

    void Forward(int index, int size, const Complex* rows, Complex* tiles, std::size_t first,
                 std::size_t count) const override;
    void Strips(std::size_t unit, Complex* samples) const override;
    void Back(int index, int size, const Complex* tiles, Complex* rows, std::size_t first,
              std::size_t count) const override;

private:
    ChirpAxes axes_;
    GridPlace from_, to_;
    std::size_t sourceColumns_, destinationColumns_;
    const TileLayout& layout_;
    int threads_;
    RowStage stage_;
    std::optional<WideRowConvolution> rows_;
};
} // namespace LumoraLib::detail

#endif
