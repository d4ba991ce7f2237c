// The byte-wise file layer: opening, 64-bit positions, exact transfers and the checked close.

#include "files/ByteIo.h"

#include "LmlRuntime.h"

#include <algorithm>
#include <utility>

#include <sys/stat.h>
#include <sys/types.h>

namespace LumoraLib::detail
{
static_assert(sizeof(off_t) == 8, "positions are 64-bit");

namespace
{
/// Cuts a transfer into calls of the platform of at most 64 MiB: step(offset, bytes) until one returns false.
template <class Step>
bool ForEachChunk(std::uint64_t bytes, Step&& step)
{
    constexpr std::uint64_t most = 0x4000000;
    for (std::uint64_t done = 0; done < bytes; done += std::min(most, bytes - done))
        if (!step(done, static_cast<std::size_t>(std::min(most, bytes - done))))
            return false;
    return true;
}
} // namespace

File::File(const char* path, const char* mode) : stream_(path == nullptr ? nullptr : std::fopen(path, mode))
{
    struct stat info;
    if (stream_ != nullptr && fstat(fileno(stream_), &info) == 0 && S_ISDIR(info.st_mode))
        std::fclose(std::exchange(stream_, nullptr));
}

File::~File()
{
    // Reached with an open stream only on a failing path, whose report is under way, or behind a read.
    if (stream_ != nullptr)
        std::fclose(stream_);
}

File::File(File&& other) noexcept : stream_(std::exchange(other.stream_, nullptr)) {}

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

std::int64_t File::Length() const
{
    struct stat info;
    if (stream_ == nullptr || fstat(fileno(stream_), &info) != 0)
        return -1;
    return S_ISREG(info.st_mode) ? info.st_size : 0;
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

bool FitsInFile(const File& file, std::int64_t position, std::uint64_t bytes)
{
    std::uint64_t end = 0;
    const std::int64_t length = file.Length();
    return position >= 0 && length >= 0 && CheckedAdd(static_cast<std::uint64_t>(position), bytes, end) &&
           end <= static_cast<std::uint64_t>(length);
}

bool FitsInFile(const File& file, std::int64_t position, std::uint64_t count, std::uint64_t each)
{
    std::uint64_t bytes = 0;
    return CheckedMul(count, each, bytes) && FitsInFile(file, position, bytes);
}

// Large calls go straight between the file and the memory given: the stream's own buffer takes part in the ends only.
std::uint64_t ReadMost(File& file, void* to, std::uint64_t bytes)
{
    std::FILE* const stream = file.Get();
    Byte* const base = static_cast<Byte*>(to);
    std::uint64_t got = 0;
    if (stream != nullptr)
        static_cast<void>(ForEachChunk(bytes,
                                       [&](std::uint64_t offset, std::size_t chunk)
                                       {
                                           const std::size_t now = std::fread(base + offset, 1, chunk, stream);
                                           got += now;
                                           return now == chunk;
                                       }));
    return got;
}

bool ReadExact(File& file, void* to, std::uint64_t bytes)
{
    return file.IsOpen() && ReadMost(file, to, bytes) == bytes;
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
