// How the samples between the sweeps are cut: bands of rows, units of columns, a tile where they meet.
#include "large/TileLayout.h"

#include "transform/wide/WideTables.h"

namespace LumoraLib::detail
{
namespace
{
constexpr std::uint64_t kSample = sizeof(Complex);
constexpr std::uint64_t kTileSamples = (std::uint64_t{4} << 20) / kSample;
/// Columns of a unit where memory is plenty: tiles of kTileSamples are about square.
constexpr std::size_t kWideUnit = 768;
/// A sweep has at least so many bands, so that reading and writing find something to go on beside.
constexpr std::size_t kLeastBands = 8;

std::size_t DownToStrip(std::size_t column)
{
    return column / kWideStrip * kWideStrip;
}
std::size_t UpToStrip(std::size_t column, std::size_t columns)
{
    return std::min((column + kWideStrip - 1) / kWideStrip * kWideStrip, columns);
}

/// Strips on each side of frequency zero that hold the range.
std::size_t PairedStrips(const WideRange& range, std::size_t columns)
{
    const std::size_t side = range.IsAll(columns) ? columns / 2 : std::max(range.end, columns - range.begin);
    return (std::min(side, columns / 2) + kWideStrip - 1) / kWideStrip;
}

/// The runs of whole strips that hold the range.
std::vector<ColumnRun> StripRuns(const WideRange& range, std::size_t columns)
{
    if (range.begin <= range.end)
    {
        const std::size_t first = DownToStrip(range.begin);
        return {{first, UpToStrip(range.end, columns) - first}};
    }
    const std::size_t low = UpToStrip(range.end, columns);
    const std::size_t high = DownToStrip(range.begin);
    if (low >= high)
        return {{0, columns}};
    if (low == 0)
        return {{high, columns - high}};
    return {{0, low}, {high, columns - high}};
}

bool PairsServe(const TileNeeds& needs)
{
    if (!needs.pairs || needs.gridColumns % (2 * kWideStrip) != 0)
        return false;
    std::size_t single = 0;
    for (const ColumnRun& run : StripRuns(needs.columns, needs.gridColumns))
        single += run.count;
    return 2 * kWideStrip * PairedStrips(needs.columns, needs.gridColumns) <= single + 2 * kWideStrip;
}

/// The units of at most `width` columns each.
void CutColumns(TileLayout& layout, const TileNeeds& needs, std::size_t width)
{
    layout.units.clear();
    if (layout.pairs)
    {
        const std::size_t pairs = PairedStrips(needs.columns, needs.gridColumns);
        const std::size_t each = std::max<std::size_t>(1, width / (2 * kWideStrip));
        for (std::size_t first = 0; first < pairs; first += each)
        {
            const std::size_t last = std::min(first + each, pairs);
            const std::size_t count = (last - first) * kWideStrip;
            layout.units.push_back({{first * kWideStrip, count}, {needs.gridColumns - last * kWideStrip, count}});
        }
    }
    else
    {
        const std::size_t each = std::max(kWideStrip, DownToStrip(width));
        for (const ColumnRun& run : StripRuns(needs.columns, needs.gridColumns))
            for (std::size_t at = 0; at < run.count; at += each)
                layout.units.push_back({{run.first + at, std::min(each, run.count - at)}, {}});
    }
    layout.slot = 0;
    for (const TileUnit& unit : layout.units)
        layout.slot = std::max(layout.slot, unit.Width());
}

std::uint64_t Rest(std::uint64_t memory, std::uint64_t fixed)
{
    return memory > fixed ? memory - fixed : 0;
}
} // namespace

void TileLayout::Scatter(const Complex* columns, Complex* tiles, std::size_t row, std::size_t bandRowCount) const
{
    for (std::size_t u = 0; u < units.size(); ++u)
    {
        const TileUnit& unit = units[u];
        Complex* const to = tiles + u * bandRowCount * slot + row * unit.Width();
        std::copy_n(columns + unit.left.first, unit.left.count, to);
        std::copy_n(columns + unit.right.first, unit.right.count, to + unit.left.count);
    }
}

void TileLayout::Gather(const Complex* tiles, Complex* columns, std::size_t row, std::size_t bandRowCount) const
{
    for (std::size_t u = 0; u < units.size(); ++u)
    {
        const TileUnit& unit = units[u];
        const Complex* const from = tiles + u * bandRowCount * slot + row * unit.Width();
        std::copy_n(from, unit.left.count, columns + unit.left.first);
        std::copy_n(from + unit.left.count, unit.right.count, columns + unit.right.first);
    }
}

TileLayout PlanTiles(const TileNeeds& needs, std::uint64_t memory, std::uint64_t& taken)
{
    TileLayout layout;
    layout.rows = needs.rows;
    layout.pairs = PairsServe(needs);
    // Two buffers of a unit, two of a band's rows and two of its tiles.
    const std::uint64_t column = 2 * kSample * needs.unitRows;
    const std::size_t step = layout.pairs ? 2 * kWideStrip : kWideStrip;
    const std::size_t most =
        std::max<std::size_t>(step, static_cast<std::size_t>(Rest(memory, needs.stripBytes) / column));
    const std::size_t wide = std::max(kWideUnit, step * static_cast<std::size_t>(needs.threads));
    CutColumns(layout, needs, std::min(most, wide));

    const auto rowBytes = [&]
    {
        return 2 * kSample * (needs.rowSamples + layout.units.size() * layout.slot);
    };
    const auto mostRows = [&]
    {
        const std::uint64_t fit = Rest(memory, needs.rowBytes) / rowBytes();
        return static_cast<std::size_t>(
            std::clamp<std::uint64_t>(fit, 1, (needs.rows + kLeastBands - 1) / kLeastBands));
    };
    // Few rows fit: wider units, as far as memory goes, make up for flat tiles.
    if (mostRows() * layout.slot < kTileSamples && layout.slot < most)
        CutColumns(layout, needs,
                   std::min<std::size_t>(most, static_cast<std::size_t>(kTileSamples / mostRows()) + step));
    layout.bandRows = std::min(mostRows(), static_cast<std::size_t>((kTileSamples + layout.slot - 1) / layout.slot));
    taken = std::max(needs.stripBytes + column * layout.slot, needs.rowBytes + rowBytes() * layout.bandRows);
    return layout;
}
} // namespace LumoraLib::detail
