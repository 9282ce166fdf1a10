// First sweep of the preprocessing: per-sample levels, keep flags, channel 1's
// zone levels and the channel-1 count sums, all in one pass over the rows.
#ifndef KEVRA_PREPROCESS_SAMPLE_SCREENING_H
#define KEVRA_PREPROCESS_SAMPLE_SCREENING_H

#include <cstdint>

#include "preprocess/no_data_markers.h"
#include "preprocess/row_channels.h"
#include "preprocess/row_levels.h"
#include "simd/vec4.h"

namespace kevra {

// For rows 0..row_num-1 and each channel's six samples (stat_sum, stat_count: row_num x 24):
//   level = (sum * frame_ratio) / count, kNoSampleLevel where count is 0; valid above it;
//   keep  = valid, except that when the largest deviation |level - mean of valid levels|
//           exceeds outlier_limit, every sample at that deviation is dropped.
// Writes sample_keep[row], zone_level[z][row] = channel 1's level of zone z, and
// count_sum[z] = the wrapping sum of channel 1's counts of zone z (zeros for no rows).
// With PlainLevels, also the plain mode's stat_level and row_level (as
// form_row_levels), which need nothing the steps between the two sweeps compute.
// One row at a time, the four channels in lanes.
template <class V, bool PlainLevels = false>
void screen_samples(const uint32_t* stat_sum, const uint32_t* stat_count, int row_num, float frame_ratio,
                    float outlier_limit, int32_t (*sample_keep)[24], float (*zone_level)[256],
                    uint32_t* count_sum, float* stat_level = nullptr, float (*row_level)[4] = nullptr) {
    using F = typename V::F;
    using U = typename V::U;
    using I = typename V::I;
    const F ratio = V::dup(frame_ratio), missing = V::dup(kNoSampleLevel), zero = V::dup(0.0f);
    const F limit = V::dup(outlier_limit);
    U count_totals = V::dup(0u), count_totals45 = V::dup(0u);  // channel 1: words 6..9, 10..11
    for (int row = 0; row < row_num; ++row) {
        U sums[6], counts[6];
        load_row_channels<V>(stat_sum + 24 * row, sums);
        load_row_channels<V>(stat_count + 24 * row, counts);
        count_totals = V::add(count_totals, V::load(stat_count + 24 * row + 6));
        count_totals45 = V::add(count_totals45, V::load2(stat_count + 24 * row + 10));
        F sum[6], count[6], level[6];
        U valid[6];
        F total = zero;  // the valid levels, added in zone order from 0.0
        I n = V::dup(int32_t{0});
        for (int z = 0; z < 6; ++z) {
            sum[z] = V::to_float(sums[z]);
            count[z] = V::to_float(counts[z]);
            const F quotient = V::div(V::mul(sum[z], ratio), count[z]);
            level[z] = V::blend(V::cmp_eq(count[z], zero), missing, quotient);
            valid[z] = V::cmp_gt(level[z], missing);
            total = V::add(total, V::blend(valid[z], level[z], zero));
            n = V::sub(n, V::as_i(valid[z]));
            zone_level[z][row] = V::get(level[z], 1);
        }
        const F mean = V::div(total, V::to_float(n));
        F dev[6];
        F largest = zero;
        for (int z = 0; z < 6; ++z) {
            dev[z] = V::blend(valid[z], V::abs(V::sub(level[z], mean)), zero);
            largest = V::max(largest, dev[z]);
        }
        const U keep_all = V::bit_not(V::cmp_gt(largest, limit));
        U keep[6];
        for (int z = 0; z < 6; ++z) keep[z] = V::bit_and(valid[z], V::bit_or(V::cmp_lt(dev[z], largest), keep_all));
        store_row_channels<V>(reinterpret_cast<uint32_t*>(sample_keep[row]), keep);
        if (PlainLevels) {
            const F no_weights[6] = {zero, zero, zero, zero, zero, zero};
            form_one_row<V, WeightMode::plain>(sum, count, keep, no_weights, ratio, stat_level + 24 * row,
                                               row_level[row]);
        }
    }
    V::store(count_sum, count_totals);
    V::store2(count_sum + 4, count_totals45);
}

}  // namespace kevra

#endif  // KEVRA_PREPROCESS_SAMPLE_SCREENING_H
