// The byte-wise file layer: opening, 64-bit positions, exact transfers and the checked close.

#include "ByteIo.h"

#include "LmlRuntime.h"

#include <utility>

#include <stdio_ext.h>
#include <sys/stat.h>
#include <sys/types.h>

namespace LumoraLib::detail
{
static_assert(sizeof(off_t) == 8, "positions are 64-bit");

File::File(const char* path, const char* mode) : stream_(path == nullptr ? nullptr : std::fopen(path, mode)) {}

File::~File()
{
    // Reached with an open stream only on a failing path, whose report is under way, or behind a read.
    if (stream_ != nullptr)
        std::fclose(stream_);
}

File::File(File&& other) noexcept : stream_(std::exchange(other.stream_, nullptr)) {}

File& File::operator=(File&& other) noexcept
{
    File taken(std::move(other));
    std::swap(stream_, taken.stream_);
    return *this;
}

bool File::Seek(std::int64_t position)
{
    return stream_ != nullptr && position >= 0 && fseeko(stream_, position, SEEK_SET) == 0;
}

bool File::SeekEnd()
{
    return stream_ != nullptr && fseeko(stream_, 0, SEEK_END) == 0;
}

std::int64_t File::Tell() const
{
    return stream_ == nullptr ? -1 : ftello(stream_);
}

std::int64_t File::Length()
{
    struct stat info;
    if (stream_ == nullptr || fstat(fileno(stream_), &info) != 0)
        return -1;
    // A directory opens for reading and seeks to an end far beyond anything it holds.
    if (!S_ISREG(info.st_mode) && !S_ISBLK(info.st_mode))
        return 0;
    // Nothing in the buffer on its way out: the system knows the length, and the buffer keeps what was read ahead.
    if (S_ISREG(info.st_mode) && __fpending(stream_) == 0)
        return info.st_size;
    const std::int64_t position = Tell();
    if (position < 0 || !SeekEnd())
        return -1;
    const std::int64_t length = Tell();
    return Seek(position) ? length : -1;
}

std::int64_t File::Remaining()
{
    const std::int64_t length = Length();
    const std::int64_t position = length < 0 ? -1 : Tell();
    if (position < 0)
        return -1;
    return position < length ? length - position : 0;
}

bool File::Flush()
{
    return stream_ != nullptr && std::fflush(stream_) == 0 && std::ferror(stream_) == 0;
}

bool File::CloseChecked()
{
    if (stream_ == nullptr)
        return true;
    const bool flushed = Flush();
    return std::fclose(std::exchange(stream_, nullptr)) == 0 && flushed;
}

void File::Close(const char* path)
{
    if (!CloseChecked())
        Error(ERR_FILE_WRITE, "ewrite", path);
}

bool FitsInFile(File& file, std::int64_t position, std::uint64_t bytes)
{
    std::uint64_t end = 0;
    const std::int64_t length = file.Length();
    return position >= 0 && length >= 0 && CheckedAdd(static_cast<std::uint64_t>(position), bytes, end) &&
           end <= static_cast<std::uint64_t>(length);
}

bool FitsInFile(File& file, std::int64_t position, std::uint64_t count, std::uint64_t each)
{
    std::uint64_t bytes = 0;
    return CheckedMul(count, each, bytes) && FitsInFile(file, position, bytes);
}

// Large calls go straight between the file and the memory given: the stream's own buffer takes part in the ends only.
bool ReadExact(File& file, void* to, std::uint64_t bytes)
{
    std::FILE* const stream = file.Get();
    Byte* const base = static_cast<Byte*>(to);
    return stream != nullptr && ForEachChunk(bytes, [&](std::uint64_t offset, std::size_t chunk)
                                             { return std::fread(base + offset, 1, chunk, stream) == chunk; });
}

bool WriteExact(File& file, const void* from, std::uint64_t bytes)
{
    std::FILE* const stream = file.Get();
    const Byte* const base = static_cast<const Byte*>(from);
    return stream != nullptr && ForEachChunk(bytes, [&](std::uint64_t offset, std::size_t chunk)
                                             { return std::fwrite(base + offset, 1, chunk, stream) == chunk; });
}

void eread(File& file, void* to, std::uint64_t bytes, const char* path)
{
    ReadOr(file, to, bytes, [path] { Error(ERR_FILE_READ, "eread", path); });
}

void ewrite(File& file, const void* from, std::uint64_t bytes, const char* path)
{
    WriteOr(file, from, bytes, [path] { Error(ERR_FILE_WRITE, "ewrite", path); });
}
} // namespace LumoraLib::detail
