// Stands before the C library's allocator and file functions in the test program, for every library in it. Test only.

#include "Faults.h"

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

extern "C"
{
    void* __libc_malloc(std::size_t);
    void* __libc_calloc(std::size_t, std::size_t);
    void* __libc_realloc(void*, std::size_t);
    void* __libc_memalign(std::size_t, std::size_t);
}

namespace
{
using namespace faults;
bool armed = false;
Kind armedKind;
Way armedWay;
int faultAt = 0;
int seen = 0;
int openStreams = 0;

enum class Transfer
{
    None,
    Read,
    Write
};

// Is this call the one? Ends the process where it is to be killed; a torn write comes back to do its half first.
bool Due(Kind kind, Transfer transfer = Transfer::None)
{
    if (!armed || kind != armedKind || (armedWay == Short && transfer == Transfer::None) ||
        (armedWay == KillTorn && transfer != Transfer::Write))
        return false;
    ++seen;
    if (faultAt == 0 || (armedWay == FailOn ? seen < faultAt : seen != faultAt))
        return false;
    if (armedWay == Kill)
        _exit(kKilled);
    errno = kind == Allocation ? ENOMEM : ENOSPC;
    return true;
}

bool DueFile(std::FILE* stream, Transfer transfer = Transfer::None)
{
    if (!Due(FileCall, transfer))
        return false;
    stream->_flags |= 0x20; // the stream's error flag, which only the C library itself can set
    return true;
}

template <class Function>
Function* Real(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
// Looked up before anything is armed: the search itself may allocate.
#define LML_REAL(name) const auto real_##name = Real<decltype(::name)>(#name)
LML_REAL(fopen);
LML_REAL(fread);
LML_REAL(fwrite);
LML_REAL(fgets);
LML_REAL(fputs);
LML_REAL(vfprintf);
LML_REAL(fseeko);
LML_REAL(ftello);
LML_REAL(fflush);
LML_REAL(fclose);
LML_REAL(fstat);
LML_REAL(open);
LML_REAL(fsync);
LML_REAL(rename);
LML_REAL(remove);
LML_REAL(ftruncate);
LML_REAL(pread);
LML_REAL(pwrite);
LML_REAL(preadv);
LML_REAL(pwritev);
LML_REAL(posix_fallocate);
} // namespace

namespace faults
{
void Arm(Kind kind, Way way, int n)
{
    armedKind = kind;
    armedWay = way;
    faultAt = n;
    seen = 0;
    armed = true;
}
int Disarm()
{
    armed = false;
    return seen;
}
int OpenStreams()
{
    return openStreams;
}
} // namespace faults

extern "C"
{
#define LML_SHIM(kind, type, name, parameters, failure, call)                                                          \
    type name parameters                                                                                               \
    {                                                                                                                  \
        return Due(kind) ? failure : call;                                                                             \
    }
    // clang-format off
    LML_SHIM(Allocation, void*, malloc, (std::size_t size), nullptr, __libc_malloc(size))
    LML_SHIM(Allocation, void*, calloc, (std::size_t count, std::size_t size), nullptr, __libc_calloc(count, size))
    LML_SHIM(Allocation, void*, realloc, (void* p, std::size_t size), nullptr, __libc_realloc(p, size))
    LML_SHIM(Allocation, void*, aligned_alloc, (std::size_t alignment, std::size_t size), nullptr, __libc_memalign(alignment, size))
    LML_SHIM(FileCall, int, fseeko, (std::FILE* stream, off_t at, int from), -1, real_fseeko(stream, at, from))
    LML_SHIM(FileCall, off_t, ftello, (std::FILE* stream), -1, real_ftello(stream))
    LML_SHIM(FileCall, int, fstat, (int file, struct stat* info), -1, real_fstat(file, info))
    LML_SHIM(FileCall, int, fsync, (int file), -1, real_fsync(file))
    LML_SHIM(FileCall, int, rename, (const char* from, const char* to), -1, real_rename(from, to))
    LML_SHIM(FileCall, int, remove, (const char* path), -1, real_remove(path))
    LML_SHIM(FileCall, int, ftruncate, (int file, off_t length), -1, real_ftruncate(file, length))
    LML_SHIM(FileCall, int, posix_fallocate, (int file, off_t at, off_t length), ENOSPC, real_posix_fallocate(file, at, length))
    LML_SHIM(FileCall, ssize_t, preadv, (int file, const struct iovec* to, int count, off_t at), -1, real_preadv(file, to, count, at))
    LML_SHIM(FileCall, ssize_t, pwritev, (int file, const struct iovec* from, int count, off_t at), -1, real_pwritev(file, from, count, at))
    // clang-format on
    int posix_memalign(void** p, std::size_t alignment, std::size_t size)
    {
        void* const memory = Due(Allocation) ? nullptr : __libc_memalign(alignment, size);
        if (memory == nullptr)
            return ENOMEM;
        *p = memory;
        return 0;
    }

    std::FILE* fopen(const char* path, const char* mode)
    {
        std::FILE* const stream = Due(FileCall) ? nullptr : real_fopen(path, mode);
        openStreams += stream != nullptr;
        return stream;
    }
    std::size_t fread(void* to, std::size_t size, std::size_t count, std::FILE* stream)
    {
        if (!DueFile(stream, Transfer::Read))
            return real_fread(to, size, count, stream);
        return armedWay == Short ? real_fread(to, size, count / 2, stream) : 0;
    }
    std::size_t fwrite(const void* from, std::size_t size, std::size_t count, std::FILE* stream)
    {
        if (!DueFile(stream, Transfer::Write))
            return real_fwrite(from, size, count, stream);
        if (armedWay != Short && armedWay != KillTorn)
            return 0;
        const std::size_t half = real_fwrite(from, 1, size * count / 2, stream) / size;
        if (armedWay == KillTorn)
        {
            real_fflush(stream);
            _exit(kKilled);
        }
        return half;
    }
    ssize_t pread(int file, void* to, std::size_t bytes, off_t at)
    {
        if (!Due(FileCall, Transfer::Read))
            return real_pread(file, to, bytes, at);
        return armedWay == Short ? real_pread(file, to, bytes / 2, at) : -1;
    }
    ssize_t pwrite(int file, const void* from, std::size_t bytes, off_t at)
    {
        if (!Due(FileCall, Transfer::Write))
            return real_pwrite(file, from, bytes, at);
        const ssize_t half =
            armedWay == Short || armedWay == KillTorn ? real_pwrite(file, from, bytes / 2, at) : ssize_t{-1};
        if (armedWay == KillTorn)
            _exit(kKilled);
        return half;
    }
    char* fgets(char* to, int size, std::FILE* stream)
    {
        return DueFile(stream) ? nullptr : real_fgets(to, size, stream);
    }
    int fputs(const char* text, std::FILE* stream)
    {
        return DueFile(stream) ? EOF : real_fputs(text, stream);
    }
    int vfprintf(std::FILE* stream, const char* format, std::va_list args)
    {
        return DueFile(stream) ? -1 : real_vfprintf(stream, format, args);
    }
    int fprintf(std::FILE* stream, const char* format, ...)
    {
        std::va_list args;
        va_start(args, format);
        const int written = vfprintf(stream, format, args);
        va_end(args);
        return written;
    }
    int fflush(std::FILE* stream)
    {
        if (stream == nullptr)
            return real_fflush(stream);
        return DueFile(stream) ? EOF : real_fflush(stream);
    }
    int fclose(std::FILE* stream)
    {
        const bool due = Due(FileCall);
        --openStreams;
        return real_fclose(stream) != 0 || due ? EOF : 0;
    }
    int open(const char* path, int flags, ...)
    {
        std::va_list args;
        va_start(args, flags);
        const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
        va_end(args);
        return Due(FileCall) ? -1 : real_open(path, flags, mode);
    }
}
