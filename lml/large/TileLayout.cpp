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
constexpr std::size_t kWideUnit = 1024;
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

/// How many of `count` pieces a unit has, at most `most`: units of one width, where that costs no more than half of
/// them, for what the widest leaves empty in the slots of the others is read and written too.
std::size_t EvenShare(std::size_t count, std::size_t most)
{
    for (std::size_t share = std::min(most, count); 2 * share >= most && share > 0; --share)
        if (count % share == 0)
            return share;
    const std::size_t units = (count + most - 1) / most;
    return (count + units - 1) / units;
}

/// How many of `count` pieces a unit has, at most `most`, so that the lane with the most of them has as few as can be.
std::size_t LaneShare(std::size_t count, std::size_t most, std::size_t lanes)
{
    std::size_t best = 1, least = SIZE_MAX;
    for (std::size_t share = std::min(most, count); share > 0 && 2 * share >= most; --share)
    {
        const std::size_t units = (count + share - 1) / share;
        const std::size_t load = (units + lanes - 1) / lanes * share;
        if (load < least)
        {
            best = share;
            least = load;
        }
    }
    return best;
}

/// The units of at most `width` columns each; with lanes (not 0) spread evenly over them, and without gaps between.
void CutColumns(TileLayout& layout, const TileNeeds& needs, std::size_t width, std::size_t lanes = 0)
{
    const auto share = [lanes](std::size_t count, std::size_t most)
    {
        return lanes == 0 ? EvenShare(count, most) : LaneShare(count, most, lanes);
    };
    layout.units.clear();
    if (layout.pairs)
    {
        const std::size_t pairs = PairedStrips(needs.columns, needs.gridColumns);
        const std::size_t each = share(pairs, std::max<std::size_t>(1, width / (2 * kWideStrip)));
        for (std::size_t first = 0; first < pairs; first += each)
        {
            const std::size_t last = std::min(first + each, pairs);
            const std::size_t count = (last - first) * kWideStrip;
            layout.units.push_back({{first * kWideStrip, count}, {needs.gridColumns - last * kWideStrip, count}});
        }
    }
    else
    {
        const std::vector<ColumnRun> runs = StripRuns(needs.columns, needs.gridColumns);
        std::size_t strips = 1;
        for (const ColumnRun& run : runs)
            strips = std::max(strips, (run.count + kWideStrip - 1) / kWideStrip);
        const std::size_t each = kWideStrip * share(strips, std::max<std::size_t>(1, width / kWideStrip));
        for (const ColumnRun& run : runs)
            for (std::size_t at = 0; at < run.count; at += each)
                layout.units.push_back({{run.first + at, std::min(each, run.count - at)}, {}});
    }
    layout.slot = 0;
    for (const TileUnit& unit : layout.units)
        layout.slot = std::max(layout.slot, unit.Width());
    layout.places.assign(1, 0);
    for (const TileUnit& unit : layout.units)
        layout.places.push_back(layout.places.back() + (lanes == 0 ? layout.slot : unit.Width()));
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
        Complex* const to = tiles + places[u] * bandRowCount + row * unit.Width();
        std::copy_n(columns + unit.left.first, unit.left.count, to);
        std::copy_n(columns + unit.right.first, unit.right.count, to + unit.left.count);
    }
}

