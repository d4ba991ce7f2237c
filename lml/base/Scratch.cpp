// Working memory of wide operations.
#include "base/Scratch.h"

#include "LmlRuntime.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <mutex>
#include <new>
#include <sys/mman.h>
#include <utility>

namespace LumoraLib::detail
{
namespace
{
constexpr std::size_t kHugePage = std::size_t{2} << 20;
constexpr std::size_t kPage = 4096;

// From here on blocks are offered to the system while nobody uses them.
constexpr std::size_t kLendBack = std::size_t{32} << 20;

// Free blocks of the process, the first `pooled` slots. A lease takes one per thread, and operations are not nested
// deeply.
constexpr int kSlots = 256;
std::mutex poolMutex;
Scratch::Block pool[kSlots];
int pooled = 0;

void* Allocate(std::size_t bytes, Scratch::Lack lack)
{
    void* p = nullptr;
    const bool large = bytes >= kHugePage;
    if (bytes > (SIZE_MAX >> 2) || posix_memalign(&p, large ? kHugePage : 64, bytes) != 0)
    {
        if (lack != nullptr)
            lack(bytes);
        return Malloc(bytes, "scratch"); // reports the failure
    }
    if (!large)
        return p;
    // Advice only, nothing depends on it; the rest behind whole huge pages takes no more than it needs.
    static_cast<void>(madvise(p, bytes / kHugePage * kHugePage, MADV_HUGEPAGE));
    return p;
}

// The smallest free block that fits and is not much too large; otherwise a new one, and the largest free block that was
// too small is dropped in its favour.
Scratch::Block Take(std::size_t bytes, Scratch::Lack lack)
{
    Scratch::Block taken;
    {
        const std::lock_guard<std::mutex> lock(poolMutex);
        int best = -1, small = -1;
        for (int i = 0; i < pooled; ++i)
        {
            const std::size_t has = pool[i].bytes;
            if (has >= bytes && has / 8 <= bytes && (best < 0 || has < pool[best].bytes))
                best = i;
            if (has < bytes && (small < 0 || has > pool[small].bytes))
                small = i;
        }
        const int slot = best >= 0 ? best : small;
        if (slot >= 0)
        {
            taken = pool[slot];
            pool[slot] = pool[--pooled];
        }
    }
    if (taken.bytes >= bytes && taken.memory != nullptr)
        return taken;
    std::free(taken.memory);
    return {Allocate(bytes, lack), bytes};
}

void Return(Scratch::Block block) noexcept
{
    if (block.memory == nullptr)
        return;
    // A large block stays ours in name: the system takes its pages when it needs them, and gives them back with the
    // next write otherwise, without clearing them anew.
    if (block.bytes >= kLendBack)
        static_cast<void>(madvise(block.memory, block.bytes / kPage * kPage, MADV_FREE));
    {
        const std::lock_guard<std::mutex> lock(poolMutex);
        if (pooled < kSlots)
        {
            pool[pooled++] = block;
            return;
        }
    }
    std::free(block.memory);
}
} // namespace

Scratch::Scratch(int count, std::size_t bytes, Lack lack)
    : count_(count), bytes_(bytes),
      far_(count > kNear ? new (std::nothrow) Block[static_cast<std::size_t>(count)] : nullptr)
{
    if (count > kNear && !far_)
        Error(ERR_MEMORY, "LumoraLib::Malloc", "scratch");
    try
    {
        for (int i = 0; i < count_; ++i)
            At(i) = Take((bytes + 63) / 64 * 64, lack);
    }
    catch (...)
    {
        GiveBack();
        throw;
    }
}

Scratch::Scratch(Scratch&& other) noexcept : count_(other.count_), bytes_(other.bytes_), far_(std::move(other.far_))
{
    std::copy(std::begin(other.near_), std::end(other.near_), near_);
    other.count_ = 0;
}

Scratch::~Scratch()
{
    GiveBack();
}

void Scratch::GiveBack() noexcept
{
    for (int i = 0; i < count_; ++i)
        Return(At(i));
}
} // namespace LumoraLib::detail
