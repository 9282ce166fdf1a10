// The four-lane vector layer. Kernels are templates over a backend V that
// provides V::F (float lanes), V::I (int32 lanes), V::U (uint32 lanes) and
// static operations on them; the library instantiates them with Native, and
// the tests run every kernel with each backend built into the binary and
// demand identical bits.
#ifndef KEVRA_SIMD_VEC4_H
#define KEVRA_SIMD_VEC4_H

#include "simd/vec4_portable.h"

#if defined(__ARM_NEON) && !defined(KEVRA_SIMD_PORTABLE_ONLY)
#include "simd/vec4_neon.h"
#define KEVRA_SIMD_HAVE_NEON 1
#else
#define KEVRA_SIMD_HAVE_NEON 0
#endif

// The x86-64 backend needs hardware FMA: without it the portable backend's
// per-lane fused multiply-add is as good as any emulation.
#if defined(__x86_64__) && defined(__FMA__) && defined(__AVX__) && defined(__SSE4_1__) && !defined(KEVRA_SIMD_PORTABLE_ONLY)
#include "simd/vec4_sse.h"
#define KEVRA_SIMD_HAVE_SSE 1
#else
#define KEVRA_SIMD_HAVE_SSE 0
#endif

// For the small helpers of a kernel that take vectors, or arrays of them, by
// reference, and for lambdas that capture a kernel's accumulators: out of line,
// those vectors would live in memory. Compilers differ in when they inline such
// helpers by themselves (clang often declines where GCC does not).
#if defined(__GNUC__)
#define KEVRA_ALWAYS_INLINE inline __attribute__((always_inline))
#define KEVRA_INLINE_LAMBDA __attribute__((always_inline))
#else
#define KEVRA_ALWAYS_INLINE inline
#define KEVRA_INLINE_LAMBDA
#endif

namespace kevra {
namespace simd {

#if KEVRA_SIMD_HAVE_NEON
using Native = Neon;
#elif KEVRA_SIMD_HAVE_SSE
using Native = Sse;
#else
using Native = Portable;
#endif

}  // namespace simd
}  // namespace kevra

#endif  // KEVRA_SIMD_VEC4_H
