// Working memory of wide operations: blocks that are kept between calls and leased for one operation.
#ifndef LML_SCRATCH_H
#define LML_SCRATCH_H

#include <cstddef>
#include <memory>

namespace LumoraLib::detail
{
/// A lease of `count` blocks of at least `bytes` bytes each, one per thread of a team, aligned to 64 bytes (to 2 MiB
/// and advised for huge pages from 2 MiB up), contents undefined. The lease is taken before a parallel region, so that
/// a failure never leaves one; it gives the blocks back to a process-wide pool that grows and is never emptied, though
/// the system may take the pages of large blocks in it. Errors: as Malloc(), with the label "scratch".
class Scratch
{
public:
    /// Reports that there is no memory, in place of Malloc(); must not return.
    using Lack = void (*)(std::size_t bytes);
    Scratch(int count, std::size_t bytes, Lack lack = nullptr);
    ~Scratch();
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    Scratch(Scratch&& other) noexcept;
    Scratch& operator=(Scratch&&) = delete;

    int Count() const { return count_; }
    /// Size of every block at least.
    std::size_t Bytes() const { return bytes_; }

    /// Block of thread `index`.
    void* operator[](int index) const { return At(index).memory; }
    template <class T>
    T* As(int index) const
    {
        return static_cast<T*>((*this)[index]);
    }

    struct Block
    {
        void* memory = nullptr;
        std::size_t bytes = 0;
    };

private:
    static constexpr int kNear = 4; // teams of so many take no memory for the list

    void GiveBack() noexcept;
    Block& At(int index) { return count_ > kNear ? far_[static_cast<std::size_t>(index)] : near_[index]; }
    const Block& At(int index) const { return count_ > kNear ? far_[static_cast<std::size_t>(index)] : near_[index]; }

    int count_;
    std::size_t bytes_;
    Block near_[kNear];
    std::unique_ptr<Block[]> far_;
};
} // namespace LumoraLib::detail

#endif
