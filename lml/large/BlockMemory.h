// Buffers of the sweeps: memory straight from the system, zeros at first, all of it given back at the end of a sweep.
#ifndef LML_BLOCKMEMORY_H
#define LML_BLOCKMEMORY_H

#include <cstddef>

namespace LumoraLib::detail
{
/// `count` blocks of so many bytes, aligned to 64 at least. Unlike a lease of working memory nothing is kept: a stated
/// budget holds for one sweep after another, whose buffers have other sizes. Errors: as Malloc(), "large field".
class BlockMemory
{
public:
    BlockMemory(int count, std::size_t bytes);
    ~BlockMemory();
    BlockMemory(const BlockMemory&) = delete;
    BlockMemory& operator=(const BlockMemory&) = delete;

    template <class T>
    T* As(int index) const
    {
        return reinterpret_cast<T*>(memory_ + static_cast<std::size_t>(index) * each_);
    }

private:
    std::size_t each_;
    std::size_t bytes_;
    unsigned char* memory_;
    bool mapped_;
};
} // namespace LumoraLib::detail

#endif
