// From bands of rows to units of columns and back: the one thing that the sweeps do not know how it is done.
#ifndef LML_EXCHANGE_H
#define LML_EXCHANGE_H

#include "large/TileLayout.h"

#include <cstddef>
#include <cstdint>

namespace LumoraLib::detail
{
/// Holds the tiles of a grid between the sweeps. A sweep over rows puts all bands, a sweep over columns takes every
/// unit and puts it back, a last sweep over rows takes all bands. The work comes in rounds: where several processes
/// share a grid, each round gives each of them a band (or a unit) of its own, or none, and all of them make the same
/// calls in the same order, so that a call may be collective. Calls come from one thread at a time, not always the same
/// one, while the arithmetic of another round goes on; when one returns, its buffer may be used again. The sweeps ask
/// for a unit or a band only when every round of the sweep before has been put.
///
/// The tiles of a band stand in a buffer as TileLayout says; those of a unit make up its columns over all rows of the
/// layout, row by row without a gap.
class Exchange
{
public:
    static constexpr std::size_t kNone = SIZE_MAX; ///< no band or unit for this process in a round

    virtual ~Exchange() = default;
    virtual std::size_t BandRounds() const = 0;
    virtual std::size_t BandOf(std::size_t round) const = 0;
    virtual std::size_t UnitRounds() const = 0;
    virtual std::size_t UnitOf(std::size_t round) const = 0;

    /// Each tells whether it went well; after a failure nothing more is asked for.
    [[nodiscard]] virtual bool PutBand(std::size_t round, const Complex* tiles) = 0;
    [[nodiscard]] virtual bool TakeUnit(std::size_t round, Complex* unit) = 0;
    [[nodiscard]] virtual bool PutUnit(std::size_t round, const Complex* unit) = 0;
    [[nodiscard]] virtual bool TakeBand(std::size_t round, Complex* tiles) = 0;
};
} // namespace LumoraLib::detail

#endif
