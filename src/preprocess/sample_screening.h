// First sweep of the preprocessing: per-sample levels, keep flags, channel 1's
// zone levels and the channel-1 count sums, all in one pass over the rows.
#ifndef KEVRA_PREPROCESS_SAMPLE_SCREENING_H
#define KEVRA_PREPROCESS_SAMPLE_SCREENING_H

#include <cstdint>

#include "preprocess/four_rows.h"
#include "preprocess/no_data_markers.h"
#include "simd/vec4.h"
#include "simd/vec4_partial.h"

namespace kevra {

// For rows 0..row_num-1 and each channel's six samples (stat_sum, stat_count: row_num x 24):
//   level = (sum * frame_ratio) / count, kNoSampleLevel where count is 0; valid above it;
//   keep  = valid, except that when the largest deviation |level - mean of valid levels|
//           exceeds outlier_limit, every sample at that deviation is dropped.
// Writes sample_keep[row], zone_level[z][row] = channel 1's level of zone z, and
// count_sum[z] = the wrapping sum of channel 1's counts of zone z (zeros for no rows).
// Four rows at a time, one per lane; two channels (twelve words) per step.
template <class V>
void screen_samples(const uint32_t* stat_sum, const uint32_t* stat_count, int row_num, float frame_ratio,
                    float outlier_limit, int32_t (*sample_keep)[24], float (*zone_level)[256],
                    uint32_t* count_sum) {
    using F = typename V::F;
    using U = typename V::U;
    using I = typename V::I;
    const F ratio = V::dup(frame_ratio), missing = V::dup(kNoSampleLevel), zero = V::dup(0.0f);
    const F limit = V::dup(outlier_limit);
    U channel1_counts[6];
    for (U& n : channel1_counts) n = V::dup(0u);
    uint32_t* keep_rows = reinterpret_cast<uint32_t*>(sample_keep[0]);
    for_each_row_group(row_num, {stat_sum, stat_count}, [&](int row, int rows, const uint32_t* const* in) {
        for (int first = 0; first < kRowWords; first += 12) {
            F level[12];
            {
                U sums[12], counts[12];
                load_row_words<V>(in[0], first, sums);
                load_row_words<V>(in[1], first, counts);
                for (int k = 0; k < 12; ++k) {
                    const F quotient = V::div(V::mul(V::to_float(sums[k]), ratio), V::to_float(counts[k]));
                    level[k] = V::select(V::cmp_eq(counts[k], V::dup(0u)), missing, quotient);
                }
                if (first == 0) {
                    for (int z = 0; z < 6; ++z) channel1_counts[z] = V::add(channel1_counts[z], counts[6 + z]);
                }
            }
            U keep[12];
            for (int w = 0; w < 12; w += 6) {
                U valid[6];
                F total = zero;  // the valid levels, added in zone order from 0.0
                I n = V::dup(int32_t{0});
                for (int z = 0; z < 6; ++z) {
                    valid[z] = V::cmp_gt(level[w + z], missing);
                    total = V::add(total, V::select(valid[z], level[w + z], zero));
                    n = V::sub(n, V::as_i(valid[z]));
                }
                const F mean = V::div(total, V::to_float(n));
                F dev[6];
                F largest = zero;
                for (int z = 0; z < 6; ++z) {
                    dev[z] = V::select(valid[z], V::abs(V::sub(level[w + z], mean)), zero);
                    largest = V::max(largest, dev[z]);
                }
                const U keep_all = V::bit_not(V::cmp_gt(largest, limit));
                for (int z = 0; z < 6; ++z) {
                    keep[w + z] = V::bit_and(valid[z], V::bit_or(V::cmp_lt(dev[z], largest), keep_all));
                }
            }
            if (first == 0) {
                for (int z = 0; z < 6; ++z) {
                    if (rows == 4) {
                        V::store(zone_level[z] + row, level[6 + z]);
                    } else {
                        simd::store_first<V>(zone_level[z] + row, level[6 + z], rows);
                    }
                }
            }
            store_group_rows<V>(keep_rows + kRowWords * row, first, keep, rows);
        }
    });
    for (int z = 0; z < 6; ++z) {
        const U n = channel1_counts[z];
        count_sum[z] = V::get(n, 0) + V::get(n, 1) + V::get(n, 2) + V::get(n, 3);
    }
}

}  // namespace kevra

#endif  // KEVRA_PREPROCESS_SAMPLE_SCREENING_H
