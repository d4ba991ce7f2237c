// How the samples between the sweeps are cut: bands of rows, units of columns, a tile where they meet.
#ifndef LML_TILELAYOUT_H
#define LML_TILELAYOUT_H

#include "base/Parallel.h"
#include "transform/wide/WidePasses.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace LumoraLib::detail
{
/// Columns of the grid that lie side by side.
struct ColumnRun
{
    std::size_t first = 0;
    std::size_t count = 0;
};

/// Columns that are transformed together: one run, or two that mirror each other about the centre of the spectrum.
struct TileUnit
{
    ColumnRun left;
    ColumnRun right;
    std::size_t Width() const { return left.count + right.count; }
};

/// A tile is a band's rows of a unit's columns, row by row without a gap. A band's tiles stand one after another, each
/// at its rows times the unit's place.
struct TileLayout
{
    std::size_t rows = 0;     ///< of all bands
    std::size_t bandRows = 1; ///< of a band; the last may have fewer
    std::size_t slot = 0;     ///< columns of the widest unit
    bool pairs = false;       ///< units are mirrored pairs of strips
    std::vector<TileUnit> units;
    std::vector<std::size_t> places; ///< columns before each unit, and of all of them: multiples of `slot`, or no gaps

    std::size_t Bands() const { return (rows + bandRows - 1) / bandRows; }
    std::size_t RowsOf(std::size_t band) const { return std::min(bandRows, rows - band * bandRows); }
    /// Samples of the tiles of a whole band.
    std::size_t BandSamples() const { return bandRows * places.back(); }

    /// Row `row` of a band of `bandRowCount`: from the grid's columns to the tiles, and back.
    void Scatter(const Complex* columns, Complex* tiles, std::size_t row, std::size_t bandRowCount) const;
    void Gather(const Complex* tiles, Complex* columns, std::size_t row, std::size_t bandRowCount) const;
};

/// What a layout is made for.
struct TileNeeds
{
    std::size_t rows = 0;         ///< rows that are kept between the sweeps
    std::size_t rowSamples = 0;   ///< samples of a row of source or destination, the larger of the two
    std::size_t unitRows = 0;     ///< rows of the buffer that a unit is transformed in
    std::size_t gridColumns = 0;  ///< columns of the grid
    WideRange columns;            ///< those that are kept
    bool pairs = false;           ///< units are to be mirrored pairs where that keeps no more columns
    std::uint64_t rowBytes = 0;   ///< what the sweeps over rows take whatever the layout
    std::uint64_t stripBytes = 0; ///< likewise the sweep over columns
    int threads = 1;
};

/// The layout whose sweeps take at most `memory` bytes, or the least that works, and what they take: tiles of about
/// 4 MiB where memory allows them.
TileLayout PlanTiles(const TileNeeds& needs, std::uint64_t memory, std::uint64_t& taken);

/// The bands and units of each of several equal parts of the work (lanes), one for each rank that begins it: a lane has
/// neighbouring bands, and neighbouring units. In round i each lane is at its i-th one.
class LaneMap
{
public:
    LaneMap(const TileLayout& layout, int lanes);
    int Lanes() const { return lanes_; }
    Block Bands(int lane) const { return BlockOf(layout_.Bands(), lane, lanes_); }
    Block Units(int lane) const { return BlockOf(layout_.units.size(), lane, lanes_); }
    int LaneOfUnit(std::size_t unit) const { return laneOfUnit_[unit]; }
    /// Rows of a lane's bands.
    Block Rows(int lane) const;
    std::size_t BandRounds() const { return (layout_.Bands() + Count() - 1) / Count(); }
    std::size_t UnitRounds() const { return (layout_.units.size() + Count() - 1) / Count(); }
    /// Columns of the i-th units of the lanes before this one.
    std::size_t ColumnsBefore(int lane, std::size_t round) const
    {
        return before_[round * (Count() + 1) + Index(lane)];
    }
    /// Samples of a round's tiles in one lane: a unit, or a lane's rows of a unit of every lane.
    std::size_t RoundSamples() const { return roundSamples_; }
    const TileLayout& Layout() const { return layout_; }

private:
    std::size_t Count() const { return static_cast<std::size_t>(lanes_); }
    static std::size_t Index(int lane) { return static_cast<std::size_t>(lane); }

    const TileLayout& layout_;
    int lanes_;
    std::vector<int> laneOfUnit_;
    std::vector<std::size_t> before_;
    std::size_t roundSamples_ = 0;
};

/// A layout for lanes, without gaps, and what each lane takes of the memory.
struct LanePlan
{
    TileLayout layout;
    bool inMemory = false;       ///< the tiles too
    std::uint64_t memory = 0;    ///< bytes
    std::uint64_t laneBytes = 0; ///< of a lane's tiles, in memory or on the disk
    std::size_t receive = 0;     ///< samples that come from other lanes at a time
};

/// The layout whose sweeps take at most `memory` bytes in each lane, the tiles of all of them in memory where they fit.
LanePlan PlanLanes(const TileNeeds& needs, int lanes, std::uint64_t memory);
} // namespace LumoraLib::detail

#endif
