// Three sweeps over a field in files: rows, columns, rows, with the exchange between them.
#include "large/Sweeps.h"

#include "base/Parallel.h"
#include "large/BlockMemory.h"
#include "large/IoThread.h"

#include <algorithm>

namespace LumoraLib::detail
{
namespace
{
/// A failed transfer, as the thread that met it sets it down for the one that reports it.
struct Failure
{
    ErrorCode code = ERR_FILE_READ;
    const char* path = nullptr;

    bool Is(bool good, ErrorCode which, const char* where)
    {
        if (!good)
        {
            code = which;
            path = where;
        }
        return good;
    }
};

/// Two buffers of samples, zeros at first: what narrow units leave of their slots is written too.
class Pair
{
public:
    explicit Pair(std::size_t samples) : memory_(2, samples * sizeof(Complex)) {}
    Complex* Of(std::size_t round) const { return memory_.As<Complex>(static_cast<int>(round % 2)); }

private:
    BlockMemory memory_;
};

/// Rows [begin, end) of a file that lie in a band, and the band's row that the first of them is.
struct Overlap
{
    std::size_t begin = 0;
    std::size_t end = 0;
    std::size_t at = 0;
};

Overlap OverlapOf(const SweepEnd& side, std::size_t first, std::size_t count)
{
    const std::size_t begin = std::clamp(first, side.first, side.first + side.Rows()) - side.first;
    const std::size_t end = std::clamp(first + count, side.first, side.first + side.Rows()) - side.first;
    return {begin, end, begin < end ? begin + side.first - first : 0};
}

class Runner
{
public:
    Runner(const SweepRun& run, Progress& progress) : run_(run), layout_(*run.layout), progress_(progress) {}

    void Run()
    {
        // What is done counts in samples of the layout, whose rows the sweeps over rows and columns share.
        const std::size_t rounds[] = {run_.exchange->BandRounds(), run_.exchange->UnitRounds(),
                                      run_.exchange->BandRounds()};
        for (std::uint64_t sweep = run_.state.sweep; sweep < 3; ++sweep)
        {
            sweep_ = sweep;
            rounds_ = rounds[sweep];
            const std::size_t first =
                sweep == run_.state.sweep ? std::min(static_cast<std::size_t>(run_.state.rounds), rounds_) : 0;
            const bool good = sweep == 0 ? Rows(first) : sweep == 1 ? Columns(first) : RowsBack(first);
            if (!good)
                Error(failure_.code, run_.function, failure_.path);
        }
    }

private:
    void Show(std::size_t round)
    {
        constexpr std::int64_t kUnits = 1 << 20; // of a sweep
        progress_.Step(static_cast<std::int64_t>(sweep_) * kUnits +
                       static_cast<std::int64_t>(round * static_cast<std::size_t>(kUnits) / rounds_));
    }
    bool Note(std::size_t round) { return failure_.Is(run_.note(sweep_, round + 1), ERR_FILE_WRITE, run_.scratchPath); }

    bool ReadRows(std::size_t round, Complex* to)
    {
        const std::size_t band = run_.exchange->BandOf(round);
        if (band == Exchange::kNone)
            return true;
        const std::size_t columns = run_.source.Columns();
        const std::size_t count = layout_.RowsOf(band);
        const Overlap rows = OverlapOf(run_.source, band * layout_.bandRows, count);
        const std::size_t have = rows.end - rows.begin;
        std::fill_n(to, rows.at * columns, Complex());
        std::fill_n(to + (rows.at + have) * columns, (count - rows.at - have) * columns, Complex());
        return failure_.Is(
            run_.source.file->ReadSamples(0, static_cast<std::int64_t>(rows.begin), static_cast<std::int64_t>(columns),
                                          static_cast<std::int64_t>(have), to + rows.at * columns, columns),
            ERR_FILE_READ, run_.source.file->Path().c_str());
    }
    bool WriteRows(std::size_t round, const Complex* from)
    {
        const std::size_t band = run_.exchange->BandOf(round);
        if (band == Exchange::kNone)
            return true;
        const std::size_t columns = run_.destination.Columns();
        const Overlap rows = OverlapOf(run_.destination, band * layout_.bandRows, layout_.RowsOf(band));
        return failure_.Is(run_.destination.file->WriteSamples(
                               0, static_cast<std::int64_t>(rows.begin), static_cast<std::int64_t>(columns),
                               static_cast<std::int64_t>(rows.end - rows.begin), from + rows.at * columns, columns),
                           ERR_FILE_WRITE, run_.destination.file->Path().c_str());
    }

