// The vendor's DFT library as an engine: what a build with LML_WITH_MKL binds to FftLib value 1.
#ifndef LML_VENDORFFT_H
#define LML_VENDORFFT_H

#include "transform/EngineTable.h"

namespace LumoraLib::detail
{
/// Unscaled transforms in place; sign < 0 is the library's forward direction, exp(-2 pi i n m / N). Each call makes its
/// own descriptor and frees it; status results are not looked at, so a failure inside the library leaves the samples as
/// they are.
void VendorTransform2d(Complex* data, std::int32_t nx, std::int32_t ny, int sign);
void VendorTransform1d(Complex* data, std::int32_t n, int sign);
/// The library's own thread count; it ignores a count below 1.
void VendorSetThreads(int count);
void VendorSetDynamic(bool dynamic);
} // namespace LumoraLib::detail

#endif
