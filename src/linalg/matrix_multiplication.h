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
#include <iterator>
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

constexpr int normal_entry_index(int i, int j) {
    if (i > j) return normal_entry_index(j, i);
    return i * kUnknowns - i * (i - 1) / 2 + (j - i);
}

// The normal matrix is accumulated as fourteen products of vector pairs
// (V::P, two independent groups of four lanes): the pair of rows (a_lo, a_hi)
// times the pair (b_lo, b_hi) accumulates the entries (a_lo, b_lo) and
// (a_hi, b_hi) at once; a product commutes, so (j, i) is entry (i, j).
//
// Few pairs of two different rows are needed: (0,1), (2,3), (4,5), (2,6) and
// (0,4), each a shuffle per vector on an eight-lane machine, where a pair of
// one row is a plain broadcast load. Pass 0 reads all seven rows, pass 1 only
// rows 0..4; the accumulators and operands of a pass fit the registers (28 of
// 32 on aarch64, 12 of 16 on x86-64).
struct NormalProduct {
    int a_lo, a_hi, b_lo, b_hi, pass;
};

inline constexpr NormalProduct kNormalProducts[] = {
    {6, 6, 0, 1, 0}, {6, 6, 2, 3, 0}, {6, 6, 4, 5, 0}, {5, 5, 0, 1, 0}, {5, 5, 2, 3, 0},
    {5, 5, 4, 5, 0}, {2, 6, 2, 6, 0}, {4, 4, 0, 1, 1}, {4, 4, 2, 3, 1}, {3, 3, 0, 1, 1},
    {3, 3, 2, 3, 1}, {2, 2, 0, 1, 1}, {1, 1, 0, 1, 1}, {0, 4, 0, 4, 1},
};
constexpr int kNormalPasses = [] {
    int passes = 0;
    for (const NormalProduct& p : kNormalProducts) passes = p.pass + 1 > passes ? p.pass + 1 : passes;
    return passes;
}();

constexpr bool products_cover_each_entry_once() {
    int hits[kNormalEntries] = {};
    for (const NormalProduct& p : kNormalProducts) {
        ++hits[normal_entry_index(p.a_lo, p.b_lo)];
        ++hits[normal_entry_index(p.a_hi, p.b_hi)];
    }
    for (int h : hits)
        if (h != 1) return false;
    return true;
}
static_assert(products_cover_each_entry_once(), "every normal entry comes from exactly one product");

template <int Pass>
struct NormalPassProducts {
    int count = 0;
    NormalProduct product[std::size(kNormalProducts)] = {};
    constexpr NormalPassProducts() {
        for (const NormalProduct& p : kNormalProducts)
            if (p.pass == Pass) product[count++] = p;
    }
};

template <int Pass>
inline constexpr NormalPassProducts<Pass> kNormalPassProducts{};

// Calls body(acc...) with one copy of zero per index. Accumulators that are
// separate parameters stay in registers across a sample loop; an array of them
// would be kept in memory.
template <class T, class Body, size_t... N>
inline void with_accumulators(std::index_sequence<N...>, T zero, Body body) {
    body((static_cast<void>(N), zero)...);
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
                                   std::index_sequence<N...> products) {
    constexpr const NormalPassProducts<Pass>& pass = kNormalPassProducts<Pass>;
    const typename V::F zero = V::dup(0.0f);
    with_accumulators(products, V::pair(zero, zero), [&](auto... acc) KEVRA_INLINE_LAMBDA {
        // The loop body is written out here rather than passed in as a lambda
        // that captures the accumulators: a compiler that declines to inline it
        // would keep them in memory.
#pragma GCC unroll 2
        for (int k = 0; k < whole_end; k += 4) {
            typename V::F d[kUnknowns];  // rows this pass does not read are never loaded
            for (int r = 0; r < kUnknowns; ++r) d[r] = V::load(design[r] + k);
            ((acc = V::fma(acc, V::pair(d[pass.product[N].a_lo], d[pass.product[N].a_hi]),
                           V::pair(d[pass.product[N].b_lo], d[pass.product[N].b_hi]))),
             ...);
        }
        ((partial[normal_entry_index(pass.product[N].a_lo, pass.product[N].b_lo)] = V::low(acc),
          partial[normal_entry_index(pass.product[N].a_hi, pass.product[N].b_hi)] = V::high(acc)),
         ...);
    });
}

template <class V, int... P>
inline void accumulate_normal_passes(const float (*design)[256], int whole_end, typename V::F* partial,
                                     std::integer_sequence<int, P...>) {
    (accumulate_normal_pass<V, P>(design, whole_end, partial,
                                  std::make_index_sequence<static_cast<size_t>(kNormalPassProducts<P>.count)>{}),
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
template <class V>
inline void accumulate_corrections(const float (*design)[256], int whole_end, const float (*inverse)[8],
                                   typename V::F* partial) {
    using F = typename V::F;
    using P = typename V::P;
    const float* residual = design[kUnknowns];
    const F zero = V::dup(0.0f);
    // Unknowns 0..5 in pairs, unknown 6 alone.
    P acc01 = V::pair(zero, zero), acc23 = acc01, acc45 = acc01;
    F acc6 = zero;
    for (int r = 0; r < kUnknowns; ++r) {
        const float* row = design[r];
        const F w0 = V::load(inverse[r]), w1 = V::load(inverse[r] + 4);
        const P w01 = V::pair(V::template dup_lane<0>(w0), V::template dup_lane<1>(w0));
        const P w23 = V::pair(V::template dup_lane<2>(w0), V::template dup_lane<3>(w0));
        const P w45 = V::pair(V::template dup_lane<0>(w1), V::template dup_lane<1>(w1));
        const F w6 = V::template dup_lane<2>(w1);
        const auto step = [&](F d, F e) KEVRA_INLINE_LAMBDA {
            const F t = V::mul(d, e);
            const P tt = V::pair(t, t);
            acc01 = V::fma(acc01, w01, tt);
            acc23 = V::fma(acc23, w23, tt);
            acc45 = V::fma(acc45, w45, tt);
            acc6 = V::fma(acc6, w6, t);
        };
        int k = 0;
        for (; k + 16 <= whole_end; k += 16) {
            F d[4], e[4];
            V::load_x4(row + k, d);
            V::load_x4(residual + k, e);
            for (int q = 0; q < 4; ++q) step(d[q], e[q]);
        }
        for (; k < whole_end; k += 4) step(V::load(row + k), V::load(residual + k));
    }
    const P acc[3] = {acc01, acc23, acc45};
    for (int g = 0; g < 3; ++g) {
        partial[2 * g] = V::low(acc[g]);
        partial[2 * g + 1] = V::high(acc[g]);
    }
    partial[6] = acc6;
}

template <class V>
void apply_inverse(const float (*design)[256], int row_num, const float (*inverse)[8], float* fit_delta) {
    using F = typename V::F;
    const float* residual = design[kUnknowns];
    const int whole_end = row_num / 4 * 4;
    F partial[8];
    partial[7] = V::dup(0.0f);
    accumulate_corrections<V>(design, whole_end, inverse, partial);
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
