// The exchange of one process: tiles in a scratch file.
#ifndef LML_SCRATCHEXCHANGE_H
#define LML_SCRATCHEXCHANGE_H

#include "large/BlockFile.h"
#include "large/Exchange.h"

#include <cstddef>
#include <cstdint>

namespace LumoraLib::detail
{
/// The file holds band after band, a slot for each unit and one more. Unit u waits for its transform in slot u + 1 and
/// is put back into slot u, which the unit before it has left: a process that is killed while it writes has destroyed
/// nothing that is still needed. Bands and tiles are single blocks.
class ScratchExchange final : public Exchange
{
public:
    ScratchExchange(BlockFile& file, const TileLayout& layout) : file_(file), layout_(layout) {}
    /// Bytes of the whole file.
    std::int64_t Bytes() const;

    std::size_t BandRounds() const override { return layout_.Bands(); }
    std::size_t BandOf(std::size_t round) const override { return round; }
    std::size_t UnitRounds() const override { return layout_.units.size(); }
    std::size_t UnitOf(std::size_t round) const override { return round; }
    bool PutBand(std::size_t round, const Complex* tiles) override;
    bool TakeUnit(std::size_t round, Complex* unit) override;
    bool PutUnit(std::size_t round, const Complex* unit) override;
    bool TakeBand(std::size_t round, Complex* tiles) override;

private:
    std::int64_t At(std::size_t band, std::size_t slot) const;

    BlockFile& file_;
    const TileLayout& layout_;
};
} // namespace LumoraLib::detail

#endif
