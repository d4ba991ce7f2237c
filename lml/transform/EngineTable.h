// The table of the transforms' engines: what an engine offers, and the one that SetFftLib has bound.
#ifndef LML_ENGINETABLE_H
#define LML_ENGINETABLE_H

#include "LmlTypes.h"
#include "base/StepByStep.h"

#include <cstdint>

namespace LumoraLib::detail
{
/// The longest axis that a transform takes, in samples: the split-radix engine counts a row's floats in 32 bits, and
/// the wide engine has tables up to it. Grids may be longer (2^30); operations that enlarge a grid to transform it take
/// that much less. Everything that transforms refuses a longer axis, code 6, before it changes anything.
inline constexpr int kLongestTransformLg = 29;
inline constexpr std::int32_t kLongestTransform = std::int32_t{1} << kLongestTransformLg;
inline constexpr char kTextTooLong[] = "an axis is longer than a transform takes (2^29 samples)";

/// What an engine offers. Transforms are in place and unscaled; sign < 0 is the kernel exp(-2 pi i n m / N).
struct FftBinding
{
    void (*transform2d)(Complex* data, std::int32_t nx, std::int32_t ny, int sign);
    void (*transform1d)(Complex* data, std::int32_t n, int sign);
};

/// The binding in force; SetFftLib replaces it as a whole.
extern FftBinding fftBinding;

/// True when the split-radix engine is bound, whose work areas can be taken before the samples are touched.
bool SplitRadixBound();

/// What the value of SetFftLib has bound: the split-radix engine (StepByStep()), the library's own wide engine, or the
/// vendor's library in its place (a build with LML_WITH_MKL). Fused propagations need the wide engine.
bool WideEngineBound();
} // namespace LumoraLib::detail

#endif
