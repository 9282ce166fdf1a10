// Missing-value repair along the first index of a two-dimensional array, four
// columns at a time (one per lane).
#ifndef KEVRA_LINALG_NAN_CHECK_H
#define KEVRA_LINALG_NAN_CHECK_H

#include "simd/vec4.h"

namespace kevra {

namespace nan_check_detail {

// Entry i is present in the lanes of `closing` and the run since each lane's
// anchor (anchor < j < i) holds copies of the anchor: it becomes the straight
// line from the anchor to entry i, products, sum and quotient each rounded.
template <class V, int Width>
void close_runs(float (*a)[Width], int col, int i, typename V::U closing, typename V::F anchor_index) {
    using F = typename V::F;
    float lowest = static_cast<float>(i);
    for (int q = 0; q < 4; ++q) {
        if (V::get(closing, q) != 0 && V::get(anchor_index, q) < lowest) lowest = V::get(anchor_index, q);
    }
    const F end = V::load(a[i] + col);
    const F span = V::sub(V::dup(static_cast<float>(i)), anchor_index);
    for (int j = static_cast<int>(lowest) + 1; j < i; ++j) {
        const F copy = V::load(a[j] + col);
        const F line = V::div(V::add(V::mul(copy, V::dup(static_cast<float>(i - j))),
                                     V::mul(end, V::sub(V::dup(static_cast<float>(j)), anchor_index))),
                              span);
        V::store(a[j] + col, V::select(V::bit_and(closing, V::cmp_lt(anchor_index, V::dup(static_cast<float>(j)))),
                                       line, copy));
    }
}

}  // namespace nan_check_detail

// Per column: an entry below 0.0 (missing) takes the value of the anchor, the last
// present entry (index 0 until one is seen, present or not); a present entry turns
// the run since the anchor into the straight line from the anchor to itself. NaN is
// present. Columns from `columns` on are neither changed nor counted; lanes of a
// last group beyond them are loaded (they lie within the row) and stored unchanged.
template <class V, int Width>
void repair_columns(float (*a)[Width], int length, int columns) {
    using F = typename V::F;
    using U = typename V::U;
    const F zero = V::dup(0.0f);
    for (int col = 0; col < columns; col += 4) {
        const U active = V::cmp_lt(V::set(0.0f, 1.0f, 2.0f, 3.0f), V::dup(static_cast<float>(columns - col)));
        // Columns without a missing entry stay as they are; most are.
        U any_missing = V::dup(0u);
        for (int i = 0; i < length; ++i) any_missing = V::bit_or(any_missing, V::cmp_lt(V::load(a[i] + col), zero));
        if (!V::any(V::bit_and(any_missing, active))) continue;
        F anchor_index = zero;
        F anchor_value = length > 0 ? V::load(a[0] + col) : zero;
        for (int i = 0; i < length; ++i) {
            const F x = V::load(a[i] + col);
            const U below_zero = V::cmp_lt(x, zero);
            const U missing = V::bit_and(below_zero, active);
            const U present = V::bit_and(V::bit_not(below_zero), active);
            const U closing = V::bit_and(present, V::cmp_lt(anchor_index, V::dup(static_cast<float>(i - 1))));
            if (V::any(closing)) nan_check_detail::close_runs<V>(a, col, i, closing, anchor_index);
            V::store(a[i] + col, V::select(missing, anchor_value, x));
            anchor_index = V::select(present, V::dup(static_cast<float>(i)), anchor_index);
            anchor_value = V::select(present, x, anchor_value);
        }
    }
}

}  // namespace kevra

#endif  // KEVRA_LINALG_NAN_CHECK_H
