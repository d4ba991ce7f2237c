// How the samples between the sweeps are cut: bands of rows, units of columns, a tile where they meet.
#ifndef LML_TILELAYOUT_H
#define LML_TILELAYOUT_H

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

/// A tile is a band's rows of a unit's columns, row by row without a gap. A band's tiles stand one after another at
/// multiples of its rows times `slot`.
struct TileLayout
{
    std::size_t rows = 0;     ///< of all bands
    std::size_t bandRows = 1; ///< of a band; the last may have fewer
    std::size_t slot = 0;     ///< columns of the widest unit
    bool pairs = false;       ///< units are mirrored pairs of strips
    std::vector<TileUnit> units;

    std::size_t Bands() const { return (rows + bandRows - 1) / bandRows; }
    std::size_t RowsOf(std::size_t band) const { return std::min(bandRows, rows - band * bandRows); }
    /// Samples of the tiles of a whole band.
    std::size_t BandSamples() const { return units.size() * bandRows * slot; }

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
} // namespace LumoraLib::detail

#endif
