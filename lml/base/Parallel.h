// The loop forms of the library: every parallel region stands here, so that no operation writes its own.
//
// Each form asks the OpenMP runtime for a team of the library's thread count, read when the region starts, and gives
// each thread one contiguous block (static scheduling without a chunk). A declined fork runs the same body as a team of
// one.
// A body must not throw: checks and allocations stand before the region.
#ifndef LML_PARALLEL_H
#define LML_PARALLEL_H

#include "LmlRuntime.h"

#include <cstddef>
#include <cstdint>
#include <omp.h>

namespace LumoraLib::detail
{
/// The contiguous block [begin, end) of thread `index` in a team of `size` over `count` items.
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

/// One region: body(threadIndex, teamSize) on each thread of a team of at most `threads`.
template <class Body>
void ParallelTeam(int threads, const Body& body)
{
    if (threads <= 1)
    {
        body(0, 1);
        return;
    }
#pragma omp parallel num_threads(threads) default(none) shared(body)
    body(omp_get_thread_num(), omp_get_num_threads());
}

/// Waits until every thread of a team of `size` has come here. Alone there is nobody to wait for: a barrier would then
/// belong to a team that the caller stands in, whose other threads wait for the caller and never come.
inline void TeamBarrier(int size)
{
    if (size > 1)
    {
#pragma omp barrier
    }
}

/// Blocks: body(begin, end, threadIndex) for the contiguous block of each thread.
template <class Body>
void ParallelBlocks(std::size_t count, const Body& body)
{
    if (count == 0)
        return;
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
