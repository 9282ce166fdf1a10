// Last sweep of the preprocessing: the caller's per-sample levels and one level
// per row and channel, in the three weighting modes.
#ifndef KEVRA_PREPROCESS_ROW_LEVELS_H
#define KEVRA_PREPROCESS_ROW_LEVELS_H

#include <cstdint>

#include "preprocess/row_channels.h"
#include "preprocess/no_data_markers.h"
#include "simd/vec4.h"

namespace kevra {

enum class WeightMode {
    plain,     // row level = frame_ratio * (sum of sums) / (sum of counts)
    fixed,     // weighted mean of the quotients q, every sample with its zone's weight
    computed,  // the same, but a sample without keep flag weighs 0
};

// One row in mode M, from its sums and counts as floats (channels in lanes):
// the caller's per-sample levels into stat_level_row[24] and the four channels'
// row levels into row_level_row[4]. keep is read in the computed mode only.
template <class V, WeightMode M>
inline void form_one_row(const typename V::F (&sum)[6], const typename V::F (&count)[6],
                         const typename V::U (&keep)[6], const typename V::F (&zone_weights)[6],
                         typename V::F ratio, float* stat_level_row, float* row_level_row) {
    using F = typename V::F;
    using U = typename V::U;
    const F zero = V::dup(0.0f), one = V::dup(1.0f);
    const F no_level = V::dup(kNoStatLevel), no_row_level = V::dup(kNoRowLevel);
    U levels[6];
    F numerator = zero, denominator = zero;  // zone order, from 0.0
    for (int z = 0; z < 6; ++z) {
        const U has_data = V::bit_not(V::cmp_eq(count[z], zero));
        const F quotient = V::div(sum[z], count[z]);
        if (M == WeightMode::plain) {
            levels[z] = V::as_u(V::blend(has_data, V::mul(quotient, ratio), no_level));
            numerator = V::add(numerator, sum[z]);
            denominator = V::add(denominator, count[z]);
        } else {
            const F q = V::blend(V::bit_and(has_data, V::cmp_gt(quotient, zero)), quotient, one);
            levels[z] = V::as_u(V::blend(has_data, V::mul(q, ratio), no_level));
            const F weight = M == WeightMode::computed ? V::select(keep[z], zone_weights[z], zero) : zone_weights[z];
            numerator = V::add(numerator, V::mul(q, weight));
            denominator = V::add(denominator, weight);
        }
    }
    store_row_channels<V>(reinterpret_cast<uint32_t*>(stat_level_row), levels);
    const F level = V::div(V::mul(ratio, numerator), denominator);
    V::store(row_level_row, V::blend(V::cmp_eq(denominator, zero), no_row_level, level));
}

namespace row_levels_detail {

template <class V, WeightMode M>
inline void form_row_levels_in(const uint32_t* stat_sum, const uint32_t* stat_count,
                               const int32_t (*sample_keep)[24], int row_num, float frame_ratio,
                               const float* zone_weight, float* stat_level, float (*row_level)[4]) {
    using F = typename V::F;
    using U = typename V::U;
    F zone_weights[6];
    for (int z = 0; z < 6; ++z) zone_weights[z] = V::dup(M == WeightMode::plain ? 0.0f : zone_weight[z]);
    for (int row = 0; row < row_num; ++row) {
        U sums[6], counts[6], keep[6];
        load_row_channels<V>(stat_sum + 24 * row, sums);
        load_row_channels<V>(stat_count + 24 * row, counts);
        if (M == WeightMode::computed) load_row_channels<V>(reinterpret_cast<const uint32_t*>(sample_keep[row]), keep);
        F sum[6], count[6];
        for (int z = 0; z < 6; ++z) {
            sum[z] = V::to_float(sums[z]);
            count[z] = V::to_float(counts[z]);
        }
        form_one_row<V, M>(sum, count, keep, zone_weights, V::dup(frame_ratio), stat_level + 24 * row,
                           row_level[row]);
    }
}

}  // namespace row_levels_detail

// For rows 0..row_num-1 and each channel c, with q = sum / count where that is above
// 0 and 1.0 otherwise (no data included):
//   stat_level[row][6c + z] = (plain: sum / count, weighted: q) * frame_ratio,
//                             kNoStatLevel where count is 0;
//   row_level[row][c]       = (frame_ratio * sum of numerators) / sum of denominators,
//                             kNoRowLevel when the latter is 0; numerator and
//                             denominator per sample are (sum, count) in the plain
//                             mode and (q * W, W) with the sample's weight W otherwise.
// Both six-term sums run in zone order; one row at a time, the four channels in lanes.
template <class V>
void form_row_levels(const uint32_t* stat_sum, const uint32_t* stat_count, const int32_t (*sample_keep)[24],
                     int row_num, float frame_ratio, WeightMode mode, const float* zone_weight,
                     float* stat_level, float (*row_level)[4]) {
    using namespace row_levels_detail;
    switch (mode) {
        case WeightMode::plain:
            form_row_levels_in<V, WeightMode::plain>(stat_sum, stat_count, sample_keep, row_num, frame_ratio,
                                                     zone_weight, stat_level, row_level);
            break;
        case WeightMode::fixed:
            form_row_levels_in<V, WeightMode::fixed>(stat_sum, stat_count, sample_keep, row_num, frame_ratio,
                                                     zone_weight, stat_level, row_level);
            break;
        case WeightMode::computed:
            form_row_levels_in<V, WeightMode::computed>(stat_sum, stat_count, sample_keep, row_num, frame_ratio,
                                                        zone_weight, stat_level, row_level);
            break;
    }
}

}  // namespace kevra

#endif  // KEVRA_PREPROCESS_ROW_LEVELS_H
