// The vector backends built into this test binary. Kernel tests run every
// backend on the same inputs and demand the portable backend's exact bits.
#ifndef KEVRA_TESTS_SUPPORT_BACKENDS_H
#define KEVRA_TESTS_SUPPORT_BACKENDS_H

#include <gtest/gtest.h>

#include <cstdint>
#include <random>

#include "simd/vec4.h"

namespace kevra_test {

// Runs body once per backend:
//   for_each_backend([&](auto tag) { using V = typename decltype(tag)::type; ... });
template <class V>
struct BackendTag { using type = V; };

template <class Body>
void for_each_backend(Body body) {
    body(BackendTag<kevra::simd::Portable>{});
#if KEVRA_SIMD_HAVE_NEON
    body(BackendTag<kevra::simd::Neon>{});
#endif
#if KEVRA_SIMD_HAVE_SSE
    body(BackendTag<kevra::simd::Sse>{});
#endif
}

// The NaN this machine makes from inf - inf (x86-64: sign bit set; Arm: clear).
inline float machine_nan() {
    volatile float inf = __builtin_inff();
    return inf - inf;
}

// Floats that exercise the corners: zeros of both signs, infinities, NaN,
// denormals, huge and tiny values, and ordinary ones. The NaN is the machine's
// own, so that it equals every NaN the arithmetic makes: an x86-64 fused
// multiply-add meeting two different NaNs picks one by the instruction form
// the compiler chose, not by operand role as the Arm unit does.
inline float interesting_float(std::mt19937& rng) {
    static const float specials[] = {0.0f, -0.0f, 1.0f, -1.0f, 0.5f, 1e-40f, -1e-40f, 3.4e38f, -3.4e38f,
                                     __builtin_inff(), -__builtin_inff(), machine_nan(), -32767.0f,
                                     -32768.0f, 65535.0f, 2147483648.0f, -2147483904.0f};
    std::uniform_int_distribution<int> pick(0, 9);
    if (pick(rng) == 0) {
        std::uniform_int_distribution<size_t> which(0, sizeof specials / sizeof specials[0] - 1);
        return specials[which(rng)];
    }
    std::uniform_real_distribution<float> value(-1000.0f, 1000.0f);
    return value(rng);
}

}  // namespace kevra_test

#endif  // KEVRA_TESTS_SUPPORT_BACKENDS_H
