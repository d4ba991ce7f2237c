// The exchange of one process: tiles in a scratch file, and in room that the destination lends.
#ifndef LML_SCRATCHEXCHANGE_H
#define LML_SCRATCHEXCHANGE_H

#include "large/BlockFile.h"
#include "large/Exchange.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace LumoraLib::detail
{
/// A band has a slot for each unit and one more. Unit u waits for its transform in slot u + 1 and
/// is put back into slot u, which the unit before it has left: a process that is killed while it writes has destroyed
/// nothing that is still needed. The file holds band after band.
///
/// With Lend() a band begins where its own rows will stand in the destination, and goes on in the file where it has
/// more: nothing is written there before the band has been taken for the last time, so the destination needs no second
/// file of its size beside it. What is lent is no longer there when a band is computed again: not for work that
/// resumes.
class ScratchExchange final : public Exchange
{
public:
    ScratchExchange(BlockFile& file, const TileLayout& layout);
    /// `rooms` are the bytes that the rows of each band will take in `host`. Before the first tile.
    void Lend(BlockFile& host, std::vector<std::vector<FilePiece>> rooms);
    /// Bytes of the whole file.
    std::int64_t Bytes() const { return bytes_; }

    std::size_t BandRounds() const override { return layout_.Bands(); }
    std::size_t BandOf(std::size_t round) const override { return round; }
    std::size_t UnitRounds() const override { return layout_.units.size(); }
    std::size_t UnitOf(std::size_t round) const override { return round; }
    bool PutBand(std::size_t round, const Complex* tiles) override;
    bool TakeUnit(std::size_t round, Complex* unit) override;
    bool PutUnit(std::size_t round, const Complex* unit) override;
    bool TakeBand(std::size_t round, Complex* tiles) override;

private:
    std::uint64_t Slots(std::size_t band, std::size_t slots) const;
    template <class Move>
    bool ForEachPiece(std::size_t band, std::size_t slot, std::uint64_t bytes, const Move& move) const;
    void Plan();

    BlockFile& file_;
    const TileLayout& layout_;
    BlockFile* host_ = nullptr;
    std::vector<std::vector<FilePiece>> rooms_; ///< of each band in the host, or none
    std::vector<std::int64_t> own_;             ///< where each band goes on in the file
    std::int64_t bytes_ = 0;
};
} // namespace LumoraLib::detail

#endif
