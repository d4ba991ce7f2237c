// The value of SetFftLib, and who is told of thread counts.
#include "base/StepByStep.h"

namespace LumoraLib::detail
{
FftLib fftLib = FFT_LIB_VENDOR;
ThreadHooks threadHooks;
} // namespace LumoraLib::detail
