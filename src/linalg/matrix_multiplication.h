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

// The 28 accumulators and the design rows they read must stay in vector
// registers, so the entries are accumulated in passes over the samples, each
// pass holding its entries and the rows they need: on aarch64 (32 registers)
// rows 0..4 with their 15 entries, then the 13 entries of rows 5 and 6 with all
// seven rows; elsewhere (16 registers) at most 16 of both per pass.
constexpr int normal_pass([[maybe_unused]] int i, int j) {
#if defined(__aarch64__)
    return j < 5 ? 0 : 1;
#else
    if (j < 4) return 0;                 // rows 0..3: 10 entries
    if (i < 2 || i == 4 || i == 5) return 1;  // rows 0, 1, 4, 5, 6: 11 entries
    return 2;                            // rows 2..6: 7 entries
#endif
}

constexpr int kNormalPasses = [] {
    int passes = 0;
    for (const NormalEntry& n : kNormalEntryTable.entry)
        passes = normal_pass(n.i, n.j) + 1 > passes ? normal_pass(n.i, n.j) + 1 : passes;
    return passes;
}();

template <int Pass>
struct NormalPassEntries {
    int count = 0;
    int entry[kNormalEntries] = {};
    constexpr NormalPassEntries() {
        for (int e = 0; e < kNormalEntries; ++e)
            if (normal_pass(kNormalEntryTable.entry[e].i, kNormalEntryTable.entry[e].j) == Pass) entry[count++] = e;
    }
};

template <int Pass>
inline constexpr NormalPassEntries<Pass> kNormalPassEntries{};

// Calls body(acc...) with one zero vector per index. Accumulators that are
// separate parameters stay in registers across a sample loop; an array of them
// would be kept in memory.
template <class V, class Body, size_t... N>
inline void with_zero_accumulators(std::index_sequence<N...>, Body body) {
    body((static_cast<void>(N), V::dup(0.0f))...);
}

// (p0 + p1) + (p2 + p3) of four partial-sum vectors at once: lane q of the
// result belongs to p_q.
template <class V>
inline typename V::F combine_partial_sums(typename V::F p0, typename V::F p1, typename V::F p2,
                                          typename V::F p3) {
    typename V::U a = V::as_u(p0), b = V::as_u(p1), c = V::as_u(p2), d = V::as_u(p3);
    V::transpose(a, b, c, d);
    return V::add(V::add(V::as_f(a), V::as_f(b)), V::add(V::as_f(c), V::as_f(d)));
}

// One pass over the whole vectors: the partial sums of this pass's entries,
// into partial[entry].
template <class V, int Pass, size_t... N>
inline void accumulate_normal_pass(const float (*design)[256], int whole_end, typename V::F* partial,
                                   std::index_sequence<N...> entries) {
    constexpr const NormalPassEntries<Pass>& pass = kNormalPassEntries<Pass>;
    with_zero_accumulators<V>(entries, [&](auto... acc) {
        // The loop body is written out here rather than passed in as a lambda
        // that captures the accumulators: a compiler that declines to inline it
        // would keep them in memory.
#pragma GCC unroll 2
        for (int k = 0; k < whole_end; k += 4) {
            typename V::F d[kUnknowns];  // rows this pass does not read are never loaded
            for (int r = 0; r < kUnknowns; ++r) d[r] = V::load(design[r] + k);
            ((acc = V::fma(acc, d[kNormalEntryTable.entry[pass.entry[N]].i],
                           d[kNormalEntryTable.entry[pass.entry[N]].j])),
             ...);
        }
        ((partial[pass.entry[N]] = acc), ...);
    });
}

template <class V, int... P>
inline void accumulate_normal_passes(const float (*design)[256], int whole_end, typename V::F* partial,
                                     std::integer_sequence<int, P...>) {
    (accumulate_normal_pass<V, P>(design, whole_end, partial,
                                  std::make_index_sequence<static_cast<size_t>(kNormalPassEntries<P>.count)>{}),
     ...);
}

