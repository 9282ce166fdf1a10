#include "core/detection_decision.h"

#include <cmath>

namespace kevra {

namespace {

// Index of the ratio for model_range, -1 for "no flicker", 5 for "flicker".
// Each band is tested with both limits, so thresholds out of order fall through.
int band_of(float model_range, const float t[5]) {
    if (model_range < t[0]) return -1;
    for (int b = 0; b < 4; ++b) {
        if (t[b] <= model_range && model_range < t[b + 1]) return b;
    }
    if (model_range < t[4] || std::isnan(model_range)) return 5;
    return 4;
}

}  // namespace

uint32_t detection_decision(float model_range, const uint32_t local_flicker_count[6],
                            const float range_threshold[5], const float detect_ratio[5], int32_t row_num) {
    uint32_t count_max = local_flicker_count[0];
    for (int z = 1; z < 6; ++z) count_max = local_flicker_count[z] > count_max ? local_flicker_count[z] : count_max;
    const int band = band_of(model_range, range_threshold);
    if (band < 0) return 0;
    if (band > 4) return 1;
    const float allowed = std::ceil(detect_ratio[band] * static_cast<float>(row_num));
    return allowed < static_cast<float>(count_max) ? 1u : 0u;
}

void write_fitting_result(const FitState& f, uint32_t flicker_detected, kevra_fitting_result* result,
                          kevra_parameter* param) {
    float* amplitude[3] = {result->amplitude1, result->amplitude2, result->amplitude3};
    float* phase[3] = {result->phase1, result->phase2, result->phase3};
    for (int c = 0; c < 4; ++c) {
        const ChannelParams& p = f.channel[c];
        result->offset[c] = p.offset;
        for (int h = 0; h < 3; ++h) {
            amplitude[h][c] = p.amplitude[h];
            phase[h][c] = p.phase[h];
        }
        param->fit_iterations[c] = f.iterations[c];
    }
    result->flicker_detected = flicker_detected;
}

}  // namespace kevra
