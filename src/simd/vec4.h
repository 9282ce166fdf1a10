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

namespace kevra {
namespace simd {

#if KEVRA_SIMD_HAVE_NEON
using Native = Neon;
#else
using Native = Portable;
#endif

}  // namespace simd
}  // namespace kevra

#endif  // KEVRA_SIMD_VEC4_H
