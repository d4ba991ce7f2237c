// Buffers of the sweeps: memory straight from the system, zeros at first, all of it given back at the end of a sweep.
#include "large/BlockMemory.h"

#include "LmlRuntime.h"

#include <cstdint>
#include <cstring>

#include <sys/mman.h>

namespace LumoraLib::detail
{
BlockMemory::BlockMemory(int count, std::size_t bytes)
    : each_(bytes > SIZE_MAX / 64 ? SIZE_MAX / 64 : (bytes + 63) / 64 * 64),
      bytes_(each_ * static_cast<std::size_t>(count)), memory_(nullptr), mapped_(false)
{
    void* const mapped = mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    mapped_ = mapped != MAP_FAILED;
    if (!mapped_)
    {
        memory_ = static_cast<unsigned char*>(Malloc(bytes_, "large field")); // reports the failure, as a rule
        std::memset(memory_, 0, bytes_);
        return;
    }
    memory_ = static_cast<unsigned char*>(mapped);
    static_cast<void>(madvise(memory_, bytes_, MADV_HUGEPAGE)); // advice only
}

BlockMemory::~BlockMemory()
{
    if (mapped_)
        static_cast<void>(munmap(memory_, bytes_));
    else
        Free(memory_);
}
} // namespace LumoraLib::detail
