// An operation from file to file: files opened and checked, the choice between memory and sweeps, scratch, journal, and
// the destination that takes its name last.
#include "large/LargeRun.h"

#include "base/Describe.h"
#include "base/IntMath.h"
#include "base/Mistakes.h"
#include "field/FieldTools.h"
#include "large/ScratchExchange.h"
#include "transform/Engine.h"
#include "transform/EngineTable.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <unistd.h>

namespace LumoraLib::detail
{
namespace
{
/// Units of progress of one of three parts.
constexpr std::int64_t kPart = std::int64_t{1} << 20;

/// The library's count for a stretch of work.
class ThreadCount
{
public:
    explicit ThreadCount(int n) : before_(GetNumThreads()) { SetNumThreads(n); }
    ~ThreadCount() { SetNumThreads(before_); }
    ThreadCount(const ThreadCount&) = delete;
    ThreadCount& operator=(const ThreadCount&) = delete;

private:
    int before_;
};

/// The folder of a path with its slash; empty for a bare name.
std::string FolderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

void AddVector(Identity& identity, const Vector& v)
{
    identity.AddNumber(v.x);
    identity.AddNumber(v.y);
    identity.AddNumber(v.z);
}

/// Whole rows of the file's samples from or to their place in the field, a piece at a time.
template <class Move>
bool MoveInside(Progress& progress, std::int64_t part, const SegmentGrid& grid, const Move& move)
{
    const std::int64_t rows = std::max<std::int64_t>(1, (std::int64_t{1} << 21) / grid.Nx());
    for (std::int64_t y = 0; y < grid.Ny(); y += rows)
    {
        progress.Step(part * kPart + y * kPart / grid.Ny());
        if (!move(y, std::min(rows, grid.Ny() - y)))
            return false;
    }
    return true;
}

/// Where the rows of each band of a layout will stand in a file whose row 0 is row `first` of the layout.
std::vector<std::vector<FilePiece>> RoomsOf(SegmentedFile& file, const TileLayout& layout, std::size_t first)
{
    const std::size_t rows = static_cast<std::size_t>(file.Grid().Ny());
    std::vector<std::vector<FilePiece>> rooms;
    for (std::size_t band = 0; band < layout.Bands(); ++band)
    {
        const std::size_t from = band * layout.bandRows;
        const std::size_t begin = std::clamp(from, first, first + rows) - first;
        const std::size_t end = std::clamp(from + layout.RowsOf(band), first, first + rows) - first;
        rooms.push_back(file.PiecesOf(static_cast<std::int64_t>(begin), static_cast<std::int64_t>(end - begin)));
    }
    return rooms;
}
} // namespace

GridPlace::GridPlace(const SegmentGrid& own, std::int32_t raisedNx, std::int32_t raisedNy, int doublings)
    : raisedX(raisedNx), raisedY(raisedNy), nx(GrownColumns(raisedX, doublings)), ny(GrownRows(raisedY, doublings)),
      x0(static_cast<std::size_t>((nx - raisedX) / 2 + (raisedX - own.Nx()) / 2)),
      y0(static_cast<std::size_t>((ny - raisedY) / 2 + (raisedY - own.Ny()) / 2))
{
}

GridPlace CentredPlace(const SegmentGrid& own, int doublings)
{
    return GridPlace(own, static_cast<std::int32_t>(RaisedToPowerOfTwo(own.Nx())),
                     static_cast<std::int32_t>(RaisedToPowerOfTwo(own.Ny())), doublings);
}

LargeCall::LargeCall(const char* function, const char* sourcePath, const char* destination, const LargeOptions& options,
                     int doublings)
    : source(sourcePath, BlockFile::Read, function), function_(function), sourcePath_(sourcePath),
      destination_(destination), options_(options), memory_(MemoryOf(options)),
      threads_(options.threads == 0 ? GetNumThreads() : options.threads)
{
    if (destination == nullptr || *destination == '\0')
        Error(ERR_FILE_OPEN, function, "");
    if (options.threads < 0 || options.threads > 1024)
        Error(ERR_PARAMETER, function, Explained("no such number of threads", "%d threads.", options.threads));
    RequireSegments(function, source, options);
    const std::int64_t longest = std::max(source.Grid().Nx(), source.Grid().Ny());
    if (longest > (kLongestTransform >> doublings))
        Error(ERR_SOMETHING, function, kTextTooLong);
    source.File().Sequential();
}

std::string LargeCall::ScratchName(const std::string& tail) const
{
    const std::string destination = destination_;
    const std::string folder = options_.scratch == nullptr || *options_.scratch == '\0'
                                   ? FolderOf(destination)
                                   : std::string(options_.scratch) + "/";
    // Destinations of one name in several folders share a scratch folder.
    Identity place;
    char* const real = realpath(FolderOf("./" + destination).c_str(), nullptr);
    place.Add(real != nullptr ? real : destination);
    std::free(real);
    char middle[32];
    if (options_.resume)
        std::snprintf(middle, sizeof middle, "-%016llx", static_cast<unsigned long long>(place.Value()));
    else
        std::snprintf(middle, sizeof middle, "-%d", static_cast<int>(getpid()));
    return folder + destination.substr(FolderOf(destination).size()) + middle + tail;
}

void LargeCall::Identify(Identity& identity, const LargeWork& work, const Lumora& common, const SegmentGrid& grid) const
{
    identity.Add(std::string(GetVersionString()));
    identity.Add(std::string(function_));
    identity.Add(std::string(destination_));
    work.Identify(identity);
    for (const double number : {common.GetPx(), common.GetPy(), common.GetWavelength()})
        identity.AddNumber(number);
    AddVector(identity, common.GetOrigin());
    AddVector(identity, common.GetNormalVector());
    for (const std::int64_t number : {grid.Nx(), grid.Ny(), std::int64_t{grid.nx}, std::int64_t{grid.ny}})
        identity.AddNumber(number);
}

LargeReport LargeCall::Run(const LargeWork& work, const Lumora& common, const SegmentGrid& grid)
{
    const MistakeScope inside;
    LargeRanks* const ranks = options_.ranks;
    if (ranks != nullptr)
        Meet(*ranks, work, common, grid);
    const GridPlace& place = work.from;
    const std::uint64_t field =
        sizeof(Complex) * static_cast<std::uint64_t>(place.raisedX) * static_cast<std::uint64_t>(place.raisedY);
    const std::uint64_t whole = field + work.InsideBytes(threads_);
    const bool sweeps = WideEngineBound() && place.raisedX > 1 && place.raisedY > 1;
    // Several ranks share the sweeps even where one of them could do without.
    const bool alone = ranks == nullptr || ranks->GetSize() == 1;
    if (work.IsZero() || (whole <= memory_ && (alone || !sweeps)))
    {
        report_.inMemory = true;
        report_.memory = work.IsZero() ? 0 : whole;
        NewFile result(function_, destination_, grid, common, ranks); // zeros so far
        if (!work.IsZero() && IsFirst(ranks))
            RunInside(work, result.File());
        Finish(result);
        return report_;
    }
    if (!sweeps)
        Error(ERR_SOMETHING, function_,
              Explained("this engine takes the whole field in memory", "It takes %.0f MiB; %.0f are allowed.",
                        static_cast<double>(whole) / 1048576.0, static_cast<double>(memory_) / 1048576.0));
    TileNeeds needs = work.Needs(threads_);
    needs.rows = static_cast<std::size_t>(std::max(source.Grid().Ny(), grid.Ny()));
    needs.rowSamples = static_cast<std::size_t>(std::max(source.Grid().Nx(), grid.Nx()));
    needs.unitRows = work.WholeColumns() ? static_cast<std::size_t>(work.from.ny) : needs.rows;
    if (ranks == nullptr)
        RunAlone(work, needs, common, grid);
    else
        RunOnRanks(work, needs, common, grid);
    return report_;
}

void LargeCall::RunInside(const LargeWork& work, SegmentedFile& result)
{
    Progress progress(function_, 3 * kPart, kPart);
    const Lumora& common = source.Common();
    Lumora field(work.from.raisedX, work.from.raisedY, common.GetPx(), common.GetPy(), common.GetWavelength());
    FieldAccess::SetForm(field, FieldAccess::Form(common));
    field.SetOrigin(common.GetOrigin());
    field.SetNormalVector(common.GetNormalVector());
    field.Clear();
    const std::size_t stride = static_cast<std::size_t>(field.GetNx());
    const auto rowAt = [&](const GridPlace& place, std::int64_t y)
    {
        return field.GetDataPointer() + (place.InsideY() + static_cast<std::size_t>(y)) * stride + place.InsideX();
    };
    if (!MoveInside(progress, 0, source.Grid(),
                    [&](std::int64_t y, std::int64_t rows)
                    { return source.ReadSamples(0, y, source.Grid().Nx(), rows, rowAt(work.from, y), stride); }))
        Error(ERR_FILE_READ, function_, source.Path().c_str());
    progress.Step(kPart);
    {
        const ThreadCount count(threads_);
        work.Inside(field);
    }
    const SegmentGrid& grid = result.Grid();
    if (!MoveInside(progress, 2, grid,
                    [&](std::int64_t y, std::int64_t rows)
                    { return result.WriteSamples(0, y, grid.Nx(), rows, rowAt(work.to, y), stride); }))
        Error(ERR_FILE_WRITE, function_, result.Path().c_str());
}

void LargeCall::Sweep(SweepRun& run, const LargeWork& work, NewFile& result, const TileLayout& layout,
                      const char* scratch)
{
    const std::size_t first = std::min(work.from.y0, work.to.y0); // of the layout's rows in the grid
    const std::unique_ptr<SweepSteps> steps = work.Steps(layout, threads_);
    run.function = function_;
    run.scratchPath = scratch;
    run.source = {&source, work.from.y0 - first};
    run.destination = {&result.File(), work.to.y0 - first};
    run.layout = &layout;
    run.steps = steps.get();
    run.unitRows = work.WholeColumns() ? static_cast<std::size_t>(work.from.ny) : layout.rows;
    run.unitFirst = work.WholeColumns() ? first : 0;
    run.threads = threads_;
    report_.bands = static_cast<std::int64_t>(run.exchange->BandRounds());
    report_.units = static_cast<std::int64_t>(run.exchange->UnitRounds());
    const std::size_t done = static_cast<std::size_t>(std::min<std::uint64_t>(run.state.sweep, 2));
    const std::int64_t before[] = {0, report_.bands, report_.bands + report_.units};
    report_.resumed = before[done] + static_cast<std::int64_t>(run.state.rounds);
    for (const TileUnit& unit : layout.units)
        report_.kept += sizeof(Complex) * std::uint64_t{layout.rows} * unit.Width();
    Progress progress(function_, 3 * kPart);
    RunSweeps(run, progress);
}

void LargeCall::RunAlone(const LargeWork& work, const TileNeeds& needs, const Lumora& common, const SegmentGrid& grid)
{
    const TileLayout layout = PlanTiles(needs, memory_, report_.memory);
    TemporaryFile scratch(ScratchName(".scratch"));
    TemporaryFile notes(options_.resume ? ScratchName(".journal") : std::string());
    Identity identity;
    Identify(identity, work, common, grid);
    static_cast<void>(AddFile(identity, sourcePath_));
    for (const std::size_t number : {layout.rows, layout.bandRows, layout.slot, layout.units.size()})
        identity.AddNumber(static_cast<std::uint64_t>(number));
    Journal::State state;
    if (options_.resume)
        state = Journal::ReadState(notes.Path(), identity.Value());
    BlockFile tiles(scratch.Path().c_str(), options_.resume ? BlockFile::Keep : BlockFile::Create);
    if (!tiles.IsOpen())
        Error(ERR_FILE_OPEN, function_, scratch.Path().c_str());
    const std::string scratchPath = scratch.Path();
    if (!options_.resume)
        scratch.Remove(); // it has no name from here on: a killed process leaves nothing
    ScratchExchange exchange(tiles, layout);
    if (tiles.Length() != exchange.Bytes() || access(UnfinishedName(destination_).c_str(), F_OK) != 0)
        state = {};
    NewFile result(function_, destination_, grid, common, nullptr, state.sweep > 0 || state.rounds > 0);
    if (!options_.resume && (options_.scratch == nullptr || *options_.scratch == '\0'))
        exchange.Lend(result.File().File(),
                      RoomsOf(result.File(), layout, work.to.y0 - std::min(work.from.y0, work.to.y0)));
    if (!tiles.Reserve(exchange.Bytes()))
        Error(ERR_FILE_WRITE, function_, scratchPath.c_str());
    Journal journal;
    if (options_.resume)
    {
        journal = Journal(notes.Path(), identity.Value(), state);
        if (!journal.IsOpen())
            Error(ERR_FILE_OPEN, function_, notes.Path().c_str());
    }
    report_.scratch = static_cast<std::uint64_t>(exchange.Bytes());
    SweepRun run;
    run.exchange = &exchange;
    run.note = [&journal](std::uint64_t sweep, std::uint64_t rounds)
    {
        return journal.Note(sweep, rounds);
    };
    run.state = state;
    Sweep(run, work, result, layout, scratchPath.c_str());
    report_.bytesRead = tiles.BytesRead();
    report_.bytesWritten = tiles.BytesWritten();
    Finish(result);
}

void LargeCall::Finish(NewFile& result)
{
    report_.bytesRead += source.File().BytesRead() + result.File().File().BytesRead();
    report_.bytesWritten += result.File().File().BytesWritten();
    result.Finish();
}
} // namespace LumoraLib::detail
