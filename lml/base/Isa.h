// The instruction set that wide code runs with: asked of the processor once, capped for tests.
#ifndef LML_ISA_H
#define LML_ISA_H

#include "LmlApi.h"

namespace LumoraLib::detail
{

/// The builds of every wide room, in rising width (float lanes 4, 8, 16).
enum class Isa : int
{
    Sse2 = 0,
    Avx2 = 1,
    Avx512 = 2
};

/// What the processor and the operating system allow, independent of the cap.
Isa ProcessorIsa() noexcept;

/// What wide code uses now: the lower of ProcessorIsa and the cap.
Isa CurrentIsa() noexcept;

/// For tests: limits wide code to an instruction set. A cap above the processor's has no effect; Isa::Avx512 lifts it.
/// To be called between operations only.
void CapIsa(Isa cap) noexcept;

/// Picks one of three things built per instruction set.
template <class T>
const T& PickIsa(const T& sse2, const T& avx2, const T& avx512) noexcept
{
    switch (CurrentIsa())
    {
    case Isa::Avx512:
        return avx512;
    case Isa::Avx2:
        return avx2;
    default:
        return sse2;
    }
}

} // namespace LumoraLib::detail

#endif
