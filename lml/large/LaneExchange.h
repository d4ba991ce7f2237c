// The exchange of several processes: tiles on their way between ranks, and the part of them that each rank holds.
#ifndef LML_LANEEXCHANGE_H
#define LML_LANEEXCHANGE_H

#include "large/BlockFile.h"
#include "large/BlockMemory.h"
#include "large/Exchange.h"
#include "large/Together.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace LumoraLib::detail
{
/// Which lanes each rank works on: one of its own when the work begins, any number where a killed call's lanes go on in
/// another number of ranks. In a round of the exchange each rank is at one of its lanes' bands or units.
struct LaneShares
{
    std::vector<std::vector<int>> of; ///< lanes of each rank
    std::size_t most = 1;             ///< of one rank
    static constexpr int kNone = -1;

    int Lane(int rank, std::size_t turn) const
    {
        const std::vector<int>& own = of[static_cast<std::size_t>(rank)];
        return turn < own.size() ? own[turn] : kNone;
    }
};

/// The tiles of one lane, in memory or in a file. Round i of the units has a slot: it holds the unit whole, over all
/// rows, before its transform, and behind it the lane's rows of the i-th unit of every lane. In a file the former
/// stands one slot further on, so that a killed process has destroyed nothing that is still needed.
class LaneStore
{
public:
    /// In memory. Errors: ERR_MEMORY.
    explicit LaneStore(const LaneMap& map);
    LaneStore(const LaneMap& map, BlockFile file) : slot_(map.RoundSamples()), file_(std::move(file)) {}

    bool InMemory() const { return memory_ != nullptr; }
    BlockFile& File() { return file_; }
    [[nodiscard]] bool Write(std::size_t slot, std::size_t at, const Complex* from, std::size_t count);
    [[nodiscard]] bool Read(std::size_t slot, std::size_t at, Complex* to, std::size_t count);

private:
    std::size_t slot_;
    std::unique_ptr<BlockMemory> memory_;
    BlockFile file_;
};

class LaneExchange final : public Exchange
{
public:
    /// `stores`: of this rank's lanes. `receive`: samples that come from the other ranks at a time (LanePlan).
    LaneExchange(LargeRanks& ranks, const LaneMap& map, const LaneShares& shares, std::vector<LaneStore>& stores,
                 std::size_t receive);

    std::size_t BandRounds() const override { return map_.BandRounds() * shares_.most; }
    std::size_t BandOf(std::size_t round) const override { return BandOf(rank_, round); }
    std::size_t UnitRounds() const override { return map_.UnitRounds() * shares_.most; }
    std::size_t UnitOf(std::size_t round) const override { return UnitOf(rank_, round); }
    bool PutBand(std::size_t round, const Complex* tiles) override;
    bool TakeUnit(std::size_t round, Complex* unit) override;
    bool PutUnit(std::size_t round, const Complex* unit) override;
    bool TakeBand(std::size_t round, Complex* tiles) override;

    /// To other ranks.
    std::uint64_t BytesSent() const { return sent_; }

private:
    using Samples = LargeRanks::Samples;
    std::size_t BandOf(int rank, std::size_t round) const;
    std::size_t UnitOf(int rank, std::size_t round) const;
    /// One exchange: of its items(rank) rows or columns a rank gives each other one the part span(rank). The blocks
    /// that come stand one behind the other, and the rank's own stays where it is.
    template <class Items, class Span>
    void Send(const Complex* from, const Items& items, const Span& span);
    /// What a rank has sent.
    const Complex* From(int rank, const Complex* own) const
    {
        return rank == rank_ ? own + own_.first
                             : received_.As<Complex>(0) + receive_[static_cast<std::size_t>(rank)].first;
    }
    std::size_t Turn(std::size_t round) const { return round % shares_.most; }
    std::size_t Step(std::size_t round) const { return round / shares_.most; }

    LargeRanks& ranks_;
    const LaneMap& map_;
    const TileLayout& layout_;
    const LaneShares& shares_;
    std::vector<LaneStore>& stores_;
    int rank_, size_;
    std::size_t ahead_; ///< slots between a unit before and behind its transform
    BlockMemory received_;
    std::vector<Samples> send_, receive_;
    Samples own_;
    std::uint64_t sent_ = 0;
};
} // namespace LumoraLib::detail

#endif
