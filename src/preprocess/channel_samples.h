// A channel's six samples of one statistic row (entries 6c..6c+5) in vector
// lanes: zones 0..3 as one group of four, zones 4 and 5 as a group of two
// (lanes 0 and 1; lanes 2 and 3 are zero after a load).
#ifndef KEVRA_PREPROCESS_CHANNEL_SAMPLES_H
#define KEVRA_PREPROCESS_CHANNEL_SAMPLES_H

#include "simd/vec4.h"

namespace kevra {

template <class Vec>
struct Six {
    Vec lo;  // zones 0..3
    Vec hi;  // zones 4, 5
};

template <class V, class T>
auto load_six(const T* p) {
    return Six<decltype(V::load(p))>{V::load(p), V::load2(p + 4)};
}

template <class V, class T, class Vec>
void store_six(T* p, const Six<Vec>& x) {
    V::store(p, x.lo);
    V::store2(p + 4, x.hi);
}

// Applies op lane group by lane group: each_group(op, a, b) = {op(a.lo, b.lo), op(a.hi, b.hi)}.
template <class Op, class... Vecs>
auto each_group(Op op, const Six<Vecs>&... xs) {
    return Six<decltype(op(xs.lo...))>{op(xs.lo...), op(xs.hi...)};
}

template <class V, class Vec>
auto zone_lane(const Six<Vec>& x, int zone) {
    return zone < 4 ? V::get(x.lo, zone) : V::get(x.hi, zone - 4);
}

// The six lanes added from zone 0 to zone 5, starting from 0.0, each addition rounded.
template <class V>
float zone_order_sum(const Six<typename V::F>& x) {
    float sum = 0.0f;
    for (int z = 0; z < 6; ++z) sum += zone_lane<V>(x, z);
    return sum;
}

}  // namespace kevra

#endif  // KEVRA_PREPROCESS_CHANNEL_SAMPLES_H
