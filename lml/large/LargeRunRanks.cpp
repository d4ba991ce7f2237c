// An operation from file to file in several ranks: the lanes that the work is cut into, who takes which of them, and
// the lanes of a killed call that others take up.
#include "large/LargeRun.h"

#include "large/LaneExchange.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <vector>

#include <unistd.h>

namespace LumoraLib::detail
{
namespace
{
/// Lanes that a call of so many ranks may have had; more are no file of ours.
constexpr int kMostLanes = 65536;
constexpr std::int64_t kUnseen = -1; ///< no such lane in this rank's scratch folder

std::string LaneTail(int lane, int lanes)
{
    char text[64];
    std::snprintf(text, sizeof text, "-%dof%d", lane, lanes);
    return text;
}

/// Numbers of lanes that journals in the scratch folder speak of, the largest first. `name`: what they begin with.
std::vector<int> LanesSeen(const std::string& name)
{
    std::vector<int> found;
    const std::filesystem::path path(name);
    const std::string stem = path.filename().string();
    std::error_code none;
    for (const auto& entry :
         std::filesystem::directory_iterator(path.has_parent_path() ? path.parent_path() : ".", none))
    {
        const std::string own = entry.path().filename().string();
        int lane = 0, lanes = 0, end = 0;
        if (own.compare(0, stem.size(), stem) == 0 &&
            std::sscanf(own.c_str() + stem.size(), "-%dof%d.journal%n", &lane, &lanes, &end) == 2 && end > 0 &&
            lanes > 0 && lanes <= kMostLanes)
            found.push_back(lanes);
    }
    std::sort(found.begin(), found.end(), std::greater<>());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

/// A state as one number; later states are larger.
std::int64_t Packed(const Journal::State& state)
{
    return static_cast<std::int64_t>(state.sweep << 48 | state.rounds);
}

/// Each lane to the rank with the fewest lanes so far of those that see it. `seen`: states by rank, then lane. Returns
/// the state that all lanes have reached; 0 where a lane is not seen by any rank.
std::int64_t Assign(const std::vector<std::int64_t>& seen, int lanes, int size, LaneShares& shares)
{
    shares.of.assign(static_cast<std::size_t>(size), {});
    std::int64_t least = INT64_MAX;
    for (int lane = 0; lane < lanes; ++lane)
    {
        std::vector<int>* best = nullptr;
        std::int64_t state = 0;
        for (int r = 0; r < size; ++r)
        {
            const std::int64_t here = seen[static_cast<std::size_t>(std::int64_t{r} * lanes + lane)];
            std::vector<int>& own = shares.of[static_cast<std::size_t>(r)];
            if (here == kUnseen || (best != nullptr && own.size() >= best->size()))
                continue;
            best = &own;
            state = here;
        }
        if (best == nullptr)
            return 0;
        best->push_back(lane);
        least = std::min(least, state);
    }
    shares.most = 1;
    for (const std::vector<int>& own : shares.of)
        shares.most = std::max(shares.most, own.size());
    return least;
}

/// One lane of this rank: its file and its journal, under names that go with the call.
struct Lane
{
    Lane(const std::string& name, bool resume)
        : scratch(name + ".scratch"), notes(resume ? name + ".journal" : std::string())
    {
    }
    TemporaryFile scratch, notes;
    Journal journal;
};
} // namespace

void LargeCall::Meet(LargeRanks& ranks, const LargeWork& work, const Lumora& common, const SegmentGrid& grid)
{
    Agreement::Require(&ranks);
    memory_ = static_cast<std::uint64_t>(
        -ranks.GetLargest(-static_cast<std::int64_t>(std::min<std::uint64_t>(memory_, INT64_MAX))));
    Identity identity;
    Identify(identity, work, common, grid);
    std::uint64_t first = identity.Value();
    ranks.Broadcast(&first, sizeof first, 0);
    if (first != identity.Value())
        Error(ERR_PARAMETER, function_, "the ranks were called with different files or parameters");
    Agreement::Require(&ranks);
}

void LargeCall::RunOnRanks(const LargeWork& work, TileNeeds needs, const Lumora& common, const SegmentGrid& grid)
{
    LargeRanks& ranks = *options_.ranks;
    const int size = ranks.GetSize();
    const int rank = ranks.GetRank();
    ranks.Broadcast(&needs, sizeof needs, 0); // of one processor and one number of threads

    // The lanes of an earlier call, where all of them are seen and nothing else has changed.
    LaneShares shares;
    int lanes = size;
    LanePlan plan;
    Journal::State state;
    const auto identityOf = [&](int count)
    {
        Identity identity;
        Identify(identity, work, common, grid);
        if (rank == 0)
            static_cast<void>(AddFile(identity, sourcePath_));
        for (const std::size_t number : {plan.layout.rows, plan.layout.bandRows, plan.layout.slot,
                                         plan.layout.units.size(), static_cast<std::size_t>(count)})
            identity.AddNumber(static_cast<std::uint64_t>(number));
        std::uint64_t value = identity.Value();
        ranks.Broadcast(&value, sizeof value, 0); // machines number files in their own ways
        return value;
    };
    const auto nameOf = [&](int lane, int count)
    {
        return ScratchName(LaneTail(lane, count));
    };
    const std::vector<int> found = options_.resume ? LanesSeen(ScratchName("")) : std::vector<int>();
    int part = rank == 0 && access(UnfinishedName(destination_).c_str(), F_OK) == 0 ? 1 : 0;
    Agreement::Require(&ranks);
    ranks.Broadcast(&part, sizeof part, 0);
    for (std::int64_t below = kMostLanes + 1; options_.resume && part == 1 && state.sweep + state.rounds == 0;)
    {
        const auto next = std::find_if(found.begin(), found.end(), [&](int count) { return count < below; });
        below = ranks.GetLargest(next == found.end() ? 0 : *next);
        if (below == 0)
            break;
        const int count = static_cast<int>(below);
        plan = PlanLanes(needs, count, memory_);
        const LaneMap map(plan.layout, count);
        const std::uint64_t identity = identityOf(count);
        std::vector<std::int64_t> seen(static_cast<std::size_t>(std::int64_t{size} * count), kUnseen);
        const auto ofRank = [&](int r)
        {
            return seen.data() + std::int64_t{r} * count;
        };
        for (int lane = 0; lane < count && !plan.inMemory; ++lane)
            if (BlockFile((nameOf(lane, count) + ".scratch").c_str(), BlockFile::Read).Length() ==
                static_cast<std::int64_t>(plan.laneBytes))
                ofRank(rank)[lane] = Packed(Journal::ReadState(nameOf(lane, count) + ".journal", identity));
        Agreement::Require(&ranks);
        for (int r = 0; r < size; ++r)
            ranks.Broadcast(ofRank(r), static_cast<std::size_t>(count) * sizeof(std::int64_t), r);
        const std::int64_t reached = Assign(seen, count, size, shares);
        state = {static_cast<std::uint64_t>(reached) >> 48, static_cast<std::uint64_t>(reached) & ((1ull << 48) - 1)};
        lanes = count;
    }
    const bool goesOn = state.sweep + state.rounds > 0;
    if (!goesOn)
    {
        lanes = size;
        plan = PlanLanes(needs, lanes, memory_);
        shares.of.assign(static_cast<std::size_t>(size), {});
        for (int r = 0; r < size; ++r)
            shares.of[static_cast<std::size_t>(r)] = {r};
        shares.most = 1;
    }
    const LaneMap map(plan.layout, lanes);
    const std::uint64_t identity = identityOf(lanes);
    report_.memory = plan.memory;

    NewFile result(function_, destination_, grid, common, &ranks, goesOn);
    std::vector<std::unique_ptr<Lane>> own;
    std::vector<LaneStore> stores;
    std::string scratchPath = destination_; // tiles in memory fail without a file
    for (const int lane : shares.of[static_cast<std::size_t>(rank)])
    {
        if (plan.inMemory)
        {
            stores.emplace_back(map);
            continue;
        }
        own.push_back(std::make_unique<Lane>(nameOf(lane, lanes), options_.resume));
        Lane& files = *own.back();
        scratchPath = files.scratch.Path();
        BlockFile file(scratchPath.c_str(), options_.resume ? BlockFile::Keep : BlockFile::Create);
        if (!file.IsOpen())
            Error(ERR_FILE_OPEN, function_, scratchPath.c_str());
        if (!options_.resume)
            files.scratch.Remove(); // it has no name from here on: a killed process leaves nothing
        if (!file.Reserve(static_cast<std::int64_t>(plan.laneBytes)))
            Error(ERR_FILE_WRITE, function_, scratchPath.c_str());
        if (options_.resume)
            files.journal = Journal(files.notes.Path(), identity, state);
        if (options_.resume && !files.journal.IsOpen())
            Error(ERR_FILE_OPEN, function_, files.notes.Path().c_str());
        stores.emplace_back(map, std::move(file));
        report_.scratch += plan.laneBytes;
    }
    if (options_.resume) // of calls that were not gone on with
        for (const int count : found)
            for (int lane = 0; lane < count && count != lanes; ++lane)
                for (const char* const kind : {".scratch", ".journal"})
                    static_cast<void>(unlink((nameOf(lane, count) + kind).c_str()));
    LaneExchange exchange(ranks, map, shares, stores, plan.receive);
    SweepRun run;
    run.exchange = &exchange;
    // A lane's turn is over when all lanes of all ranks have had theirs.
    run.note = [&](std::uint64_t sweep, std::uint64_t rounds)
    {
        return rounds % shares.most != 0 || std::all_of(own.begin(), own.end(),
                                                        [&](const std::unique_ptr<Lane>& lane)
                                                        { return lane->journal.Note(sweep, rounds / shares.most); });
    };
    run.state = {state.sweep, state.rounds * shares.most};
    Sweep(run, work, result, plan.layout, scratchPath.c_str());
    report_.bytesSent = exchange.BytesSent();
    for (LaneStore& store : stores)
    {
        report_.bytesRead += store.File().BytesRead();
        report_.bytesWritten += store.File().BytesWritten();
    }
    report_.inMemory = plan.inMemory;
    Finish(result);
}
} // namespace LumoraLib::detail
