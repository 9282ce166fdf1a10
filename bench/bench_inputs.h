// Inputs shared by the Google Benchmark programs and the instruction-count
// driver, so that a time and an instruction count measure the same work.
#ifndef KEVRA_BENCH_BENCH_INPUTS_H
#define KEVRA_BENCH_BENCH_INPUTS_H

#include <cmath>
#include <cstdint>
#include <memory>
#include <random>

#include "core/design_rows.h"
#include "core/fit_settings.h"
#include "kevra.h"
#include "support/flicker_run.h"
#include "support/prepared_detector.h"
#include "support/probe.h"

namespace kevra_bench {

constexpr int kRows = 256;

// Channel 1 of a fitted flicker model and 256 rows of levels and sums near it.
struct ConfidenceInputs {
    kevra_confidence_idx_input input{{10.0f, 20.0f, 30.0f}, {0.0216f, 0.0432f, 0.0648f}, 14.8f, kRows, 300, 16,
                                     8, 7, 1.5f};
    kevra_fitting_result result{};
    kevra_confidence_idx_output output{};
    kevra_confidence_idx_debug_output debug{};
    float level[kRows * 24];
    uint32_t sum[kRows * 24];

    ConfidenceInputs() {
        for (int i = 0; i < kRows * 24; ++i) {
            level[i] = 100.0f + 8.0f * std::sin(0.05f * static_cast<float>(i / 24)) +
                       0.1f * static_cast<float>(i % 7);
            sum[i] = 1000u + static_cast<uint32_t>(i % 5000);
        }
        result.offset[1] = 100.0f;
        result.amplitude1[1] = 8.0f;
        result.amplitude2[1] = 1.5f;
        result.amplitude3[1] = 0.5f;
        result.phase1[1] = 1200.0f;
        result.phase2[1] = 700.0f;
        result.phase3[1] = 300.0f;
        result.flicker_detected = 1;
        result.stat_level = level;
        result.stat_sum = sum;
        debug.enable = 1;
    }

    int32_t run(AppKEVRA& detector) { return detector.ConfidenceIndex(&input, &result, &output, &debug); }
};

// 256 rows of random raw hardware words and the buffers they unpack into.
struct ParsingInputs {
    uint32_t sum_stream[kRows * 24];
    uint32_t count_stream[kRows * 24];
    uint32_t stat_sum[kRows * 24];
    uint32_t stat_count[kRows * 24];
    kevra_statistic stat{sum_stream, count_stream};
    kevra_parameter param{};

    explicit ParsingInputs(kevra_test::Probe& detector) {
        std::mt19937 rng(3);
        std::uniform_int_distribution<uint32_t> word;
        for (int k = 0; k < kRows * 24; ++k) {
            sum_stream[k] = word(rng);
            count_stream[k] = word(rng);
        }
        param.row_num = kRows;
        detector.stat_sum = stat_sum;
        detector.stat_count = stat_count;
    }
};

// Design rows of uniform values in [-1, 1), all 256 columns.
inline void fill_random_design(kevra_test::Probe& detector) {
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (auto& row : detector.design)
        for (float& v : row) v = u(rng);
}

// A random, diagonally dominant (so well-conditioned) 7x7 block.
inline void fill_regular_matrix(float (*matrix)[8]) {
    std::mt19937 rng(2);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int i = 0; i < 8; ++i)
        for (int j = 0; j < 8; ++j) matrix[i][j] = u(rng) + (i == j ? 4.0f : 0.0f);
}

// Statistics of a flickering scene for statistic_preprocess, one sample in 200
// without data, in the weighting mode that the two flags select.
inline void load_flickering_scene(kevra_test::PreparedDetector& d, int weight_enable, int weight_fixed) {
    std::mt19937 rng(1);
    std::uniform_int_distribution<uint32_t> count(900, 1100), high(0, 40), gap(0, 199);
    for (int r = 0; r < kRows; ++r) {
        for (int w = 0; w < 24; ++w) {
            const double level = 500.0 + 40.0 * std::cos(0.17 * r + 0.1 * (w % 6)) + 3.0 * (w / 6);
            const size_t i = static_cast<size_t>(24 * r + w);
            d.counts[i] = gap(rng) == 0 ? 0 : count(rng);
            d.sums[i] = static_cast<uint32_t>(level * d.counts[i]);
            d.probe->stat_high[r][w] = high(rng);
        }
    }
    d.param.tolerance_ref = 4.0f;
    d.config.outlier_threshold = 2000;
    d.config.local_tolerance_gain = 8.0f;
    d.config.local_tolerance_exponent = 1.0f;
    d.config.local_flicker_level = 500;
    d.config.high_full_scale = 255;
    d.config.weight_base_x10 = 20;
    d.config.weight_exponent_x10 = 10;
    d.config.weight_enable = weight_enable;
    d.config.weight_fixed = weight_fixed;
    for (int z = 0; z < 6; ++z) d.config.fixed_weight[z] = 1.0f + 0.5f * z;
}

// A whole run on a flickering scene with every channel held to exactly ten fit
// iterations: a threshold of 1e-30 is never met, and max_iterations is 9.
struct KevrMainInputs {
    std::unique_ptr<kevra_test::FlickerRun> scene = std::make_unique<kevra_test::FlickerRun>(kRows, 50, 0.05, 1);

    KevrMainInputs() {
        scene->config.convergence_exponent = 30;
        scene->config.max_iterations = 9;
    }

    int32_t run(AppKEVRA& detector) {
        return detector.KevrMain(&scene->param, &scene->stat, &scene->config, &scene->result);
    }
    bool ran_ten_iterations() const {
        for (int32_t n : scene->param.fit_iterations)
            if (n != 10) return false;
        return true;
    }
};

// One fit iteration's design rows at 256 rows, with the channel-1 model range,
// for channel parameters near a fitted flicker.
struct DesignRowsInputs {
    float start_time = 2000.0f;
    kevra::FitSettings settings;
    kevra::ChannelParams params{1000.0f, {50.0f, 10.0f, 5.0f}, {1200.0f, 700.0f, 300.0f}};
    kevra::ModelRange range = kevra::kUntouchedRange;
    float level[kRows];

    DesignRowsInputs() {
        kevra_parameter param{};
        kevra_config config{};
        kevra_test::set_fit_defaults(param, config, &start_time);
        settings = kevra::make_fit_settings(&param, &config);
        std::mt19937 rng(4);
        std::uniform_real_distribution<float> u(950.0f, 1050.0f);
        for (float& v : level) v = u(rng);
    }

    void run(kevra_test::Probe& detector) {
        range = kevra::kUntouchedRange;
        kevra::build_design_rows<kevra::simd::Native>(settings.harmonic, kevra::model_terms(settings, params), level,
                                                      kRows, detector.design, &range);
    }
};

}  // namespace kevra_bench

#endif  // KEVRA_BENCH_BENCH_INPUTS_H
