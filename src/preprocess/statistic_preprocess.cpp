// From parsed sums and counts to the row levels the fit consumes.
#include <cmath>
#include <cstdint>

#include "kevra.h"
#include "preprocess/row_levels.h"
#include "preprocess/sample_screening.h"

namespace {

kevra::WeightMode weight_mode(const kevra_config* config) {
    if (config->weight_enable == 0) return kevra::WeightMode::plain;
    return config->weight_fixed != 0 ? kevra::WeightMode::fixed : kevra::WeightMode::computed;
}

}  // namespace

void AppKEVRA::statistic_preprocess(int row_num, float ratio, kevra_parameter* param, kevra_config* config) {
    using kevra::simd::Native;
    const float outlier_limit = static_cast<float>(config->outlier_threshold) * 0.001f * 5.0f;
    const kevra::WeightMode mode = weight_mode(config);
    uint32_t count_sum[6];
    // The plain row levels use no weights, so the first sweep forms them too.
    if (mode == kevra::WeightMode::plain) {
        kevra::screen_samples<Native, true>(stat_sum, stat_count, row_num, ratio, outlier_limit, sample_keep,
                                            zone_level, count_sum, stat_level, row_level);
    } else {
        kevra::screen_samples<Native>(stat_sum, stat_count, row_num, ratio, outlier_limit, sample_keep, zone_level,
                                      count_sum);
    }

    nan_check_v2_6_256(zone_level, 6, row_num);
    for (float* zone : zone_level) median_filter(zone, row_num, param);

    // floor(tolerance_ref) = 0 makes the base +infinity; powf's IEEE rules decide from there.
    const float tolerance =
        config->local_tolerance_gain *
        std::pow(4.0f / std::floor(param->tolerance_ref), config->local_tolerance_exponent);
    local_flicker_detect(row_num, zone_level, tolerance, static_cast<float>(config->local_flicker_level));

    if (mode == kevra::WeightMode::plain) {
        // Only plain row levels are repaired; the weighted modes hand kNoRowLevel on as it is.
        nan_check_v2_256_4(row_level, row_num, 4);
        return;
    }
    if (mode == kevra::WeightMode::fixed) {
        for (int z = 0; z < 6; ++z) zone_weight[z] = config->fixed_weight[z];
    } else {
        weight_compute(config, row_num, count_sum);
    }
    kevra::form_row_levels<Native>(stat_sum, stat_count, sample_keep, row_num, ratio, mode, zone_weight, stat_level,
                                   row_level);
}
