// What operations in one pass share: a source opened and checked, and a destination that takes its name last.
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

SegmentedFile OpenSource(const char* function, const char* path, const LargeOptions& options)
{
    SegmentedFile file(path, BlockFile::Read, function);
    if (options.missing == MISSING_REFUSED && file.CountMissing() > 0)
        Error(ERR_PARAMETER, function,
              Explained("the source lacks segments", "%d of its segments were never written.", file.CountMissing()));
    file.File().Sequential();
    return file;
}

std::uint64_t MemoryOf(const LargeOptions& options)
{
    return options.memory == 0 ? kDefaultMemory : options.memory;
}

NewFile::NewFile(const char* function, const char* destination, const SegmentedFile& like)
    : function_(function), destination_(RequirePath(function, destination)), part_(destination_ + ".part"),
      file_(part_.Path().c_str(), like.Grid(), like.Common(), function)
{
    file_.Prepare(0, 0, like.Grid().Nx(), like.Grid().Ny());
}

void NewFile::Finish()
{
    file_.Show();
    if (!file_.File().Sync() || !file_.File().Close() || !part_.MoveTo(destination_))
        Error(ERR_FILE_WRITE, function_, destination_.c_str());
}
} // namespace LumoraLib::detail
