// The exchange of one process: tiles in a scratch file, and in room that the destination lends.
#include "large/ScratchExchange.h"

#include <algorithm>
#include <utility>

namespace LumoraLib::detail
{
ScratchExchange::ScratchExchange(BlockFile& file, const TileLayout& layout) : file_(file), layout_(layout)
{
    Plan();
}

void ScratchExchange::Lend(BlockFile& host, std::vector<std::vector<FilePiece>> rooms)
{
    host_ = &host;
    rooms_ = std::move(rooms);
    Plan();
}

void ScratchExchange::Plan()
{
    own_.resize(layout_.Bands());
    bytes_ = 0;
    for (std::size_t band = 0; band < layout_.Bands(); ++band)
    {
        std::uint64_t wanted = Slots(band, layout_.units.size() + 1);
        if (host_ != nullptr)
            for (const FilePiece& piece : rooms_[band])
                wanted -= std::min(wanted, piece.bytes);
        own_[band] = bytes_;
        bytes_ += static_cast<std::int64_t>(wanted);
    }
}

/// Bytes of so many slots of a band.
std::uint64_t ScratchExchange::Slots(std::size_t band, std::size_t slots) const
{
    return std::uint64_t{slots} * layout_.RowsOf(band) * layout_.slot * sizeof(Complex);
}

/// Calls move(file, position, offset in the buffer, bytes) for the pieces of what begins at a slot of a band. Stops
/// where a call gives false.
template <class Move>
bool ScratchExchange::ForEachPiece(std::size_t band, std::size_t slot, std::uint64_t bytes, const Move& move) const
{
    std::uint64_t before = Slots(band, slot); // of the band, still to be passed over
    std::uint64_t done = 0;
    const auto take = [&](BlockFile& file, std::int64_t at, std::uint64_t length)
    {
        const std::uint64_t over = std::min(before, length);
        const std::uint64_t now = std::min(length - over, bytes - done);
        before -= over;
        done += now;
        return now == 0 || move(file, at + static_cast<std::int64_t>(over), done - now, now);
    };
    if (host_ != nullptr)
        for (const FilePiece& piece : rooms_[band])
            if (!take(*host_, piece.at, piece.bytes))
                return false;
    return take(file_, own_[band], UINT64_MAX);
}

bool ScratchExchange::PutBand(std::size_t round, const Complex* tiles)
{
    const char* const from = reinterpret_cast<const char*>(tiles);
    return ForEachPiece(round, 1, Slots(round, layout_.units.size()),
                        [from](BlockFile& file, std::int64_t at, std::uint64_t offset, std::uint64_t bytes)
                        { return file.WriteAt(at, from + offset, bytes); });
}

bool ScratchExchange::TakeBand(std::size_t round, Complex* tiles)
{
    char* const to = reinterpret_cast<char*>(tiles);
    return ForEachPiece(round, 0, Slots(round, layout_.units.size()),
                        [to](BlockFile& file, std::int64_t at, std::uint64_t offset, std::uint64_t bytes)
                        { return file.ReadAt(at, to + offset, bytes); });
}

bool ScratchExchange::TakeUnit(std::size_t round, Complex* unit)
{
    char* to = reinterpret_cast<char*>(unit);
    for (std::size_t band = 0; band < layout_.Bands(); ++band)
    {
        const std::uint64_t length =
            std::uint64_t{layout_.RowsOf(band)} * layout_.units[round].Width() * sizeof(Complex);
        if (!ForEachPiece(band, round + 1, length,
                          [to](BlockFile& file, std::int64_t at, std::uint64_t offset, std::uint64_t bytes)
                          { return file.ReadAt(at, to + offset, bytes); }))
            return false;
        to += length;
    }
    return true;
}

bool ScratchExchange::PutUnit(std::size_t round, const Complex* unit)
{
    const char* from = reinterpret_cast<const char*>(unit);
    for (std::size_t band = 0; band < layout_.Bands(); ++band)
    {
        const std::uint64_t length =
            std::uint64_t{layout_.RowsOf(band)} * layout_.units[round].Width() * sizeof(Complex);
        if (!ForEachPiece(band, round, length,
                          [from](BlockFile& file, std::int64_t at, std::uint64_t offset, std::uint64_t bytes)
                          { return file.WriteAt(at, from + offset, bytes); }))
            return false;
        from += length;
    }
    return true;
}
} // namespace LumoraLib::detail
