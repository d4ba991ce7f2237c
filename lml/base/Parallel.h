// The loop forms of the library: every parallel region stands here, so that no operation writes its own.
//
// Each form divides its work in as many parts as the library's thread count, read when the region starts: one
// contiguous block each. The team (Team.h) runs every part once; one thread may run several, one after the other, so
// that a body waits for no other part. What must be done before something else begins is a region, or a pass, of its
// own.
// A body must not throw: checks and allocations stand before the region.
#ifndef LML_PARALLEL_H
#define LML_PARALLEL_H

#include "LmlRuntime.h"
#include "base/Team.h"

#include <cstddef>
#include <cstdint>

namespace LumoraLib::detail
{
/// The contiguous block [begin, end) of part `index` of `size` over `count` items.
struct Block
{
    std::size_t begin;
    std::size_t end;
};

inline Block BlockOf(std::size_t count, int index, int size)
{
    const std::size_t team = static_cast<std::size_t>(size);
    const std::size_t me = static_cast<std::size_t>(index);
    const std::size_t share = count / team;
    const std::size_t rest = count % team;
    const std::size_t begin = share * me + (me < rest ? me : rest);
    return {begin, begin + share + (me < rest ? 1 : 0)};
}

/// One region: body(index, size) for each of `threads` parts. Index 0 is the calling thread's; indices are for memory
/// of a part's own.
template <class Body>
void ParallelTeam(int threads, const Body& body)
{
    if (threads <= 1)
        return body(0, 1);
    RunTeam(
        threads, [](const void* part, int index, int size) { (*static_cast<const Body*>(part))(index, size); },
        static_cast<const void*>(&body));
}

/// Samples of an element-wise loop, a few cycles each, below which a team costs more than it gains.
inline constexpr std::size_t kTeamSamples = 32768;

/// Blocks: body(begin, end, index) for the contiguous block of each part; below `fewest` items they are one block.
template <class Body>
void ParallelBlocks(std::size_t count, const Body& body, std::size_t fewest = 0)
{
    if (count == 0)
        return;
    if (count < fewest)
        return body(std::size_t{0}, count, 0);
    ParallelTeam(GetNumThreads(),
                 [&](int index, int size)
                 {
                     const Block block = BlockOf(count, index, size);
                     if (block.begin < block.end)
                         body(block.begin, block.end, index);
                 });
}

/// Flat form: body(n) for n from 0 to count - 1.
template <class Body>
void ParallelFlat(std::size_t count, const Body& body)
{
    ParallelBlocks(count,
                   [&](std::size_t begin, std::size_t end, int)
                   {
                       for (std::size_t n = begin; n < end; ++n)
                           body(n);
                   });
}

/// Row form: body(j) for j from first to last - 1; an empty or reversed range does nothing.
template <class Body>
void ParallelRows(std::int32_t first, std::int32_t last, const Body& body)
{
    if (first >= last)
        return;
    const std::size_t count = static_cast<std::size_t>(static_cast<std::int64_t>(last) - first);
    ParallelBlocks(count,
                   [&](std::size_t begin, std::size_t end, int)
                   {
                       for (std::size_t n = begin; n < end; ++n)
                           body(static_cast<std::int32_t>(first + static_cast<std::int64_t>(n)));
                   });
}
} // namespace LumoraLib::detail

#endif
