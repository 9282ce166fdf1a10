// Last sweep of the preprocessing: the caller's per-sample levels and one level
// per row and channel, in the three weighting modes.
#ifndef KEVRA_PREPROCESS_ROW_LEVELS_H
#define KEVRA_PREPROCESS_ROW_LEVELS_H

#include <cstdint>

#include "preprocess/channel_samples.h"
#include "preprocess/no_data_markers.h"
#include "simd/vec4.h"

namespace kevra {

enum class WeightMode {
    plain,     // row level = frame_ratio * (sum of sums) / (sum of counts)
    fixed,     // weighted mean of the quotients q, every sample with its zone's weight
    computed,  // the same, but a sample without keep flag weighs 0
};

// For rows 0..row_num-1 and each channel c, with q = sum / count where that is above
// 0 and 1.0 otherwise (no data included):
//   stat_level[row][6c + z] = (plain: sum / count, weighted: q) * frame_ratio,
//                             kNoStatLevel where count is 0;
//   row_level[row][c]       = (frame_ratio * sum of numerators) / sum of denominators,
//                             kNoRowLevel when the latter is 0; numerator and
//                             denominator per sample are (sum, count) in the plain
//                             mode and (q * W, W) with the sample's weight W otherwise.
// Both six-term sums run in zone order.
template <class V>
void form_row_levels(const uint32_t* stat_sum, const uint32_t* stat_count, const int32_t (*sample_keep)[24],
                     int row_num, float frame_ratio, WeightMode mode, const float* zone_weight,
                     float* stat_level, float (*row_level)[4]) {
    using F = typename V::F;
    using U = typename V::U;
    const F ratio = V::dup(frame_ratio), zero = V::dup(0.0f), one = V::dup(1.0f);
    const F no_level = V::dup(kNoStatLevel);
    const U no_count = V::dup(0u);
    // The mode as lane masks: every mode runs the same arithmetic and selects.
    const U weighted = V::dup(mode == WeightMode::plain ? 0u : ~0u);
    const U keep_ignored = V::dup(mode == WeightMode::computed ? 0u : ~0u);
    // The plain mode neither needs nor reads the weights.
    const Six<F> zone_weights = mode == WeightMode::plain ? Six<F>{zero, zero} : load_six<V>(zone_weight);
    for (int row = 0; row < row_num; ++row) {
        for (int c = 0; c < 4; ++c) {
            const int w = 24 * row + 6 * c;
            const Six<U> counts = load_six<V>(stat_count + w);
            const Six<U> has_data = each_group([&](U n) { return V::bit_not(V::cmp_eq(n, no_count)); }, counts);
            const Six<F> sums = each_group([](U s) { return V::to_float(s); }, load_six<V>(stat_sum + w));
            const Six<F> fcounts = each_group([](U n) { return V::to_float(n); }, counts);
            const Six<F> quotient = each_group([](F s, F n) { return V::div(s, n); }, sums, fcounts);
            const Six<F> q = each_group(
                [&](U h, F x) { return V::select(V::bit_and(h, V::cmp_gt(x, zero)), x, one); }, has_data, quotient);
            const Six<F> weight = each_group(
                [&](typename V::I k, F wz) { return V::select(V::bit_or(V::as_u(k), keep_ignored), wz, zero); },
                load_six<V>(sample_keep[row] + 6 * c), zone_weights);

            const Six<F> level = each_group([&](F x, F qq) { return V::select(weighted, qq, x); }, quotient, q);
            store_six<V>(stat_level + w,
                         each_group([&](U h, F l) { return V::select(h, V::mul(l, ratio), no_level); }, has_data, level));

            const Six<F> numerator =
                each_group([&](F s, F qq, F wt) { return V::select(weighted, V::mul(qq, wt), s); }, sums, q, weight);
            const Six<F> denominator =
                each_group([&](F n, F wt) { return V::select(weighted, wt, n); }, fcounts, weight);
            const float num = zone_order_sum<V>(numerator), den = zone_order_sum<V>(denominator);
            row_level[row][c] = den == 0.0f ? kNoRowLevel : (frame_ratio * num) / den;
        }
    }
}

}  // namespace kevra

#endif  // KEVRA_PREPROCESS_ROW_LEVELS_H
