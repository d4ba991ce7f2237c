// Samples as the pairs of floats that they are, real then imaginary: what wide loops work on.
#ifndef LML_FLOATS_H
#define LML_FLOATS_H

#include "LmlTypes.h"

namespace LumoraLib::detail
{
inline float* Floats(Complex* samples)
{
    return reinterpret_cast<float*>(samples);
}
inline const float* Floats(const Complex* samples)
{
    return reinterpret_cast<const float*>(samples);
}
} // namespace LumoraLib::detail

#endif
