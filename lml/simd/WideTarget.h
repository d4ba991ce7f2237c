// Macros and system headers shared by all wide rooms; included outside every target region.
#ifndef LML_WIDETARGET_H
#define LML_WIDETARGET_H

#if !defined(__x86_64__)
#error "the wide loops are written for 64-bit x86 processors"
#endif

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

// Wide code is built without FMA and without contraction, so that 4, 8 and 16 lanes give the same bits.
#if defined(__FAST_MATH__)
#error "strict IEEE arithmetic is required"
#endif

/// Every helper of a wide room: internal linkage, always inlined, so that nothing built for a wider target can be
/// picked by the linker for another one. Where coverage is counted they are functions of their own: branches of what is
/// inlined would count anew at each place, and most places never take one of their sides.
#if defined(LML_COVERAGE)
#define LML_ALWAYS_INLINE
#else
#define LML_ALWAYS_INLINE __attribute__((always_inline))
#endif
#define LML_INLINE static inline LML_ALWAYS_INLINE

/// The same for member functions of per-target types.
#define LML_MEMBER inline LML_ALWAYS_INLINE

/// The same for the vector types, whose friends gcc compiles without the target of their room unless they are inlined.
#define LML_LANEWISE inline __attribute__((always_inline))

/// For the heavy, not inlined functions of a room.
#define LML_NOINLINE static __attribute__((noinline))

// Target strings. Only clang needs them on lambdas too (see LML_LAMBDA in WideForEach.h).
#define LML_TARGET_AVX2 "avx2"
#define LML_TARGET_AVX512 "avx512f,avx512dq,avx512bw,avx512vl"

#endif
