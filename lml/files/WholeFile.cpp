// Replacing a file whole or not at all: written beside its place, flushed to the disk, renamed.

#include "LmlLumora.h"
#include "files/ByteIo.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace LumoraLib
{
namespace
{
constexpr char kCreate[] = "LumoraLib::WholeFile";
constexpr char kCommit[] = "LumoraLib::WholeFile::Commit";
constexpr std::size_t kSuffix = 32; // ".<process>-<number>.part" and the terminator

struct FreeText
{
    void operator()(char* p) const { std::free(p); }
};

/// Files that are not committed yet. The default handling of errors ends the process without unwinding, so those that
/// are left are removed when it exits; a child process removes none of its parent's.
std::mutex openMutex;
WholeFile* openFiles = nullptr;

/// Brings what was written to the disk, not to the system's memory alone.
bool SyncToDisk(const char* path, int flags)
{
    const int descriptor = open(path, flags | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    // Some file systems keep no directories of their own: nothing is to be done there.
    const bool synced = fsync(descriptor) == 0 || errno == EINVAL;
    return close(descriptor) == 0 && synced;
}
} // namespace

void WholeFile::RemoveOpen()
{
    const std::lock_guard<std::mutex> lock(openMutex);
    for (const WholeFile* file = openFiles; file != nullptr; file = file->next_)
        if (file->process_ == getpid() && *file->beside_ != '\0')
            unlink(file->beside_);
}

WholeFile::WholeFile(const char* path, Contents contents)
    : target_(nullptr), beside_(nullptr), process_(getpid()), next_(nullptr)
{
    if (path == nullptr || *path == '\0')
        Error(ERR_FILE_OPEN, kCreate, "");
    // The file that a link leads to is replaced, not the link.
    const std::unique_ptr<char, FreeText> real(realpath(path, nullptr));
    struct stat info;
    const bool exists = real != nullptr && stat(real.get(), &info) == 0;
    if (exists && !S_ISREG(info.st_mode))
        Error(ERR_FILE_OPEN, kCreate, path);
    const char* const target = exists ? real.get() : path;
    const std::size_t length = std::strlen(target);
    target_ = static_cast<char*>(Malloc(2 * (length + 1) + kSuffix, kCreate));
    beside_ = target_ + length + 1;
    std::memcpy(target_, target, length + 1);

    // A process has each name once; one that is there all the same was left by another of the same number.
    static std::atomic<unsigned> number{0};
    int descriptor = -1;
    do
    {
        std::snprintf(beside_, length + 1 + kSuffix, "%s.%d-%u.part", target, static_cast<int>(getpid()), number++);
        descriptor = open(beside_, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    } while (descriptor < 0 && errno == EEXIST);
    if (descriptor < 0)
    {
        Free(target_);
        Error(ERR_FILE_OPEN, kCreate, path);
    }
    const bool made = !exists || fchmod(descriptor, info.st_mode & 07777) == 0; // the rights of the old file
    close(descriptor);
    {
        const std::lock_guard<std::mutex> lock(openMutex);
        static const bool removesAtExit = std::atexit(RemoveOpen) == 0;
        static_cast<void>(removesAtExit);
        next_ = openFiles;
        openFiles = this;
    }
    try
    {
        if (!made)
            Error(ERR_FILE_OPEN, kCreate, path);
        if (contents == Copied)
            CopyTarget();
    }
    catch (...)
    {
        Discard();
        throw;
    }
}

WholeFile::~WholeFile()
{
    Discard();
}

void WholeFile::Discard()
{
    if (target_ == nullptr)
        return;
    {
        const std::lock_guard<std::mutex> lock(openMutex);
        WholeFile** place = &openFiles;
        while (*place != this)
            place = &(*place)->next_;
        *place = next_;
    }
    if (*beside_ != '\0')
        unlink(beside_);
    Free(target_);
    target_ = nullptr;
    beside_ = nullptr;
}

void WholeFile::CopyTarget()
{
    detail::File from(target_, "rb");
    if (!from.IsOpen())
        Error(ERR_FILE_OPEN, kCreate, target_);
    detail::File to(beside_, "wb");
    if (!to.IsOpen())
        Error(ERR_FILE_OPEN, kCreate, target_);
    char block[65536];
    for (std::uint64_t got = sizeof block; got == sizeof block;)
    {
        got = detail::ReadMost(from, block, sizeof block);
        ewrite(to, block, got, beside_);
    }
    if (std::ferror(from.Get()) != 0)
        Error(ERR_FILE_READ, "eread", target_);
    to.Close(beside_);
}

void WholeFile::Commit()
{
    if (target_ == nullptr)
        Error(ERR_INTERNAL, kCommit, "the file was committed before");
    if (!SyncToDisk(beside_, O_RDONLY) || std::rename(beside_, target_) != 0)
        Error(ERR_FILE_WRITE, kCommit, target_);
    *beside_ = '\0';
    // The new name is in the directory; from here on it is there after a loss of power as well.
    char* const end = std::strrchr(target_, '/') == target_ ? target_ + 1 : std::strrchr(target_, '/');
    const char cut = end == nullptr ? '\0' : std::exchange(*end, '\0');
    const bool named = SyncToDisk(end == nullptr ? "." : target_, O_RDONLY | O_DIRECTORY);
    if (end != nullptr)
        *end = cut;
    if (!named)
        Error(ERR_FILE_WRITE, kCommit, target_);
    Discard();
}
} // namespace LumoraLib
