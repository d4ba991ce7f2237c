// What operations in one pass share: a source opened and checked, and a destination that takes its name last.
#ifndef LML_NEWFILE_H
#define LML_NEWFILE_H

#include "large/LargeRun.h"
#include "large/TemporaryFile.h"

#include <cstdint>
#include <string>

namespace LumoraLib::detail
{
/// A source, opened and checked. Errors: as SegmentedField, in the name of the operation.
SegmentedFile OpenSource(const char* function, const char* path, const LargeOptions& options);

/// Bytes that the options allow.
std::uint64_t MemoryOf(const LargeOptions& options);

/// The file that an operation makes, all of it zeros so far: under another name until it is complete.
class NewFile
{
public:
    NewFile(const char* function, const char* destination, const SegmentedFile& like);
    SegmentedFile& File() { return file_; }
    void Finish();

private:
    const char* function_;
    std::string destination_;
    TemporaryFile part_;
    SegmentedFile file_;
};
} // namespace LumoraLib::detail

#endif
