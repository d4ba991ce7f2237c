// What operations from file to file share: a source opened and checked, and a destination that takes its name last.
#ifndef LML_NEWFILE_H
#define LML_NEWFILE_H

#include "large/SegmentedFile.h"
#include "large/TemporaryFile.h"
#include "large/Together.h"

#include <cstdint>
#include <string>

namespace LumoraLib::detail
{
/// Refuses a source that lacks segments where the options do. Errors: code 3.
void RequireSegments(const char* function, const SegmentedFile& source, const LargeOptions& options);

/// A source, opened and checked. Errors: as SegmentedField, in the name of the operation.
SegmentedFile OpenSource(const char* function, const char* path, const LargeOptions& options);

/// Bytes that the options allow.
std::uint64_t MemoryOf(const LargeOptions& options);

/// The name that a destination has until it is complete.
std::string UnfinishedName(const char* destination);

/// The file that an operation makes, all of it zeros so far: under another name until it is complete. Of several ranks
/// the first one makes it, reserves its room and shows it, and all of them write into it.
class NewFile
{
public:
    /// @param goesOn  takes up what an earlier call has left under the unfinished name
    NewFile(const char* function, const char* destination, const SegmentGrid& grid, const Lumora& common,
            LargeRanks* ranks, bool goesOn = false);
    SegmentedFile& File() { return file_; }
    /// When this rank has written its part.
    void Finish();

private:
    SegmentedFile Make(const SegmentGrid& grid, const Lumora& common, bool goesOn) const;

    const char* function_;
    std::string destination_;
    LargeRanks* ranks_;
    TemporaryFile part_;
    SegmentedFile file_;
};
} // namespace LumoraLib::detail

#endif
