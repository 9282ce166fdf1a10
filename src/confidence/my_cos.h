// Integer cosine: angle in 1/128 degree (46,080 per turn), result in Q10.
#ifndef KEVRA_CONFIDENCE_MY_COS_H
#define KEVRA_CONFIDENCE_MY_COS_H

#include <cstdint>

#include "simd/vec4.h"

namespace kevra {

constexpr int32_t kAngleTurn = 46080;
constexpr int32_t kAngleQuarter = 11520;

// floor(1024 * cos(8k degrees)), k = 0..11: one entry per 1,024 angle units.
constexpr int32_t kCosTable[12] = {1024, 1014, 984, 935, 868, 784, 685, 572, 448, 316, 177, 35};

// Linear interpolation in kCosTable after folding into the first quadrant; the
// last two degrees run on a line from 35 down to 0. Defined for every int32.
inline int32_t fixed_cos(int32_t angle) {
    const int32_t r = angle - kAngleTurn * (angle / kAngleTurn);
    const int32_t a = r < 0 ? -r : r;
    int32_t folded = a;
    int32_t sign = 1;
    if (a >= 3 * kAngleQuarter) {
        folded = kAngleTurn - a;
    } else if (a >= 2 * kAngleQuarter) {
        folded = a - 2 * kAngleQuarter;
        sign = -1;
    } else if (a >= kAngleQuarter) {
        folded = 2 * kAngleQuarter - a;
        sign = -1;
    }
    const int32_t idx = folded >> 10;
    const int32_t f = folded & 1023;
    const int32_t mag = idx <= 10 ? (kCosTable[idx] * (1024 - f) + kCosTable[idx + 1] * f) >> 10
                                  : ((256 - f) * 35) >> 8;
    return mag * sign;
}

// Per table step: the entry in the low 16 bits and the step to the next entry
// in the high 16 (entry 11 has none: its last two degrees run on their own line).
struct CosTableSteps {
    int32_t packed[16] = {};
    constexpr CosTableSteps() {
        for (int k = 0; k < 12; ++k) {
            const int32_t next = k < 11 ? kCosTable[k + 1] - kCosTable[k] : 0;
            packed[k] = kCosTable[k] + static_cast<int32_t>(static_cast<uint32_t>(next) << 16);
        }
    }
};

inline constexpr CosTableSteps kCosTableSteps{};

// fixed_cos of four angles at once, without a division or a branch. The cosine
// is even, so only |angle| mod 46080 matters; |angle| / 1024 is below 2^21, so
// its float quotient by 45 never rounds across an integer. Two folds, about
// half a turn and about a quarter turn, give the quadrants' angles and signs
// (at the quarter turn itself, where the sign differs, the cosine is 0), and
// the entry plus floor(step * f / 1024) is the interpolation of fixed_cos.
template <class V>
KEVRA_ALWAYS_INLINE typename V::I fixed_cos_lanes(typename V::I angle) {
    using I = typename V::I;
    using U = typename V::U;
    const U a = V::abs(angle);
    const I turns = V::to_int(V::div(V::to_float(V::as_i(V::shr(a, 10))), V::dup(45.0f)));
    const U r = V::as_u(V::sub(V::as_i(a), V::mul(turns, V::dup(kAngleTurn))));
    const U half = V::min(r, V::as_u(V::sub(V::dup(kAngleTurn), V::as_i(r))));
    const U folded = V::min(half, V::as_u(V::sub(V::dup(2 * kAngleQuarter), V::as_i(half))));
    const U quarter = V::dup(static_cast<uint32_t>(kAngleQuarter));
    const U negative = V::bit_not(V::cmp_eq(V::max(half, quarter), quarter));  // half > a quarter turn
    const I f = V::as_i(V::bit_and(folded, V::dup(1023u)));
    const U idx = V::shr(folded, 10);
    const I packed = V::lookup16(kCosTableSteps.packed, idx);
    const I entry = V::as_i(V::bit_and(V::as_u(packed), V::dup(0xFFFFu)));
    const I interpolated = V::add(entry, V::shr(V::mul(V::shr(packed, 16), f), 10));
    const I last_degrees = V::shr(V::mul(V::sub(V::dup(256), f), V::dup(35)), 8);
    const I mag = V::blend(V::cmp_eq(idx, V::dup(11u)), last_degrees, interpolated);
    return V::mul(mag, V::as_i(V::bit_or(negative, V::dup(1u))));
}

}  // namespace kevra

#endif  // KEVRA_CONFIDENCE_MY_COS_H
