// The choice of the transforms' engine.
#include "transform/EngineTable.h"
#include "transform/wide/WideFft.h"

#include "Fftsg.h"
#ifdef LML_WITH_MKL
#include "transform/VendorFft.h"
#endif

#include <cstddef>

namespace LumoraLib
{
namespace detail
{
namespace
{
void PlainTransform2d(Complex* data, std::int32_t nx, std::int32_t ny, int sign)
{
    FftsgTransform2d(data, nx, ny, sign);
}

void PlainTransform1d(Complex* data, std::int32_t n, int sign)
{
    FftsgTransform1d(data, n, sign);
}

constexpr FftBinding kSplitRadix = {PlainTransform2d, PlainTransform1d};

// What FftLib value 1 stands for in this build.
#ifdef LML_WITH_MKL
constexpr bool kVendorBuilt = true;
constexpr FftBinding kFast = {VendorTransform2d, VendorTransform1d};
[[maybe_unused]] const bool hooked = (threadHooks = {VendorSetThreads, VendorSetDynamic}, true);
#else
void WideTransform2d(Complex* data, std::int32_t nx, std::int32_t ny, int sign)
{
    if (nx > 0 && ny > 0)
        WideFft2d(data, static_cast<std::size_t>(nx), static_cast<std::size_t>(ny), sign, false, 1.0f, GetNumThreads());
}

void WideTransform1d(Complex* data, std::int32_t n, int sign)
{
    if (n > 0)
        WideFft1d(data, static_cast<std::size_t>(n), sign, false, 1.0f, GetNumThreads());
}

constexpr bool kVendorBuilt = false;
constexpr FftBinding kFast = {WideTransform2d, WideTransform1d};
#endif
} // namespace

FftBinding fftBinding = kFast;

bool SplitRadixBound()
{
    return fftBinding.transform2d == kSplitRadix.transform2d;
}

bool WideEngineBound()
{
    return !kVendorBuilt && !StepByStep();
}
} // namespace detail

void SetFftLib(FftLib lib)
{
    // Kept: a vendor library is not told the thread count here; the next SetNumThreads does that.
    detail::fftLib = lib;
    detail::fftBinding = detail::StepByStep() ? detail::kSplitRadix : detail::kFast;
}

FftLib GetFftLib()
{
    return detail::fftLib;
}
} // namespace LumoraLib
