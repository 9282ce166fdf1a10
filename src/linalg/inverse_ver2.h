// Gauss-Jordan inversion of the fit's 7x7 normal matrix.
#ifndef KEVRA_LINALG_INVERSE_VER2_H
#define KEVRA_LINALG_INVERSE_VER2_H

#include <utility>

#include "simd/vec4.h"

namespace kevra {

constexpr int kInverseOrder = 7;

// Seven augmented rows of sixteen floats: the matrix row (lanes 0..7) followed
// by the unit row (lanes 8..15), as four vectors each.
template <class V>
using AugmentedRows = typename V::F[kInverseOrder][4];

// One pivot column: first nonzero candidate (NaN counts, both zeros do not),
// exchange, true division, then fused elimination of every other row.
template <class V, int K>
KEVRA_ALWAYS_INLINE void gauss_jordan_step(AugmentedRows<V>& w) {
    constexpr int vec = K / 4, lane = K % 4;
    int p = K;
    for (int r = K; r < kInverseOrder; ++r) {
        if (V::get(w[r][vec], lane) != 0.0f) {
            p = r;
            break;
        }
    }
    if (p != K) std::swap(w[K], w[p]);

    const typename V::F pivot = V::dup(V::get(w[K][vec], lane));
    for (int q = 0; q < 4; ++q) w[K][q] = V::div(w[K][q], pivot);

    for (int i = 0; i < kInverseOrder; ++i) {
        if (i == K) continue;
        const typename V::F f = V::dup(V::get(w[i][vec], lane));
        for (int q = 0; q < 4; ++q) w[i][q] = V::fms(w[i][q], f, w[K][q]);
    }
}

template <class V, int... K>
KEVRA_ALWAYS_INLINE void gauss_jordan_steps(AugmentedRows<V>& w, std::integer_sequence<int, K...>) {
    (gauss_jordan_step<V, K>(w), ...);
}

// Writes the inverse of the leading 7x7 block of matrix into rows 0..6 (all
// eight columns) of inverse. matrix is read whole before inverse is written, so
// the two may be the same array. Singular input is not detected: the division
// by a zero pivot spreads infinities and NaN.
template <class V>
void invert_order7(const float (*matrix)[8], float (*inverse)[8]) {
    AugmentedRows<V> w;
    for (int r = 0; r < kInverseOrder; ++r) {
        float unit[8] = {};
        unit[r] = 1.0f;
        w[r][0] = V::load(matrix[r]);
        w[r][1] = V::load(matrix[r] + 4);
        w[r][2] = V::load(unit);
        w[r][3] = V::load(unit + 4);
    }
    gauss_jordan_steps<V>(w, std::make_integer_sequence<int, kInverseOrder>{});
    for (int r = 0; r < kInverseOrder; ++r) {
        V::store(inverse[r], w[r][2]);
        V::store(inverse[r] + 4, w[r][3]);
    }
}

}  // namespace kevra

#endif  // KEVRA_LINALG_INVERSE_VER2_H
