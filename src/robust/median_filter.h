// Four-sample running median, rewritten in place four outputs at a time.
#ifndef KEVRA_ROBUST_MEDIAN_FILTER_H
#define KEVRA_ROBUST_MEDIAN_FILTER_H

#include "simd/vec4.h"
#include "simd/vec4_partial.h"

namespace kevra {

// Lane k: the mean of the two middle values of the window head:tail[k..k+3], that is
// (min(max(a, b), max(c, d)) + max(min(a, b), min(c, d))) * 0.5; a NaN in the window gives NaN.
template <class V>
typename V::F window_medians(typename V::F head, typename V::F tail) {
    const typename V::F b = V::ext1(head, tail), c = V::ext2(head, tail), d = V::ext3(head, tail);
    const typename V::F upper = V::min(V::max(head, b), V::max(c, d));
    const typename V::F lower = V::max(V::min(head, b), V::min(c, d));
    return V::mul(V::add(upper, lower), V::dup(0.5f));
}

// data[j + 2] = the median of data[j..j+3] for j = 0..n-5, from the values as they
// stood before the call. Each pass keeps the four entries it has not yet consumed in
// a register for the next one, so the in-place rewrite never feeds a later output.
// Writes stay within data[2..n-3], reads within data[0..n-1].
template <class V>
void median4_filter(float* data, int n) {
    if (n < 5) return;
    const int outputs = n - 4;
    typename V::F head = V::load(data);
    int j = 0;
    for (; j + 4 <= outputs; j += 4) {
        const typename V::F tail = V::load(data + j + 4);
        V::store(data + j + 2, window_medians<V>(head, tail));
        head = tail;
    }
    const int left = outputs - j;
    if (left == 0) return;
    // The last outputs need only data[j + 4 .. n - 2]; the padding lanes are discarded.
    const typename V::F tail = simd::load_first<V>(data + j + 4, left - 1, 0.0f);
    simd::store_first<V>(data + j + 2, window_medians<V>(head, tail), left);
}

}  // namespace kevra

#endif  // KEVRA_ROBUST_MEDIAN_FILTER_H
