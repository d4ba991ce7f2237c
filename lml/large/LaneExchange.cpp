// The exchange of several processes: tiles on their way between ranks, and the part of them that each rank holds.
#include "large/LaneExchange.h"

#include <algorithm>
#include <utility>

namespace LumoraLib::detail
{
namespace
{
std::int64_t Signed(std::size_t n)
{
    return static_cast<std::int64_t>(n);
}

std::size_t Count(const Block& block)
{
    return block.end - block.begin;
}

/// Item `step` of a block, or none.
std::size_t ItemOf(const Block& block, std::size_t step)
{
    return step < Count(block) ? block.begin + step : Exchange::kNone;
}
} // namespace

LaneStore::LaneStore(const LaneMap& map)
    : slot_(map.RoundSamples()), memory_(std::make_unique<BlockMemory>(1, map.UnitRounds() * slot_ * sizeof(Complex)))
{
}

bool LaneStore::Write(std::size_t slot, std::size_t at, const Complex* from, std::size_t count)
{
    const std::size_t place = slot * slot_ + at;
    if (memory_ == nullptr)
        return file_.WriteAt(Signed(place * sizeof(Complex)), from, std::uint64_t{count} * sizeof(Complex));
    std::copy_n(from, count, memory_->As<Complex>(0) + place);
    return true;
}

bool LaneStore::Read(std::size_t slot, std::size_t at, Complex* to, std::size_t count)
{
    const std::size_t place = slot * slot_ + at;
    if (memory_ == nullptr)
        return file_.ReadAt(Signed(place * sizeof(Complex)), to, std::uint64_t{count} * sizeof(Complex));
    std::copy_n(memory_->As<Complex>(0) + place, count, to);
    return true;
}

LaneExchange::LaneExchange(LargeRanks& ranks, const LaneMap& map, const LaneShares& shares,
                           std::vector<LaneStore>& stores, std::size_t receive)
    : ranks_(ranks), map_(map), layout_(map.Layout()), shares_(shares), stores_(stores), rank_(ranks.GetRank()),
      size_(ranks.GetSize()), ahead_(!stores.empty() && stores.front().InMemory() ? 0 : 1),
      received_(1, std::max<std::size_t>(1, receive) * sizeof(Complex)), send_(static_cast<std::size_t>(size_)),
      receive_(static_cast<std::size_t>(size_))
{
}

std::size_t LaneExchange::BandOf(int rank, std::size_t round) const
{
    const int lane = shares_.Lane(rank, Turn(round));
    return lane == LaneShares::kNone ? kNone : ItemOf(map_.Bands(lane), Step(round));
}

std::size_t LaneExchange::UnitOf(int rank, std::size_t round) const
{
    const int lane = shares_.Lane(rank, Turn(round));
    return lane == LaneShares::kNone ? kNone : ItemOf(map_.Units(lane), Step(round));
}

template <class Items, class Span>
void LaneExchange::Send(const Complex* from, const Items& items, const Span& span)
{
    for (int r = 0; r < size_; ++r)
    {
        const std::size_t own = items(rank_);
        send_[static_cast<std::size_t>(r)] = {Signed(own * span(r).begin), Signed(own * Count(span(r)))};
        receive_[static_cast<std::size_t>(r)].count = Signed(items(r) * Count(span(rank_)));
    }
    std::int64_t at = 0;
    const std::size_t me = static_cast<std::size_t>(rank_);
    own_ = std::exchange(send_[me], {});
    receive_[me] = {};
    for (std::size_t r = 0; r < receive_.size(); ++r)
    {
        receive_[r].first = at;
        at += receive_[r].count;
        sent_ += static_cast<std::uint64_t>(send_[r].count) * sizeof(Complex);
    }
    ranks_.Exchange(from, send_.data(), received_.As<Complex>(0), receive_.data());
}

bool LaneExchange::PutBand(std::size_t round, const Complex* tiles)
{
    if (!Agreement::Reach(ranks_))
        return false;
    bool good = true;
    for (std::size_t turn = 0; turn < shares_.most; ++turn)
    {
        const auto columnsOf = [&](int rank)
        {
            const int lane = shares_.Lane(rank, turn);
            return lane == LaneShares::kNone
                       ? Block{0, 0}
                       : Block{layout_.places[map_.Units(lane).begin], layout_.places[map_.Units(lane).end]};
        };
        const int lane = shares_.Lane(rank_, turn);
        const auto rowsOf = [&](int rank)
        {
            const std::size_t band = BandOf(rank, round);
            return band == kNone ? 0 : layout_.RowsOf(band);
        };
        Send(tiles, rowsOf, columnsOf);
        for (int r = 0; r < size_ && lane != LaneShares::kNone; ++r)
        {
            const Complex* from = From(r, tiles);
            const std::size_t theirs = BandOf(r, round);
            const Block units = map_.Units(lane);
            for (std::size_t u = units.begin; theirs != kNone && u < units.end; ++u)
            {
                const std::size_t width = layout_.units[u].Width();
                const std::size_t count = layout_.RowsOf(theirs) * width;
                good = good &&
                       stores_[turn].Write(u - units.begin + ahead_, theirs * layout_.bandRows * width, from, count);
                from += count;
            }
        }
    }
    return good;
}

bool LaneExchange::TakeUnit(std::size_t round, Complex* unit)
{
    const std::size_t own = UnitOf(round);
    return own == kNone ||
           stores_[Turn(round)].Read(Step(round) + ahead_, 0, unit, layout_.rows * layout_.units[own].Width());
}

bool LaneExchange::PutUnit(std::size_t round, const Complex* unit)
{
    if (!Agreement::Reach(ranks_))
        return false;
    bool good = true;
    for (std::size_t turn = 0; turn < shares_.most; ++turn)
    {
        const auto rowsOf = [&](int rank)
        {
            const int lane = shares_.Lane(rank, turn);
            return lane == LaneShares::kNone ? Block{0, 0} : map_.Rows(lane);
        };
        const std::size_t ownRows = Count(rowsOf(rank_));
        const auto widthOf = [&](int rank)
        {
            const std::size_t item = UnitOf(rank, round);
            return item == kNone ? 0 : layout_.units[item].Width();
        };
        Send(unit, widthOf, rowsOf);
        for (int r = 0; r < size_; ++r)
        {
            const std::size_t theirs = UnitOf(r, round);
            if (theirs == kNone || ownRows == 0)
                continue;
            const std::size_t count = ownRows * layout_.units[theirs].Width();
            const std::size_t before = map_.ColumnsBefore(map_.LaneOfUnit(theirs), Step(round));
            good = good && stores_[turn].Write(Step(round), ownRows * before, From(r, unit), count);
        }
    }
    return good;
}

bool LaneExchange::TakeBand(std::size_t round, Complex* tiles)
{
    if (!Agreement::Reach(ranks_))
        return false;
    const std::size_t band = BandOf(round);
    if (band == kNone)
        return true;
    const Block lane = map_.Rows(shares_.Lane(rank_, Turn(round)));
    const std::size_t first = band * layout_.bandRows - lane.begin;
    const std::size_t rows = layout_.RowsOf(band);
    for (std::size_t u = 0; u < layout_.units.size(); ++u)
    {
        const int from = map_.LaneOfUnit(u);
        const std::size_t step = u - map_.Units(from).begin;
        const std::size_t width = layout_.units[u].Width();
        if (!stores_[Turn(round)].Read(step, Count(lane) * map_.ColumnsBefore(from, step) + first * width,
                                       tiles + rows * layout_.places[u], rows * width))
            return false;
    }
    return true;
}
} // namespace LumoraLib::detail
