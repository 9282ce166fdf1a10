#include "default_tuning.h"

#include <cmath>

namespace kevra_tool {

kevra_config default_config() {
    kevra_config c{};
    c.high_full_scale = 255;
    c.mains_frequency = 50;
    c.outlier_threshold = 2000;
    // Band (0, 1024) around 512: every level of a 10-bit sensor that is neither
    // black nor clipped counts towards a run (tolerance_ref 4 makes the power 1).
    c.local_tolerance_gain = 512.0f;
    c.local_tolerance_exponent = 1.0f;
    c.local_flicker_level = 512;
    const float ratios[5] = {0.9f, 0.7f, 0.5f, 0.3f, 0.1f};
    const float thresholds[5] = {2.0f, 4.0f, 8.0f, 16.0f, 32.0f};
    for (int k = 0; k < 5; ++k) {
        c.detect_ratio[k] = ratios[k];
        c.range_threshold[k] = thresholds[k];
    }
    c.weight_enable = 0;
    c.weight_fixed = 0;
    for (float& w : c.fixed_weight) w = 1.0f;
    c.lines_per_row = 12;
    c.weight_base_x10 = 20;
    c.weight_exponent_x10 = 10;
    c.use_initial_values = 0;
    c.offset_step = 1.0f;
    c.phase_step = 1.0f;
    c.amplitude_step = 1.0f;
    c.convergence_exponent = 4;
    c.max_iterations = 30;
    return c;
}

kevra_parameter default_parameter() {
    kevra_parameter p{};
    p.ratio_index = 0;
    for (float& r : p.ratio_table) r = 1.0f;
    p.tolerance_ref = 4.0f;
    return p;
}

kevra_confidence_idx_input default_confidence_input(const kevra_parameter& parameter, float start_time,
                                                    const kevra_config& config) {
    kevra_confidence_idx_input in{};
    // Harmonic h runs at 2h times the mains frequency; the fit's time of row 0
    // is the middle of the first line's exposure.
    const double row0_time = double(start_time) + 0.5 * double(parameter.exposure_time);
    for (int h = 1; h <= 3; ++h) {
        const double rate = 360.0 * 2.0 * h * config.mains_frequency * 1e-6;
        in.angle_rate[h - 1] = float(rate);
        in.angle_offset[h - 1] = float(std::fmod(rate * row0_time, 360.0));
    }
    in.line_time = parameter.line_time;
    in.row_num = parameter.row_num;
    in.lines_per_row = config.lines_per_row;
    in.line_offset = 0;
    // A zone sum of 256 x 64 or more weighs fully.
    in.sum_norm_a = 256;
    in.sum_norm_b = 64;
    in.band_margin = 2.0f;
    return in;
}

}  // namespace kevra_tool
