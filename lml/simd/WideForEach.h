// Compiles one source, LML_WIDE_FILE, once per instruction set, each copy in a namespace and a target of its own.
//
// A wide room "Foo" in 15 lines:
//
//   Foo.h      namespace LumoraLib::detail {
//              struct FooTable { void (*scale)(float* x, std::size_t n, float f); };
//              const FooTable& Foo();                                   // the table for the current Isa
//              namespace sse2 { extern const FooTable fooTable; }       // and the same in avx2, avx512
//              }
//   Foo-inl.h  namespace LumoraLib::detail::LML_WIDE_NS {               // no include guard, no #include but of parts
//              static void Scale(float* x, std::size_t n, float f)
//              {
//                  std::size_t i = 0;
//                  for (; i + VF::lanes <= n; i += VF::lanes) (VF::LoadU(x + i) * VF(f)).StoreU(x + i);
//                  for (; i < n; ++i) x[i] *= f;                         // same arithmetic in the tail
//              }
//              extern const FooTable fooTable;
//              const FooTable fooTable = {Scale};
//              }
//   Foo.cpp    #include "Foo.h"                                         // all headers before WideForEach.h
//              #include "base/Isa.h"
//              #define LML_WIDE_FILE "Foo-inl.h"
//              #include "simd/WideForEach.h"
//              const FooTable& LumoraLib::detail::Foo() { return PickIsa(sse2::fooTable, avx2::fooTable,
//                                                                        avx512::fooTable); }
//
// A heavy room is spread over three sources for a parallel build: each defines LML_WIDE_ONLY as 0 (SSE2), 1 (AVX2) or
// 2 (AVX-512) before including this file.
//
// Rules inside a room: helpers are LML_INLINE (static, always inlined); lambdas carry LML_LAMBDA between parameter list
// and body (clang does not put the region's target on them); no std containers, algorithms or other inline library
// functions (built for a wider target, the linker could choose them for everyone); no FMA; sums and products in an
// order that does not depend on the lane count. LML_WIDE_LEVEL is 0, 1, 2; LML_WIDE_NS the namespace; Simd-inl.h is
// already included in that namespace. g++ needs -fno-tree-vectorize for the source: its vectoriser makes fused
// multiply-add-subtract of complex products whatever -ffp-contract says, and 512-bit targets have that instruction.
//
// This file has no include guard: several rooms may be compiled in one source.

#include "simd/WideTarget.h"

#if !defined(LML_WIDE_FILE)
#error "define LML_WIDE_FILE before including WideForEach.h"
#endif

#if !defined(LML_WIDE_ONLY) || LML_WIDE_ONLY == 0
#define LML_WIDE_LEVEL 0
#define LML_WIDE_NS sse2
#define LML_LAMBDA __attribute__((always_inline))
#include "simd/Simd-inl.h"
#include LML_WIDE_FILE
#undef LML_WIDE_LEVEL
#undef LML_WIDE_NS
#undef LML_LAMBDA
#endif

#if !defined(LML_WIDE_ONLY) || LML_WIDE_ONLY == 1
#define LML_WIDE_LEVEL 1
#define LML_WIDE_NS avx2
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#define LML_LAMBDA __attribute__((always_inline, target(LML_TARGET_AVX2)))
#else
#pragma GCC push_options
// g++ 12 warns about the deliberately undefined pass-through operand inside its own intrinsics.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC target("avx2")
#define LML_LAMBDA __attribute__((always_inline))
#endif
#include "simd/Simd-inl.h"
#include LML_WIDE_FILE
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC diagnostic pop
#pragma GCC pop_options
#endif
#undef LML_WIDE_LEVEL
#undef LML_WIDE_NS
#undef LML_LAMBDA
#endif

#if !defined(LML_WIDE_ONLY) || LML_WIDE_ONLY == 2
#define LML_WIDE_LEVEL 2
#define LML_WIDE_NS avx512
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx512f,avx512dq,avx512bw,avx512vl"))), apply_to = function)
#define LML_LAMBDA __attribute__((always_inline, target(LML_TARGET_AVX512)))
#else
#pragma GCC push_options
// g++ 12 warns about the deliberately undefined pass-through operand inside its own intrinsics.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC target("avx512f,avx512dq,avx512bw,avx512vl")
#define LML_LAMBDA __attribute__((always_inline))
#endif
#include "simd/Simd-inl.h"
#include LML_WIDE_FILE
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC diagnostic pop
#pragma GCC pop_options
#endif
#undef LML_WIDE_LEVEL
#undef LML_WIDE_NS
#undef LML_LAMBDA
#endif

#undef LML_WIDE_FILE
