// First sweep of the preprocessing: per-sample levels, keep flags, channel 1's
// zone levels and the channel-1 count sums, all in one pass over the rows.
#ifndef KEVRA_PREPROCESS_SAMPLE_SCREENING_H
#define KEVRA_PREPROCESS_SAMPLE_SCREENING_H

#include <cstdint>

#include "preprocess/channel_samples.h"
#include "preprocess/no_data_markers.h"
#include "simd/vec4.h"

namespace kevra {

// Valid lanes (all ones) counted over both groups; lanes 2 and 3 of hi are never valid.
template <class V>
uint32_t valid_lane_count(const Six<typename V::U>& valid) {
    const typename V::U ones = V::add(V::shr(valid.lo, 31), V::shr(valid.hi, 31));
    return V::get(ones, 0) + V::get(ones, 1) + V::get(ones, 2) + V::get(ones, 3);
}

// The largest lane of both groups, NaN-propagating.
template <class V>
float largest_lane(const Six<typename V::F>& x) {
    const typename V::F m = V::max(x.lo, x.hi);
    return simd::max_nan(simd::max_nan(V::get(m, 0), V::get(m, 1)), simd::max_nan(V::get(m, 2), V::get(m, 3)));
}

// For rows 0..row_num-1 and each channel's six samples (stat_sum, stat_count: row_num x 24):
//   level = (sum * frame_ratio) / count, kNoSampleLevel where count is 0; valid above it;
//   keep  = valid, except that when the largest deviation |level - mean of valid levels|
//           exceeds outlier_limit, every sample at that deviation is dropped.
// Writes sample_keep[row], zone_level[z][row] = channel 1's level of zone z, and
// count_sum[z] = the wrapping sum of channel 1's counts of zone z (zeros for no rows).
template <class V>
void screen_samples(const uint32_t* stat_sum, const uint32_t* stat_count, int row_num, float frame_ratio,
                    float outlier_limit, int32_t (*sample_keep)[24], float (*zone_level)[256],
                    uint32_t* count_sum) {
    using F = typename V::F;
    using U = typename V::U;
    const F ratio = V::dup(frame_ratio), missing = V::dup(kNoSampleLevel), zero = V::dup(0.0f);
    const U no_count = V::dup(0u);
    Six<U> channel1_counts{V::dup(0u), V::dup(0u)};
    for (int row = 0; row < row_num; ++row) {
        for (int c = 0; c < 4; ++c) {
            const int w = 24 * row + 6 * c;
            const Six<U> counts = load_six<V>(stat_count + w);
            const Six<F> level = each_group(
                [&](U s, U n) {
                    const F quotient = V::div(V::mul(V::to_float(s), ratio), V::to_float(n));
                    return V::select(V::cmp_eq(n, no_count), missing, quotient);
                },
                load_six<V>(stat_sum + w), counts);
            const Six<U> valid = each_group([&](F l) { return V::cmp_gt(l, missing); }, level);

            // Adding 0.0 for an invalid sample leaves the index-order sum as it is.
            const Six<F> summands = each_group([&](U v, F l) { return V::select(v, l, zero); }, valid, level);
            const F mean = V::dup(zone_order_sum<V>(summands) / static_cast<float>(valid_lane_count<V>(valid)));
            const Six<F> dev =
                each_group([&](U v, F l) { return V::select(v, V::abs(V::sub(l, mean)), zero); }, valid, level);
            const float largest = largest_lane<V>(dev);
            const F top = V::dup(largest);
            const U keep_all = V::dup(largest > outlier_limit ? 0u : ~0u);
            const Six<U> keep = each_group(
                [&](U v, F d) { return V::bit_and(v, V::bit_or(V::cmp_lt(d, top), keep_all)); }, valid, dev);
            store_six<V>(sample_keep[row] + 6 * c, each_group([](U k) { return V::as_i(k); }, keep));

            if (c == 1) {
                for (int z = 0; z < 6; ++z) zone_level[z][row] = zone_lane<V>(level, z);
                channel1_counts = each_group([](U a, U b) { return V::add(a, b); }, channel1_counts, counts);
            }
        }
    }
    store_six<V>(count_sum, channel1_counts);
}

}  // namespace kevra

#endif  // KEVRA_PREPROCESS_SAMPLE_SCREENING_H
