// Three sweeps over a field in files: rows, columns, rows, with the exchange between them.
#ifndef LML_SWEEPS_H
#define LML_SWEEPS_H

#include "base/Progress.h"
#include "base/Scratch.h"
#include "large/Exchange.h"
#include "large/Journal.h"
#include "large/SegmentedFile.h"
#include "large/TileLayout.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>

namespace LumoraLib::detail
{
/// The arithmetic of an operation. Rows are those of the layout; `first` counts from its first one. Constructors take
/// all memory but that of Strips().
class SweepSteps
{
public:
    virtual ~SweepSteps() = default;
    /// Thread `index` of `size`: its share of the band's rows of samples, to the tiles. Cannot fail.
    virtual void Forward(int index, int size, const Complex* rows, Complex* tiles, std::size_t first,
                         std::size_t count) const = 0;
    /// The columns of a unit, in place, with a team of its own.
    virtual void Strips(std::size_t unit, Complex* samples) const = 0;
    /// The way back from tiles to samples of the destination. Cannot fail.
    virtual void Back(int index, int size, const Complex* tiles, Complex* rows, std::size_t first,
                      std::size_t count) const = 0;
};

/// Which part of a file the sweeps meet: its columns and rows from (0, 0) on, its row 0 being row `first` of the
/// layout. Rows of the layout that the source does not have are zeros; those that the destination does not have are
/// not written.
struct SweepEnd
{
    SegmentedFile* file = nullptr;
    std::size_t first = 0;
    std::size_t Columns() const { return static_cast<std::size_t>(file->Grid().Nx()); }
    std::size_t Rows() const { return static_cast<std::size_t>(file->Grid().Ny()); }
};

struct SweepRun
{
    const char* function = nullptr;
    const char* scratchPath = nullptr; ///< what a failure of the exchange names
    SweepEnd source;
    SweepEnd destination;
    const TileLayout* layout = nullptr;
    const SweepSteps* steps = nullptr;
    std::size_t unitRows = 0;  ///< rows of a unit's buffer
    std::size_t unitFirst = 0; ///< the one that row 0 of the layout comes to; the others are zeros
    int threads = 1;
    Exchange* exchange = nullptr;
    /// Told of every round of a sweep that is done, and how many of them are: false when that could not be noted.
    std::function<bool(std::uint64_t sweep, std::uint64_t rounds)> note;
    Journal::State state; ///< where to go on
};

/// Carries the sweeps out. Errors: ERR_MEMORY; ERR_FILE_READ and ERR_FILE_WRITE with the path; "cancelled".
void RunSweeps(const SweepRun& run, Progress& progress);

/// Whole rows of a grid on their way between a file's own columns and the tiles, a few per thread at a time.
class RowStage
{
public:
    /// `columns`: samples of a row of the grid.
    RowStage(std::size_t columns, int threads);
    /// Bytes for so many threads.
    static std::uint64_t Bytes(std::size_t columns, int threads);
    std::size_t Rows() const { return rows_; }
    /// Room of thread `index` for Rows() rows; zeros at first.
    Complex* Of(int index) const { return memory_.As<Complex>(index); }

    /// A row of `width` samples: `count` given ones from `at` on, zeros beside them.
    static void Place(Complex* to, std::size_t width, std::size_t at, const Complex* from, std::size_t count)
    {
        std::fill_n(to, at, Complex());
        std::copy_n(from, count, to + at);
        std::fill(to + at + count, to + width, Complex());
    }

    /// Calls each(first row, number of rows) for groups of a thread's share of `count` rows.
    template <class Each>
    void ForEachGroup(std::size_t count, int index, int size, const Each& each) const
    {
        const Block block = BlockOf(count, index, size);
        for (std::size_t row = block.begin; row < block.end; row += rows_)
            each(row, row + rows_ < block.end ? rows_ : block.end - row);
    }

private:
    std::size_t rows_;
    Scratch memory_;
};
} // namespace LumoraLib::detail

#endif
