// One centred transform in sweeps, between factors that depend on row and column: Fft and FresnelProp.
#ifndef LML_FOURIERSTEPS_H
#define LML_FOURIERSTEPS_H

#include "large/LargeRun.h"
#include "simd/WidePhase.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace LumoraLib::detail
{
/// The phases of a Fresnel propagation on the two planes, for rows of a grid.
struct FresnelPhases
{
    double k, d;
    Lumora before{0, 0}; ///< sizes and pitches of the grid on the source's plane, without samples
    Lumora after{0, 0};  ///< on the destination's
};

class FourierSteps final : public SweepSteps
{
public:
    static TileNeeds Needs(const GridPlace& place, int threads);
    /// Objects that live as long: phases (null: none), layout.
    FourierSteps(int sign, const FresnelPhases* phases, const GridPlace& place, const SegmentGrid& own,
                 const TileLayout& layout, int threads);

    void Forward(int index, int size, const Complex* rows, Complex* tiles, std::size_t first,
                 std::size_t count) const override;
    void Strips(std::size_t unit, Complex* samples) const override;
    void Back(int index, int size, const Complex* tiles, Complex* rows, std::size_t first,
              std::size_t count) const override;

private:
    int sign_;
    const FresnelPhases* phases_;
    GridPlace place_;
    const TileLayout& layout_;
    std::size_t ownColumns_;
    int threads_;
    RowStage stage_;
    std::optional<WideRowPass> rows_;
};
} // namespace LumoraLib::detail

#endif
