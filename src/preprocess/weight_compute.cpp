// Zone weights of the computed-weights mode: a level term from the zone's total
// channel-1 count plus two classes, from channel 2's high bytes and from the
// longest flat run.
#include <cmath>
#include <cstdint>

#include "kevra.h"

namespace {

// 3 for a share in [0, 5), 2 in [5, 10), 1 in [10, 15), 0 otherwise (NaN included).
int32_t high_class(float percent) {
    if (!(percent >= 0.0f) || percent >= 15.0f) return 0;
    if (percent < 5.0f) return 3;
    return percent < 10.0f ? 2 : 1;
}

// From the run length in whole percent of row_num: 3 up to 9, 2 up to 19, 1 up to 29, else 0.
int32_t flicker_class(uint32_t run, int row_num) {
    const uint32_t percent = row_num == 0 ? 0u : run * 100u / static_cast<uint32_t>(row_num);
    if (percent <= 9u) return 3;
    if (percent <= 19u) return 2;
    return percent <= 29u ? 1 : 0;
}

// The product of two int32 values, wrapped to 32 bits.
int32_t wrapping_product(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

}  // namespace

void AppKEVRA::weight_compute(kevra_config* config, int row_num, unsigned int* count_sum) {
    float total = 0.0f;
    bool no_counts = true;
    for (int z = 0; z < 6; ++z) {
        total += static_cast<float>(count_sum[z]);
        no_counts = no_counts && count_sum[z] == 0;
    }
    const double reference = static_cast<double>(total / 6.0f) * 1.8;

    uint32_t high_sum[6] = {};
    for (int r = 0; r < row_num; ++r) {
        for (int z = 0; z < 6; ++z) high_sum[z] += stat_high[r][12 + z];
    }
    const float percent_scale =
        100.0f / static_cast<float>(wrapping_product(config->high_full_scale / 2, row_num));

    const double base = static_cast<double>(config->weight_base_x10) * 0.1;
    const double exponent = static_cast<double>(config->weight_exponent_x10) * 0.1;
    for (int z = 0; z < 6; ++z) {
        const double count = static_cast<double>(count_sum[z]);
        const double a = std::pow(base, count * 1e-7 - 1.0);
        // Without any count every zone equals the mean: R / K takes its limit 1.8, not 0/0.
        const double b = std::pow(no_counts ? 1.8 : reference / count, exponent);
        const double level = a < b ? a : b;
        zone_weight_base[z] = static_cast<float>(level);
        zone_high_class[z] = high_class(static_cast<float>(high_sum[z]) * percent_scale);
        zone_flicker_class[z] = flicker_class(local_flicker_count[z], row_num);
        zone_weight[z] = static_cast<float>(level) + static_cast<float>(zone_high_class[z] + zone_flicker_class[z]);
    }
}
