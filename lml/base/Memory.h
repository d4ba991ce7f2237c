// Memory of Malloc that is given back on every path.
#ifndef LML_MEMORY_H
#define LML_MEMORY_H

#include "LmlRuntime.h"

#include <cstddef>
#include <memory>

namespace LumoraLib::detail
{
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
