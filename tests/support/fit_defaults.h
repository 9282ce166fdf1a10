// Record settings shared by the tests and benchmarks that run the curve fit:
// 50 Hz, 16 lines of 30 us per row, undamped steps, the usual bands.
#ifndef KEVRA_TESTS_SUPPORT_FIT_DEFAULTS_H
#define KEVRA_TESTS_SUPPORT_FIT_DEFAULTS_H

#include "kevra.h"

namespace kevra_test {

inline void set_fit_defaults(kevra_parameter& param, kevra_config& config, float* start_time) {
    param.ratio_index = 0;
    param.ratio_table[0] = 1.0f;
    param.ratio_table[1] = 1.0f;
    param.row_num = 256;
    param.start_time = start_time;
    param.exposure_time = 8000.0f;
    param.line_time = 30.0f;
    config.mains_frequency = 50;
    config.lines_per_row = 16;
    config.offset_step = 1.0f;
    config.phase_step = 1.0f;
    config.amplitude_step = 1.0f;
    config.convergence_exponent = 5;
    config.max_iterations = 30;
    const float thresholds[5] = {0.01f, 0.02f, 0.04f, 0.08f, 0.16f};
    const float ratios[5] = {0.9f, 0.7f, 0.5f, 0.3f, 0.1f};
    for (int k = 0; k < 5; ++k) {
        config.range_threshold[k] = thresholds[k];
        config.detect_ratio[k] = ratios[k];
    }
}

}  // namespace kevra_test

#endif  // KEVRA_TESTS_SUPPORT_FIT_DEFAULTS_H
