// Memory: the one way to a block, and memory of Malloc that is given back on every path.
#ifndef LML_MEMORY_H
#define LML_MEMORY_H

#include "LmlRuntime.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sys/mman.h>

namespace LumoraLib::detail
{
/// A block for std::free, or null. Its start suits the widest vector loads (64 bytes); from `hugeFrom` bytes on it
/// stands on huge pages, which saves page faults and address translations in strided passes over it.
inline void* AlignedBlock(std::size_t bytes, std::size_t hugeFrom = SIZE_MAX)
{
    constexpr std::size_t hugePage = std::size_t{2} << 20;
    const bool huge = bytes >= hugeFrom;
    void* block = nullptr;
    if (bytes > SIZE_MAX / 2 - hugePage || posix_memalign(&block, huge ? hugePage : 64, bytes == 0 ? 1 : bytes) != 0)
        return nullptr;
    // Advice only, nothing depends on it; the rest behind whole huge pages takes no more than it needs.
    if (huge)
        static_cast<void>(madvise(block, bytes / hugePage * hugePage, MADV_HUGEPAGE));
    return block;
}

/// Gives memory of Malloc back.
struct FreeMemory
{
    void operator()(void* p) const { Free(p); }
};

/// Memory of Malloc that is given back on every path.
template <class T>
std::unique_ptr<T[], FreeMemory> MallocArray(std::size_t count, const char* label)
{
    return std::unique_ptr<T[], FreeMemory>(static_cast<T*>(Malloc(count * sizeof(T), label)));
}
} // namespace LumoraLib::detail

#endif
