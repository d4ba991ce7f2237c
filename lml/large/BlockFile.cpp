// Files of large fields: positioned transfers of blocks and of rows that lie apart in memory, by 64-bit positions.
#include "large/BlockFile.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace LumoraLib::detail
{
namespace
{
/// Most bytes of one call: far below what the system takes (2 GiB).
constexpr std::uint64_t kMostBytes = std::uint64_t{256} << 20;
/// Most rows of one call: what the system takes (IOV_MAX).
constexpr std::size_t kMostRows = 1024;

/// Calls step(offset, bytes), which moves some bytes and tells how many, until all are moved.
template <class Step>
bool MoveAll(std::uint64_t bytes, std::atomic<std::uint64_t>& count, const Step& step)
{
    for (std::uint64_t done = 0; done < bytes;)
    {
        const ssize_t moved = step(done, static_cast<std::size_t>(std::min(bytes - done, kMostBytes)));
        if (moved < 0 && errno == EINTR)
            continue;
        if (moved <= 0)
            return false;
        done += static_cast<std::uint64_t>(moved);
        count.fetch_add(static_cast<std::uint64_t>(moved), std::memory_order_relaxed);
    }
    return true;
}

/// The rows in calls of up to kMostRows of them; the rest of a call that the system has cut short goes piece by piece.
template <class Many, class One>
bool MoveRows(std::int64_t position, char* first, std::size_t stride, std::size_t bytes, std::size_t rows,
              std::atomic<std::uint64_t>& count, const Many& many, const One& one)
{
    iovec pieces[kMostRows];
    for (std::size_t row = 0; row < rows;)
    {
        const std::size_t fit = std::max<std::size_t>(1, static_cast<std::size_t>(kMostBytes / bytes));
        const std::size_t now = std::min({rows - row, kMostRows, fit});
        for (std::size_t n = 0; n < now; ++n)
            pieces[n] = {first + (row + n) * stride, bytes};
        const ssize_t moved = many(pieces, static_cast<int>(now), position);
        if (moved < 0 && errno == EINTR)
            continue;
        if (moved <= 0)
            return false;
        count.fetch_add(static_cast<std::uint64_t>(moved), std::memory_order_relaxed);
        const std::size_t whole = static_cast<std::size_t>(moved) / bytes;
        const std::size_t part = static_cast<std::size_t>(moved) % bytes;
        if (part != 0 &&
            !one(position + moved, first + (row + whole) * stride + part, static_cast<std::uint64_t>(bytes - part)))
            return false;
        row += whole + (part != 0 ? 1 : 0);
        position += static_cast<std::int64_t>((whole + (part != 0 ? 1 : 0)) * bytes);
    }
    return true;
}
} // namespace

BlockFile::BlockFile(const char* path, Access access)
{
    if (path == nullptr)
        return;
    constexpr int kHow[] = {O_RDONLY, O_RDWR, O_RDWR | O_CREAT | O_TRUNC, O_RDWR | O_CREAT};
    descriptor_ = open(path, kHow[access] | O_CLOEXEC, 0666);
    struct stat info;
    if (descriptor_ >= 0 && (fstat(descriptor_, &info) != 0 || !S_ISREG(info.st_mode)))
        static_cast<void>(Close());
}

BlockFile::~BlockFile()
{
    static_cast<void>(Close());
}

BlockFile::BlockFile(BlockFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), read_(other.read_.load()), written_(other.written_.load())
{
}

BlockFile& BlockFile::operator=(BlockFile&& other) noexcept
{
    if (this != &other)
    {
        static_cast<void>(Close());
        descriptor_ = std::exchange(other.descriptor_, -1);
        read_ = other.read_.load();
        written_ = other.written_.load();
    }
    return *this;
}

std::int64_t BlockFile::Length() const
{
    struct stat info;
    return fstat(descriptor_, &info) == 0 ? static_cast<std::int64_t>(info.st_size) : -1;
}

bool BlockFile::ReadAt(std::int64_t position, void* to, std::uint64_t bytes)
{
    return MoveAll(
        bytes, read_,
        [&](std::uint64_t done, std::size_t now)
        { return pread(descriptor_, static_cast<char*>(to) + done, now, position + static_cast<std::int64_t>(done)); });
}

bool BlockFile::WriteAt(std::int64_t position, const void* from, std::uint64_t bytes)
{
    return MoveAll(bytes, written_,
                   [&](std::uint64_t done, std::size_t now)
                   {
                       return pwrite(descriptor_, static_cast<const char*>(from) + done, now,
                                     position + static_cast<std::int64_t>(done));
                   });
}

bool BlockFile::ReadRows(std::int64_t position, Complex* to, std::size_t stride, std::size_t width, std::size_t rows)
{
    const std::size_t bytes = width * sizeof(Complex);
    if (rows == 0 || width == 0 || stride == width)
        return ReadAt(position, to, std::uint64_t{bytes} * rows);
    return MoveRows(
        position, reinterpret_cast<char*>(to), stride * sizeof(Complex), bytes, rows, read_,
        [this](const iovec* pieces, int count, std::int64_t at) { return preadv(descriptor_, pieces, count, at); },
        [this](std::int64_t at, char* rest, std::uint64_t left) { return ReadAt(at, rest, left); });
}

bool BlockFile::WriteRows(std::int64_t position, const Complex* from, std::size_t stride, std::size_t width,
                          std::size_t rows)
{
    const std::size_t bytes = width * sizeof(Complex);
    if (rows == 0 || width == 0 || stride == width)
        return WriteAt(position, from, std::uint64_t{bytes} * rows);
    // The system's call wants a pointer that it may write to, and does not write.
    return MoveRows(
        position, reinterpret_cast<char*>(const_cast<Complex*>(from)), stride * sizeof(Complex), bytes, rows, written_,
        [this](const iovec* pieces, int count, std::int64_t at) { return pwritev(descriptor_, pieces, count, at); },
        [this](std::int64_t at, const char* rest, std::uint64_t left) { return WriteAt(at, rest, left); });
}

bool BlockFile::Reserve(std::int64_t bytes)
{
    const int failed = posix_fallocate(descriptor_, 0, bytes);
    // Some file systems cannot reserve: there a full disk shows when it is written.
    if (failed == EINVAL || failed == EOPNOTSUPP)
        return ftruncate(descriptor_, std::max(bytes, Length())) == 0;
    errno = failed;
    return failed == 0;
}

void BlockFile::Sequential()
{
    static_cast<void>(posix_fadvise(descriptor_, 0, 0, POSIX_FADV_SEQUENTIAL)); // advice only
}

bool BlockFile::Sync()
{
    return fsync(descriptor_) == 0;
}

bool BlockFile::Close()
{
    const int descriptor = std::exchange(descriptor_, -1);
    return descriptor < 0 || close(descriptor) == 0;
}
} // namespace LumoraLib::detail
