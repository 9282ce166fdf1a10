// Records for runs of the curve fit, and a complete KevrMain run on synthetic
// statistics: every row carries a level that ripples at twice the mains
// frequency, plus noise, in all 24 samples.
#ifndef KEVRA_TESTS_SUPPORT_FLICKER_RUN_H
#define KEVRA_TESTS_SUPPORT_FLICKER_RUN_H

#include <cmath>
#include <cstdint>
#include <random>

#include "kevra.h"

namespace kevra_test {

// 50 Hz, 16 lines of 30 us per row, undamped steps, the usual bands.
inline void set_fit_defaults(kevra_parameter& param, kevra_config& config, float* start_time) {
    param.ratio_index = 0;
    param.ratio_table[0] = param.ratio_table[1] = 1.0f;
    param.row_num = 256;
    param.start_time = start_time;
    param.exposure_time = 8000.0f;
    param.line_time = 30.0f;
    config.mains_frequency = 50;
    config.lines_per_row = 16;
    config.offset_step = config.phase_step = config.amplitude_step = 1.0f;
    config.convergence_exponent = 5;
    config.max_iterations = 30;
    const float thresholds[5] = {0.01f, 0.02f, 0.04f, 0.08f, 0.16f}, ratios[5] = {0.9f, 0.7f, 0.5f, 0.3f, 0.1f};
    for (int k = 0; k < 5; ++k) config.range_threshold[k] = thresholds[k], config.detect_ratio[k] = ratios[k];
}

struct FlickerRun {
    float start_time = 2000.0f;
    kevra_parameter param{};
    kevra_statistic stat{};
    kevra_config config{};
    kevra_fitting_result result{};
    uint32_t sum_stream[256 * 24];
    uint32_t count_stream[256 * 24];
    float stat_level[256 * 24];
    uint32_t stat_sum[256 * 24];
    uint32_t stat_count[256 * 24];

    // depth: relative ripple of the level (0 for a steady lamp).
    FlickerRun(int rows, int mains, double depth, unsigned seed) {
        set_fit_defaults(param, config, &start_time);
        param.ratio_index = 1;
        param.ratio_table[1] = 1000.0f;
        param.ratio_table[2] = 1.0f;  // levels come out near 1
        param.row_num = rows;
        param.tolerance_ref = 4.0f;
        param.exposure_time = 4000.0f;
        param.line_time = 28.0f;
        config.high_full_scale = 255;
        config.mains_frequency = mains;
        config.outlier_threshold = 100;
        config.local_tolerance_gain = 0.02f;
        config.local_tolerance_exponent = 1.0f;
        config.local_flicker_level = 1;
        config.convergence_exponent = 8;
        config.max_iterations = 20;
        stat = {sum_stream, count_stream};
        result.stat_level = stat_level, result.stat_sum = stat_sum, result.stat_count = stat_count;
        std::mt19937 rng(seed);
        std::uniform_int_distribution<uint32_t> count(3000, 5000), high(0, 255);
        std::uniform_real_distribution<double> noise(-0.004, 0.004);
        const double rate = 4.0 * M_PI * mains * 1e-6;
        for (int i = 0; i < rows; ++i) {
            const double t = start_time + i * double(param.line_time) * config.lines_per_row;
            const double level = 1000.0 * (1.0 + depth * std::cos(rate * t + 0.7));
            for (int w = 0; w < 24; ++w) {
                const uint32_t n = count(rng);
                count_stream[24 * i + w] = n | high(rng) << 24;
                sum_stream[24 * i + w] = uint32_t(n * level * (1.0 + noise(rng)));
            }
        }
    }
};

}  // namespace kevra_test

#endif  // KEVRA_TESTS_SUPPORT_FLICKER_RUN_H
