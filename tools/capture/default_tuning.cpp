#include "default_tuning.h"

#include <cmath>

namespace kevra_tool {

kevra_config default_config() {
    kevra_config c{};
    c.high_full_scale = 255;
    c.mains_frequency = 50;
    // Levels are fractions of the pixel full scale (see default_parameter).
    c.outlier_threshold = 10;  // 10 x 0.001 x 5: 5 % of full scale
    // Band (-1, 1) around 0: every level short of full scale counts towards a
    // run (tolerance_ref 4 makes the power term 1).
    c.local_tolerance_gain = 1.0f;
    c.local_tolerance_exponent = 1.0f;
    c.local_flicker_level = 0;
    const float ratios[5] = {0.9f, 0.7f, 0.5f, 0.3f, 0.1f};
    const float thresholds[5] = {0.01f, 0.02f, 0.04f, 0.08f, 0.16f};
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
    c.convergence_exponent = 7;
    c.max_iterations = 30;
    return c;
}

kevra_parameter default_parameter() {
    kevra_parameter p{};
    // frame_ratio 1/1023 scales 10-bit pixel means to fractions of full scale:
    // the fit tracks its model's range from a minimum of 10, so levels must
    // stay well below 10 for that range to be the model's peak to peak.
    p.ratio_index = 0;
    p.ratio_table[0] = 1023.0f;
    for (int i = 1; i < 4; ++i) p.ratio_table[i] = 1.0f;
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
    in.band_margin = 0.002f;  // two pixel values of a 10-bit sensor
    return in;
}

}  // namespace kevra_tool
