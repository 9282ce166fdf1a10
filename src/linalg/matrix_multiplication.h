// The least-squares step of the curve fit: normal matrix of the design rows and
// the correction transpose(inverse) * b, each sum in one fixed order.
//
// Every sum over the samples k < row_num has the same shape: four partial sums
// (lane q of a vector accumulator takes the samples k = q mod 4 of the first
// 4*floor(row_num/4)), combined as (p0 + p1) + (p2 + p3), then the remaining
// samples added one at a time in increasing k; every multiply-add is fused.
#ifndef KEVRA_LINALG_MATRIX_MULTIPLICATION_H
#define KEVRA_LINALG_MATRIX_MULTIPLICATION_H

#include <cmath>
#include <utility>

#include "simd/vec4.h"

namespace kevra {

constexpr int kUnknowns = 7;
constexpr int kNormalEntries = kUnknowns * (kUnknowns + 1) / 2;

// The upper triangle of the normal matrix, row by row.
struct NormalEntry {
    int i, j;
};

struct NormalEntryTable {
    NormalEntry entry[kNormalEntries];
    constexpr NormalEntryTable() : entry() {
        int n = 0;
        for (int i = 0; i < kUnknowns; ++i)
            for (int j = i; j < kUnknowns; ++j) entry[n++] = NormalEntry{i, j};
    }
};

inline constexpr NormalEntryTable kNormalEntryTable{};

// Calls block(k) for k = 0, 4, ..., whole_end - 4, sixteen samples per step.
template <class Block>
inline void for_each_sample_quad(int whole_end, Block block) {
    int k = 0;
    for (; k + 16 <= whole_end; k += 16) {
        block(k);
        block(k + 4);
        block(k + 8);
        block(k + 12);
    }
    for (; k < whole_end; k += 4) block(k);
}

template <class V>
inline float combine_partial_sums(typename V::F p) {
    return (V::get(p, 0) + V::get(p, 1)) + (V::get(p, 2) + V::get(p, 3));
}

template <class V, int... E>
inline void accumulate_normal_entries(typename V::F* acc, const typename V::F* d,
                                      std::integer_sequence<int, E...>) {
    ((acc[E] = V::fma(acc[E], d[kNormalEntryTable.entry[E].i], d[kNormalEntryTable.entry[E].j])), ...);
}

// Step 1: the 28 distinct entries accumulate side by side, so each design
// column is read once. Entries with both indices >= unknown_num keep their
// contents; row 7 and column 7 are never touched.
template <class V>
void form_normal_matrix(const float (*design)[256], int row_num, int unknown_num, float (*normal)[8]) {
    using F = typename V::F;
    const int whole_end = row_num / 4 * 4;
    F acc[kNormalEntries];
    for (F& a : acc) a = V::dup(0.0f);
    for_each_sample_quad(whole_end, [&](int k) {
        F d[kUnknowns];
        for (int r = 0; r < kUnknowns; ++r) d[r] = V::load(design[r] + k);
        accumulate_normal_entries<V>(acc, d, std::make_integer_sequence<int, kNormalEntries>{});
    });
    for (int e = 0; e < kNormalEntries; ++e) {
        const NormalEntry n = kNormalEntryTable.entry[e];
        if (n.i >= unknown_num) break;
        float s = combine_partial_sums<V>(acc[e]);
        for (int k = whole_end; k < row_num; ++k) s = std::fma(design[n.i][k], design[n.j][k], s);
        normal[n.i][n.j] = s;
        normal[n.j][n.i] = s;
    }
}

// Step 3: fit_delta[u] = sum over r, then k, of inverse[r][u] * (design[r][k] *
// design[7][k]), the product rounded to single before the fused multiply-add.
// Each product feeds all seven accumulators, so design is traversed once per r.
// With row_num = 0 no term exists and the inverse is never read into a sum.
template <class V>
void apply_inverse(const float (*design)[256], int row_num, const float (*inverse)[8], float* fit_delta) {
    using F = typename V::F;
    const float* residual = design[kUnknowns];
    const int whole_end = row_num / 4 * 4;
    F acc[kUnknowns];
    for (F& a : acc) a = V::dup(0.0f);
    for (int r = 0; r < kUnknowns; ++r) {
        F weight[kUnknowns];
        for (int u = 0; u < kUnknowns; ++u) weight[u] = V::dup(inverse[r][u]);
        for_each_sample_quad(whole_end, [&](int k) {
            const F t = V::mul(V::load(design[r] + k), V::load(residual + k));
            for (int u = 0; u < kUnknowns; ++u) acc[u] = V::fma(acc[u], weight[u], t);
        });
    }
    float s[kUnknowns];
    for (int u = 0; u < kUnknowns; ++u) s[u] = combine_partial_sums<V>(acc[u]);
    for (int r = 0; r < kUnknowns; ++r) {
        for (int k = whole_end; k < row_num; ++k) {
            const float t = design[r][k] * residual[k];
            for (int u = 0; u < kUnknowns; ++u) s[u] = std::fma(inverse[r][u], t, s[u]);
        }
    }
    for (int u = 0; u < kUnknowns; ++u) fit_delta[u] = s[u];
}

}  // namespace kevra

#endif  // KEVRA_LINALG_MATRIX_MULTIPLICATION_H
