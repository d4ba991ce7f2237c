// Missing memory of the standard library's containers, brought to the library's one road.
#ifndef LML_WITHMEMORY_H
#define LML_WITHMEMORY_H

#include <exception>
#include <new>
#include <stdexcept>
#include <utility>

namespace LumoraLib::detail
{
/// What work() returns. Where the standard library has no memory for it, or no container is that large, lack() reports
/// that in Error() instead, after everything that work() has taken is given back. Not inside a parallel region.
template <class Work, class Lack>
decltype(auto) WithMemory(Work&& work, const Lack& lack)
{
    try
    {
        return std::forward<Work>(work)();
    }
    catch (const std::bad_alloc&)
    {
    }
    catch (const std::length_error&)
    {
    }
    lack();
    std::terminate(); // Error() does not return
}
} // namespace LumoraLib::detail

#endif
