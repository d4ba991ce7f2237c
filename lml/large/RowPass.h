// One pass over the rows of one or two files, and into another, without a scratch file; of several ranks each has a
// part of the rows.
#ifndef LML_ROWPASS_H
#define LML_ROWPASS_H

#include "base/Progress.h"
#include "large/BlockMemory.h"
#include "large/IoThread.h"
#include "large/SegmentedFile.h"
#include "large/Together.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace LumoraLib::detail
{
/// Files of one whole size.
struct RowPass
{
    const char* function = nullptr;
    SegmentedFile* first = nullptr;
    SegmentedFile* second = nullptr; ///< may be null
    SegmentedFile* result = nullptr; ///< takes what becomes of the first one's samples; may be null
    std::uint64_t memory = 0;
    LargeRanks* ranks = nullptr;
    Block own = {0, 0};   ///< this rank's rows
    bool inTurns = false; ///< instead: all rows, each rank in turn so many as are done at a time

    /// Rows that are done at a time.
    std::size_t Rows() const
    {
        const std::uint64_t row = static_cast<std::uint64_t>(first->Grid().Nx()) * sizeof(Complex);
        const std::uint64_t most = std::min<std::uint64_t>(memory, std::uint64_t{64} << 20);
        return static_cast<std::size_t>(std::clamp<std::uint64_t>(most / ((second == nullptr ? 2 : 4) * row), 1,
                                                                  static_cast<std::uint64_t>(first->Grid().Ny())));
    }

    /// Calls each(row, rows, samples of the first, of the second or null) in the order of the rows; reading and writing
    /// go on beside it. Ranks call it equally often, where one of them has no more rows with none, and together: what
    /// it does with the others is in order. Errors: ERR_MEMORY; ERR_FILE_READ, ERR_FILE_WRITE with the path;
    /// "cancelled".
    template <class Each>
    void Run(const Each& each) const
    {
        const std::int64_t nx = first->Grid().Nx();
        const std::int64_t begin = inTurns ? 0 : static_cast<std::int64_t>(own.begin);
        const std::int64_t ny = inTurns ? first->Grid().Ny() : static_cast<std::int64_t>(own.end);
        const std::size_t rows = Rows();
        const std::size_t width = static_cast<std::size_t>(nx);
        const std::size_t samples = rows * width;
        const BlockMemory buffers(second == nullptr ? 2 : 4, samples * sizeof(Complex));
        Progress progress(function, ny - begin);
        const SegmentedFile* failed = nullptr;
        bool reading = true;
        const std::size_t turns = inTurns && ranks != nullptr ? static_cast<std::size_t>(ranks->GetSize()) : 1;
        const std::size_t turn = turns > 1 ? static_cast<std::size_t>(ranks->GetRank()) : 0;
        const auto rowOf = [&](std::size_t round)
        {
            return std::min(begin + static_cast<std::int64_t>((round * turns + turn) * rows), ny);
        };
        const auto rowsOf = [&](std::size_t round)
        {
            return std::min<std::int64_t>(static_cast<std::int64_t>(rows), ny - rowOf(round));
        };
        const auto buffer = [&](int file, std::size_t round)
        {
            return buffers.As<Complex>(2 * file + static_cast<int>(round % 2));
        };
        const auto read = [&](SegmentedFile* file, int number, std::size_t round)
        {
            const bool good = file->ReadSamples(0, rowOf(round), nx, rowsOf(round), buffer(number, round), width);
            failed = good ? failed : file;
            return good;
        };
        const std::size_t all = static_cast<std::size_t>(ny - begin);
        std::size_t rounds = (all + rows * turns - 1) / (rows * turns);
        Agreement::Require(ranks);
        if (ranks != nullptr)
            rounds = static_cast<std::size_t>(ranks->GetLargest(static_cast<std::int64_t>(rounds)));
        IoThread io;
        const bool good = SweepRounds(
            io, 0, rounds,
            [&](std::size_t round) { return read(first, 0, round) && (second == nullptr || read(second, 1, round)); },
            [&](std::size_t round)
            {
                Agreement::Require(ranks);
                progress.Step(rowOf(round) - begin);
                each(rowOf(round), static_cast<std::size_t>(rowsOf(round)), buffer(0, round),
                     second == nullptr ? nullptr : buffer(1, round));
            },
            [&](std::size_t round)
            {
                if (result == nullptr ||
                    result->WriteSamples(0, rowOf(round), nx, rowsOf(round), buffer(0, round), width))
                    return true;
                failed = result;
                reading = false;
                return false;
            });
        if (!good)
            Error(reading ? ERR_FILE_READ : ERR_FILE_WRITE, function, failed->Path().c_str());
    }
};
} // namespace LumoraLib::detail

#endif
