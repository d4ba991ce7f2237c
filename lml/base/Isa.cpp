// The instruction set that wide code runs with.
#include "base/Isa.h"

#include <atomic>

namespace LumoraLib::detail
{

namespace
{

Isa Detect() noexcept
{
    // The builtins include the operating system's part (register state saved on a switch).
    __builtin_cpu_init();
    if (!__builtin_cpu_supports("avx2"))
        return Isa::Sse2;
    const bool wide = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
                      __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl");
    return wide ? Isa::Avx512 : Isa::Avx2;
}

std::atomic<Isa> cap{Isa::Avx512};

} // namespace

Isa ProcessorIsa() noexcept
{
    static const Isa isa = Detect();
    return isa;
}

Isa CurrentIsa() noexcept
{
    const Isa limit = cap.load(std::memory_order_relaxed);
    const Isa have = ProcessorIsa();
    return limit < have ? limit : have;
}

void CapIsa(Isa limit) noexcept
{
    cap.store(limit, std::memory_order_relaxed);
}

} // namespace LumoraLib::detail
