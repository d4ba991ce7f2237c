// What SetFftLib means, in one place.
//
// FftLib 0 (FFT_LIB_SPLIT_RADIX) runs every operation of the library step by step in plain loops, with the split-radix
// transforms: that is the definition of each result. Every other value runs the wide forms of the loops (several
// samples at a time) and, on the library's own wide engine, the fused forms of the propagations. Loops give the same
// bits in both; transforms, and what is computed through them, may differ in rounding, and so may the sine and cosine
// of an exact point source.
#ifndef LML_STEPBYSTEP_H
#define LML_STEPBYSTEP_H

#include "LmlRuntime.h"

namespace LumoraLib::detail
{
/// The value of SetFftLib.
extern FftLib fftLib;

/// True for FftLib 0: plain loops, one operation after the other.
inline bool StepByStep()
{
    return fftLib == FFT_LIB_SPLIT_RADIX;
}

/// Who wants to be told of the thread count and the dynamic flag: a vendor's library registers itself here with its
/// transforms. Told while it is in use only.
struct ThreadHooks
{
    void (*setThreads)(int count) = nullptr;
    void (*setDynamic)(bool dynamic) = nullptr;
};
extern ThreadHooks threadHooks;
} // namespace LumoraLib::detail

#endif
