// The binding of the transforms: one small table of four slots per engine, and the questions other units ask about it.
#ifndef LML_DISPATCH_H
#define LML_DISPATCH_H

#include "LmlRuntime.h"
#include "LmlTypes.h"

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
    void (*setThreads)(int count);
    void (*setDynamic)(bool dynamic);
};

/// The binding in force; SetFftLib replaces it as a whole.
extern FftBinding fftBinding;

/// True when the vendor's library is bound (a build with LML_WITH_MKL and FftLib value 1).
bool VendorBound();

/// True when the wide forms of element-wise operations are in use (FftLib value other than 0).
/// Value 0 runs every operation step by step in plain loops: the definition that the wide forms are compared with.
bool WideBound();

/// True when transforms run on the library's own wide engine, and with it the fused propagations.
bool FusedBound();
} // namespace LumoraLib::detail

#endif
