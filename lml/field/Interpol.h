// The choice of a wide interpolator.
#ifndef LML_INTERPOL_H
#define LML_INTERPOL_H

#include "field/WideInterpol.h"

namespace LumoraLib::detail
{
/// The kernel of a chooser value; false for the values that GetInterpolFunc refuses.
bool WideKernelOf(Interpol interpol, WideKernel& kernel);
} // namespace LumoraLib::detail

#endif
