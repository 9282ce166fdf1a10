// Four consecutive 24-word statistic rows with the word index across vectors
// and the row across lanes: lane q of w[k] is word k of row q. The per-channel
// sums and extremes of the preprocessing then run lane by lane, in zone order,
// with no horizontal step.
#ifndef KEVRA_PREPROCESS_FOUR_ROWS_H
#define KEVRA_PREPROCESS_FOUR_ROWS_H

#include <cstdint>
#include <cstring>

#include "simd/vec4.h"

namespace kevra {

constexpr int kRowWords = 24;

// Words [first, first + Count) of the four rows at p (row stride 24), Count a multiple of 4.
template <class V, int Count>
inline void load_row_words(const uint32_t* p, int first, typename V::U (&w)[Count]) {
    for (int b = 0; b < Count; b += 4) {
        const uint32_t* q = p + first + b;
        w[b] = V::load(q);
        w[b + 1] = V::load(q + kRowWords);
        w[b + 2] = V::load(q + 2 * kRowWords);
        w[b + 3] = V::load(q + 3 * kRowWords);
        V::transpose(w[b], w[b + 1], w[b + 2], w[b + 3]);
    }
}

// The inverse of load_row_words.
template <class V, int Count>
inline void store_row_words(uint32_t* p, int first, const typename V::U (&w)[Count]) {
    for (int b = 0; b < Count; b += 4) {
        typename V::U r0 = w[b], r1 = w[b + 1], r2 = w[b + 2], r3 = w[b + 3];
        V::transpose(r0, r1, r2, r3);
        uint32_t* q = p + first + b;
        V::store(q, r0);
        V::store(q + kRowWords, r1);
        V::store(q + 2 * kRowWords, r2);
        V::store(q + 3 * kRowWords, r3);
    }
}

// Calls body(row, rows, in) for the groups of four rows below row_num, in[i]
// pointing at row `row` of inputs[i]. The last group may hold fewer rows
// (`rows` < 4): its inputs are then copies padded with zero rows, so that no
// word past row_num is read, and body must write only `rows` rows.
template <int Inputs, class Body>
inline void for_each_row_group(int row_num, const uint32_t* const (&inputs)[Inputs], Body body) {
    int row = 0;
    for (; row + 4 <= row_num; row += 4) {
        const uint32_t* in[Inputs];
        for (int i = 0; i < Inputs; ++i) in[i] = inputs[i] + kRowWords * row;
        body(row, 4, in);
    }
    if (row >= row_num) return;
    const int rows = row_num - row;
    uint32_t padded[Inputs][4 * kRowWords] = {};
    const uint32_t* in[Inputs];
    for (int i = 0; i < Inputs; ++i) {
        std::memcpy(padded[i], inputs[i] + kRowWords * row, sizeof(uint32_t) * kRowWords * static_cast<size_t>(rows));
        in[i] = padded[i];
    }
    body(row, rows, in);
}

// Stores whole rows of a group: all four in place, or the first `rows` through a copy.
template <class V, int Count>
inline void store_group_rows(uint32_t* p, int first, const typename V::U (&w)[Count], int rows) {
    if (rows == 4) {
        store_row_words<V>(p, first, w);
        return;
    }
    uint32_t block[4 * kRowWords];
    store_row_words<V>(block, first, w);
    for (int q = 0; q < rows; ++q) {
        std::memcpy(p + q * kRowWords + first, block + q * kRowWords + first, sizeof(uint32_t) * Count);
    }
}

}  // namespace kevra

#endif  // KEVRA_PREPROCESS_FOUR_ROWS_H
