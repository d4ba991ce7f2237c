// Files that go when their owner does, at the end of a scope or of the process, unless they are kept.
#include "large/TemporaryFile.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace LumoraLib::detail
{
namespace
{
/// The default handling of errors ends the process without unwinding: what is left is removed when it exits.
std::mutex mutex;
TemporaryFile* first = nullptr;
} // namespace

void TemporaryFile::RemoveAll()
{
    const std::lock_guard<std::mutex> lock(mutex);
    for (const TemporaryFile* file = first; file != nullptr; file = file->next_)
        if (file->process_ == getpid())
            unlink(file->path_.c_str());
}

TemporaryFile::TemporaryFile(std::string path) : path_(std::move(path)), process_(getpid())
{
    if (path_.empty())
        return;
    const std::lock_guard<std::mutex> lock(mutex);
    static const bool removesAtExit = std::atexit(RemoveAll) == 0;
    static_cast<void>(removesAtExit);
    next_ = std::exchange(first, this);
}

TemporaryFile::~TemporaryFile()
{
    Remove();
}

void TemporaryFile::Forget()
{
    const std::lock_guard<std::mutex> lock(mutex);
    TemporaryFile** place = &first;
    while (*place != this)
        place = &(*place)->next_;
    *place = next_;
    path_.clear();
}

void TemporaryFile::Remove()
{
    if (path_.empty())
        return;
    unlink(path_.c_str());
    Forget();
}

bool TemporaryFile::MoveTo(const std::string& place)
{
    if (std::rename(path_.c_str(), place.c_str()) != 0)
        return false;
    Forget();
    const std::size_t slash = place.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : place.substr(0, slash + 1);
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    static_cast<void>(fsync(descriptor)); // some file systems keep no directories of their own
    return close(descriptor) == 0;
}
} // namespace LumoraLib::detail
