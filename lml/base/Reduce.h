// Reductions over samples: the exact running value in sample order on one thread, per-thread partial values joined in
// thread order on more, so that a result depends on the thread count alone and never varies from run to run.
#ifndef LML_REDUCE_H
#define LML_REDUCE_H

#include "base/Memory.h"
#include "base/Parallel.h"

#include <cstddef>
#include <memory>

namespace LumoraLib::detail
{
/// Splits `count` items into one block per thread, runs partial = body(begin, end, start) on each and joins the partial
/// values as total = join(total, partial) in thread order. One thread sees exactly body(0, count, start).
template <class Value, class Body, class Join>
Value Reduce(std::size_t count, Value start, const Body& body, const Join& join)
{
    const int threads = GetNumThreads();
    if (threads <= 1)
        return body(std::size_t{0}, count, start);
    const std::unique_ptr<Value, FreeMemory> partial(
        static_cast<Value*>(Malloc(static_cast<std::size_t>(threads) * sizeof(Value), "Reduce")));
    for (int t = 0; t < threads; ++t)
        partial.get()[t] = start;
    Value* const results = partial.get();
    ParallelBlocks(count,
                   [&](std::size_t begin, std::size_t end, int index) { results[index] = body(begin, end, start); });
    Value total = results[0];
    for (int t = 1; t < threads; ++t)
        total = join(total, results[t]);
    return total;
}

/// Sum: body(begin, end, running) adds its items one by one to the running double and returns it.
template <class Body>
double ReduceSum(std::size_t count, const Body& body)
{
    return Reduce(count, 0.0, body, [](double a, double b) { return a + b; });
}

/// Maximum from a start value: an item replaces the running value only when it is greater, so not-a-number never does.
template <class Body>
double ReduceMax(std::size_t count, double start, const Body& body)
{
    return Reduce(count, start, body, [](double a, double b) { return b > a ? b : a; });
}
} // namespace LumoraLib::detail

#endif