// Both mirror entries of each distinct one whose row is below unknown_num.
template <size_t... E>
inline void write_normal_entries(const float* sum, int unknown_num, float (*normal)[8], std::index_sequence<E...>) {
    const auto write = [&](NormalEntry n, float s) {
        if (n.i >= unknown_num) return;
        normal[n.i][n.j] = s;
        normal[n.j][n.i] = s;
    };
    (write(kNormalEntryTable.entry[E], sum[E]), ...);
}

// Step 1: the 28 distinct entries. Entries with both indices >= unknown_num
// keep their contents; row 7 and column 7 are never touched.
template <class V>
void form_normal_matrix(const float (*design)[256], int row_num, int unknown_num, float (*normal)[8]) {
    using F = typename V::F;
    const int whole_end = row_num / 4 * 4;
    static_assert(kNormalEntries % 4 == 0, "entries combine in groups of four");
    F partial[kNormalEntries];
    accumulate_normal_passes<V>(design, whole_end, partial, std::make_integer_sequence<int, kNormalPasses>{});
    float sum[kNormalEntries];
    for (int e = 0; e < kNormalEntries; e += 4) {
        V::store(sum + e, combine_partial_sums<V>(partial[e], partial[e + 1], partial[e + 2], partial[e + 3]));
    }
    for (int k = whole_end; k < row_num; ++k) {
        for (int e = 0; e < kNormalEntries; ++e) {
            const NormalEntry n = kNormalEntryTable.entry[e];
            sum[e] = std::fma(design[n.i][k], design[n.j][k], sum[e]);
        }
    }
    write_normal_entries(sum, unknown_num, normal, std::make_index_sequence<kNormalEntries>{});
}

// Step 3: fit_delta[u] = sum over r, then k, of inverse[r][u] * (design[r][k] *
// design[7][k]), the product rounded to single before the fused multiply-add.
// Each product feeds all seven accumulators, so design is traversed once per r.
// With row_num = 0 no term exists and the inverse is never read into a sum.
template <class V, size_t... U>
inline void accumulate_corrections(const float (*design)[256], int whole_end, const float (*inverse)[8],
                                   typename V::F* partial, std::index_sequence<U...> unknowns) {
    const float* residual = design[kUnknowns];
    with_zero_accumulators<V>(unknowns, [&](auto... acc) {
        for (int r = 0; r < kUnknowns; ++r) {
            const float* row = design[r];
            const typename V::F weight[2] = {V::load(inverse[r]), V::load(inverse[r] + 4)};
            const auto step = [&](typename V::F d, typename V::F e) {
                const typename V::F t = V::mul(d, e);
                ((acc = V::fma(acc, V::template dup_lane<U % 4>(weight[U / 4]), t)), ...);
            };
            int k = 0;
            for (; k + 16 <= whole_end; k += 16) {
                typename V::F d[4], e[4];
                V::load_x4(row + k, d);
                V::load_x4(residual + k, e);
                for (int q = 0; q < 4; ++q) step(d[q], e[q]);
            }
            for (; k < whole_end; k += 4) step(V::load(row + k), V::load(residual + k));
        }
        ((partial[U] = acc), ...);
    });
}

template <class V>
void apply_inverse(const float (*design)[256], int row_num, const float (*inverse)[8], float* fit_delta) {
    using F = typename V::F;
    const float* residual = design[kUnknowns];
    const int whole_end = row_num / 4 * 4;
    F partial[8];
    partial[7] = V::dup(0.0f);
    accumulate_corrections<V>(design, whole_end, inverse, partial, std::make_index_sequence<kUnknowns>{});
    float s[8];
    V::store(s, combine_partial_sums<V>(partial[0], partial[1], partial[2], partial[3]));
    V::store(s + 4, combine_partial_sums<V>(partial[4], partial[5], partial[6], partial[7]));
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