    /// part(index, size, first row, rows) on a team for the band of a round, if it has one.
    template <class Part>
    void Band(std::size_t round, const Part& part)
    {
        Show(round);
        const std::size_t band = run_.exchange->BandOf(round);
        if (band != Exchange::kNone)
            ParallelTeam(run_.threads, [&](int index, int size)
                         { part(index, size, band * layout_.bandRows, layout_.RowsOf(band)); });
    }

    bool Rows(std::size_t first)
    {
        const Pair rows(layout_.bandRows * run_.source.Columns());
        const Pair tiles(layout_.BandSamples());
        IoThread io;
        return SweepRounds(
            io, first, rounds_, [&](std::size_t round) { return ReadRows(round, rows.Of(round)); },
            [&](std::size_t round)
            {
                Band(round, [&](int index, int size, std::size_t row, std::size_t count)
                     { run_.steps->Forward(index, size, rows.Of(round), tiles.Of(round), row, count); });
            },
            [&](std::size_t round)
            {
                return failure_.Is(run_.exchange->PutBand(round, tiles.Of(round)), ERR_FILE_WRITE, run_.scratchPath) &&
                       Note(round);
            });
    }

    bool Columns(std::size_t first)
    {
        const Pair units(run_.unitRows * layout_.slot);
        const auto own = [&](std::size_t round)
        {
            const std::size_t unit = run_.exchange->UnitOf(round);
            return units.Of(round) + (unit == Exchange::kNone ? 0 : run_.unitFirst * layout_.units[unit].Width());
        };
        IoThread io;
        return SweepRounds(
            io, first, rounds_,
            [&](std::size_t round)
            { return failure_.Is(run_.exchange->TakeUnit(round, own(round)), ERR_FILE_READ, run_.scratchPath); },
            [&](std::size_t round)
            {
                Show(round);
                const std::size_t unit = run_.exchange->UnitOf(round);
                if (unit == Exchange::kNone)
                    return;
                // The rows around the layout's are zeros, whatever the unit before has left there.
                const std::size_t width = layout_.units[unit].Width();
                std::fill_n(units.Of(round), run_.unitFirst * width, Complex());
                std::fill_n(own(round) + layout_.rows * width, (run_.unitRows - run_.unitFirst - layout_.rows) * width,
                            Complex());
                run_.steps->Strips(unit, units.Of(round));
            },
            [&](std::size_t round) {
                return failure_.Is(run_.exchange->PutUnit(round, own(round)), ERR_FILE_WRITE, run_.scratchPath) &&
                       Note(round);
            });
    }

    bool RowsBack(std::size_t first)
    {
        const Pair tiles(layout_.BandSamples());
        const Pair rows(layout_.bandRows * run_.destination.Columns());
        IoThread io;
        return SweepRounds(
            io, first, rounds_,
            [&](std::size_t round)
            { return failure_.Is(run_.exchange->TakeBand(round, tiles.Of(round)), ERR_FILE_READ, run_.scratchPath); },
            [&](std::size_t round)
            {
                Band(round, [&](int index, int size, std::size_t row, std::size_t count)
                     { run_.steps->Back(index, size, tiles.Of(round), rows.Of(round), row, count); });
            },
            [&](std::size_t round) { return WriteRows(round, rows.Of(round)) && Note(round); });
    }

    const SweepRun& run_;
    const TileLayout& layout_;
    Progress& progress_;
    Failure failure_;
    std::uint64_t sweep_ = 0;
    std::size_t rounds_ = 1;
};

/// Rows of a group: enough for rows that are done several at once, no more than stay in the near caches.
std::size_t GroupRows(std::size_t columns)
{
    constexpr std::size_t kGroupSamples = std::size_t{1} << 16;
    return std::clamp<std::size_t>(kGroupSamples / columns, 1, 16);
}
} // namespace

void RunSweeps(const SweepRun& run, Progress& progress)
{
    Runner(run, progress).Run();
}

RowStage::RowStage(std::size_t columns, int threads)
    : rows_(GroupRows(columns)), memory_(threads, rows_ * columns * sizeof(Complex))
{
    for (int n = 0; n < threads; ++n)
        std::fill_n(Of(n), rows_ * columns, Complex());
}

std::uint64_t RowStage::Bytes(std::size_t columns, int threads)
{
    return GroupRows(columns) * columns * sizeof(Complex) * static_cast<std::uint64_t>(threads);
}
} // namespace LumoraLib::detail
