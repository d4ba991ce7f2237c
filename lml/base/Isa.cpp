// The instruction set that wide code runs with: the processor's, capped by the environment or the program.
#include "base/Isa.h"

#include "LmlRuntime.h"

#include <atomic>
#include <cstdlib>
#include <string_view>

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

/// What LML_ISA says; any other text than those documented caps nothing.
Isa EnvironmentCap() noexcept
{
    const char* const value = std::getenv("LML_ISA");
    const std::string_view text = value == nullptr ? "" : value;
    return text == "sse2" ? Isa::Sse2 : text == "avx2" ? Isa::Avx2 : Isa::Avx512;
}

/// Read from the environment at the first use, so that programs may set the variable before.
std::atomic<Isa>& Cap() noexcept
{
    static std::atomic<Isa> cap{EnvironmentCap()};
    return cap;
}

} // namespace

Isa ProcessorIsa() noexcept
{
    static const Isa isa = Detect();
    return isa;
}

Isa CurrentIsa() noexcept
{
    const Isa limit = Cap().load(std::memory_order_relaxed);
    const Isa have = ProcessorIsa();
    return limit < have ? limit : have;
}

void CapIsa(Isa limit) noexcept
{
    Cap().store(limit, std::memory_order_relaxed);
}

} // namespace LumoraLib::detail

namespace LumoraLib
{
static_assert(static_cast<int>(detail::Isa::Sse2) == INSTRUCTION_SET_SSE2 &&
              static_cast<int>(detail::Isa::Avx512) == INSTRUCTION_SET_AVX512);

InstructionSet GetInstructionSet()
{
    return static_cast<InstructionSet>(detail::CurrentIsa());
}

InstructionSet GetProcessorInstructionSet()
{
    return static_cast<InstructionSet>(detail::ProcessorIsa());
}

void SetInstructionSet(InstructionSet limit)
{
    detail::CapIsa(limit <= INSTRUCTION_SET_SSE2   ? detail::Isa::Sse2
                   : limit == INSTRUCTION_SET_AVX2 ? detail::Isa::Avx2
                                                   : detail::Isa::Avx512);
}

const char* GetInstructionSetString()
{
    return detail::PickIsa<const char*>("SSE2", "AVX2", "AVX-512");
}
} // namespace LumoraLib
