// Keep flags for a sample vector: missing samples and at most one outlier dropped.
#ifndef KEVRA_ROBUST_REMOVE_OUTLIERS_VER2_H
#define KEVRA_ROBUST_REMOVE_OUTLIERS_VER2_H

#include <algorithm>
#include <cstdint>
#include <limits>

#include "preprocess/no_data_markers.h"
#include "simd/vec4.h"
#include "simd/vec4_partial.h"

namespace kevra {

// A sample is valid strictly above kNoSampleLevel (NaN is not).
// keep[i] = all ones when data[i] is valid and is not the first sample of the largest
// deviation from the valid samples' mean, provided that deviation exceeds five times
// tolerance thousandths; else 0. *count = n. With n < 1 only *count (0) is written.
template <class V>
void remove_single_outlier(const float* data, int n, int* count, uint32_t* keep, int tolerance) {
    using F = typename V::F;
    using U = typename V::U;
    if (n < 1) {
        *count = 0;
        return;
    }
    const float limit = static_cast<float>(static_cast<double>(tolerance) * 0.001) * 5.0f;
    const float pad = std::numeric_limits<float>::quiet_NaN();  // invalid, never the outlier
    const F missing = V::dup(kNoSampleLevel);

    // Valid flags, their count and the index-order sum of the valid samples.
    float sum = 0.0f;
    U valid_lanes = V::dup(0u);
    for (int i = 0; i < n; i += 4) {
        const int m = std::min(4, n - i);
        const F x = simd::load_first<V>(data + i, m, pad);
        const U valid = V::cmp_gt(x, missing);
        simd::store_first<V>(keep + i, valid, m);
        valid_lanes = V::add(valid_lanes, V::shr(valid, 31));
        const F summand = V::select(valid, x, V::dup(0.0f));
        for (int k = 0; k < 4; ++k) sum += V::get(summand, k);
    }
    uint32_t valid_count = 0;
    for (int k = 0; k < 4; ++k) valid_count += V::get(valid_lanes, k);
    const float mean = valid_count != 0 ? sum / static_cast<float>(valid_count) : 0.0f;

    // Each lane tracks the largest deviation above the limit among its indices and the
    // first index holding it; the lanes then agree on the overall first index.
    F best = V::dup(limit);
    typename V::I at = V::dup(int32_t{-1});
    for (int i = 0; i < n; i += 4) {
        const F x = simd::load_first<V>(data + i, std::min(4, n - i), pad);
        const F dev = V::abs(V::sub(x, V::dup(mean)));
        const U better = V::bit_and(V::cmp_gt(x, missing), V::cmp_gt(dev, best));
        best = V::select(better, dev, best);
        at = V::select(better, V::set(i, i + 1, i + 2, i + 3), at);
    }
    int32_t outlier = -1;
    float top = limit;
    for (int k = 0; k < 4; ++k) {
        const int32_t index = V::get(at, k);
        const float dev = V::get(best, k);
        if (index >= 0 && (dev > top || (dev == top && index < outlier))) {
            top = dev;
            outlier = index;
        }
    }
    if (outlier >= 0) keep[outlier] = 0;
    *count = n;
}

}  // namespace kevra

#endif  // KEVRA_ROBUST_REMOVE_OUTLIERS_VER2_H
