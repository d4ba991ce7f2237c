// What operations from file to file share: a source opened and checked, and a destination that takes its name last.
#include "large/NewFile.h"

#include "base/Describe.h"

namespace LumoraLib::detail
{
namespace
{
constexpr std::uint64_t kDefaultMemory = std::uint64_t{1} << 30;

const char* RequirePath(const char* function, const char* path)
{
    if (path == nullptr || *path == '\0')
        Error(ERR_FILE_OPEN, function, "");
    return path;
}
} // namespace

void RequireSegments(const char* function, const SegmentedFile& source, const LargeOptions& options)
{
    if (options.missing == MISSING_REFUSED && source.CountMissing() > 0)
        Error(ERR_PARAMETER, function,
              Explained("the source lacks segments", "%d of its segments were never written.", source.CountMissing()));
}

SegmentedFile OpenSource(const char* function, const char* path, const LargeOptions& options)
{
    SegmentedFile file(path, BlockFile::Read, function);
    RequireSegments(function, file, options);
    file.File().Sequential();
    return file;
}

std::uint64_t MemoryOf(const LargeOptions& options)
{
    return options.memory == 0 ? kDefaultMemory : options.memory;
}

std::string UnfinishedName(const char* destination)
{
    return std::string(destination) + ".part";
}

NewFile::NewFile(const char* function, const char* destination, const SegmentGrid& grid, const Lumora& common,
                 LargeRanks* ranks, bool goesOn)
    : function_(function), destination_(RequirePath(function, destination)), ranks_(ranks),
      part_(IsFirst(ranks) ? UnfinishedName(destination) : std::string()), file_(Make(grid, common, goesOn))
{
}

SegmentedFile NewFile::Make(const SegmentGrid& grid, const Lumora& common, bool goesOn) const
{
    const std::string name = UnfinishedName(destination_.c_str());
    const auto make = [&](SegmentedFile::Start start)
    {
        SegmentedFile file(name.c_str(), grid, common, function_, start);
        file.Prepare(0, 0, grid.Nx(), grid.Ny());
        return file;
    };
    if (!IsFirst(ranks_))
    {
        Agreement::Require(ranks_); // the first rank has made it
        return make(SegmentedFile::Join);
    }
    SegmentedFile file = make(goesOn ? SegmentedFile::TakeUp : SegmentedFile::Fresh);
    Agreement::Require(ranks_);
    return file;
}

void NewFile::Finish()
{
    const auto fail = [this]
    {
        Error(ERR_FILE_WRITE, function_, destination_.c_str());
    };
    file_.Show();
    if (!file_.File().Sync() || !file_.File().Close())
        fail();
    Agreement::Require(ranks_); // all ranks' samples are on the disk
    if (IsFirst(ranks_) && !part_.MoveTo(destination_))
        fail();
}
} // namespace LumoraLib::detail