void TileLayout::Gather(const Complex* tiles, Complex* columns, std::size_t row, std::size_t bandRowCount) const
{
    for (std::size_t u = 0; u < units.size(); ++u)
    {
        const TileUnit& unit = units[u];
        const Complex* const from = tiles + places[u] * bandRowCount + row * unit.Width();
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

LaneMap::LaneMap(const TileLayout& layout, int lanes) : layout_(layout), lanes_(lanes)
{
    laneOfUnit_.resize(layout.units.size());
    before_.assign(UnitRounds() * (Count() + 1), 0);
    std::size_t rows = 0;
    for (int lane = 0; lane < lanes; ++lane)
    {
        rows = std::max(rows, Rows(lane).end - Rows(lane).begin);
        const Block units = Units(lane);
        for (std::size_t u = units.begin; u < units.end; ++u)
        {
            laneOfUnit_[u] = lane;
            before_[(u - units.begin) * (Count() + 1) + Index(lane) + 1] = layout.units[u].Width();
        }
    }
    std::size_t columns = 0;
    for (std::size_t round = 0; round < UnitRounds(); ++round)
    {
        std::size_t* const line = before_.data() + round * (Count() + 1);
        for (std::size_t lane = 0; lane < Count(); ++lane)
            line[lane + 1] += line[lane];
        columns = std::max(columns, line[Count()]);
    }
    roundSamples_ = std::max(layout.rows * layout.slot, rows * columns);
}

Block LaneMap::Rows(int lane) const
{
    const Block bands = Bands(lane);
    return {std::min(bands.begin * layout_.bandRows, layout_.rows),
            std::min(bands.end * layout_.bandRows, layout_.rows)};
}

LanePlan PlanLanes(const TileNeeds& needs, int lanes, std::uint64_t memory)
{
    /// So many units of each lane, where there are so many strips: what one sends goes on beside the next one's work.
    constexpr std::size_t kLeastUnits = 4;
    /// Of a message to one lane, where there is so much to send: 256 KiB.
    constexpr std::size_t kMessageSamples = std::size_t{1} << 15;
    const std::size_t count = static_cast<std::size_t>(lanes);
    LanePlan plan;
    TileLayout& layout = plan.layout;
    layout.rows = needs.rows;
    layout.pairs = PairsServe(needs);
    const std::size_t step = layout.pairs ? 2 * kWideStrip : kWideStrip;
    for (const bool inMemory : {true, false})
    {
        const std::uint64_t tiles =
            kSample * needs.rows * (UpToStrip(needs.columns.Count(needs.gridColumns), needs.gridColumns) / count);
        const std::uint64_t budget = inMemory ? Rest(memory, tiles) : memory;
        // Two buffers of a unit, and one of what comes from the others.
        const std::uint64_t column = kSample * (2 * needs.unitRows + needs.rows + needs.rows / 8);
        const std::size_t most =
            std::max<std::size_t>(step, static_cast<std::size_t>(Rest(budget, needs.stripBytes) / column));
        // Files want large tiles; in memory a unit and a band are best as small as the caches, and as messages allow.
        const std::size_t team = step * static_cast<std::size_t>(needs.threads);
        const std::size_t message = kMessageSamples * count;
        const std::size_t wide = std::max(inMemory ? message / needs.rows : kWideUnit, team);
        const std::size_t each = needs.columns.Count(needs.gridColumns) / (count * kLeastUnits) / step * step;
        CutColumns(layout, needs, std::min({most, wide, std::max(step, each)}), count);
        // Two buffers of a band's rows, two of its tiles, and one of what comes from the others.
        const std::size_t columns = layout.places.back();
        const std::uint64_t rowBytes = kSample * (2 * needs.rowSamples + 3 * columns + count * layout.slot);
        const std::uint64_t fit = Rest(budget, needs.rowBytes) / rowBytes;
        const std::size_t part = (needs.rows + count * kLeastBands - 1) / (count * kLeastBands);
        const std::size_t tile = inMemory
                                     ? std::max<std::size_t>({kTileSamples, message,
                                                              columns * 8 * static_cast<std::size_t>(needs.threads)}) /
                                           columns
                                     : static_cast<std::size_t>((kTileSamples + layout.slot - 1) / layout.slot);
        const std::size_t rows =
            std::min<std::size_t>(tile, static_cast<std::size_t>(std::clamp<std::uint64_t>(fit, 1, part)));
        const std::size_t bands = ((needs.rows + rows - 1) / rows + count - 1) / count * count; // as many in each lane
        layout.bandRows = (needs.rows + bands - 1) / bands;
        const LaneMap map(layout, lanes);
        std::size_t widest = 0; // columns of a lane's units
        for (int lane = 0; lane < lanes; ++lane)
            widest = std::max(widest, layout.places[map.Units(lane).end] - layout.places[map.Units(lane).begin]);
        plan.receive = std::max(map.RoundSamples(), count * layout.bandRows * widest);
        plan.laneBytes = kSample * map.RoundSamples() * (map.UnitRounds() + (inMemory ? 0 : 1));
        plan.inMemory = inMemory;
        plan.memory = kSample * plan.receive + (inMemory ? plan.laneBytes : 0) +
                      std::max(needs.stripBytes + 2 * kSample * needs.unitRows * layout.slot,
                               needs.rowBytes + 2 * kSample * layout.bandRows * (needs.rowSamples + columns));
        if (plan.memory <= memory)
            break;
    }
    return plan;
}
} // namespace LumoraLib::detail
