// A whole detection on a synthetic scene: KevrMain on a FlickerRun, then
// ConfidenceIndex on its result in the geometry the fit used.
#ifndef KEVRA_TESTS_ROBUSTNESS_SCENE_RUN_H
#define KEVRA_TESTS_ROBUSTNESS_SCENE_RUN_H

#include <cmath>
#include <cstddef>
#include <vector>

#include "kevra.h"
#include "support/flicker_run.h"

namespace kevra_test {

struct SceneRun {
    FlickerRun run;
    kevra_confidence_idx_input input{};
    kevra_confidence_idx_output output{};
    kevra_confidence_idx_debug_output debug{};

    SceneRun(int rows, int mains, double depth, unsigned seed) : run(rows, mains, depth, seed) {
        // Angles as the fit's timing gives them; line_time, row_num, sum_norm_a,
        // lines_per_row, line_offset, sum_norm_b, band_margin.
        input = {{}, {}, run.param.line_time, rows, 256, run.config.lines_per_row, 0, 64, 0.002f};
        const double row0 = double(run.start_time) + 0.5 * double(run.param.exposure_time);
        for (int h = 0; h < 3; ++h) {
            const double rate = 360.0 * 2.0 * (h + 1) * mains * 1e-6;
            input.angle_rate[h] = float(rate);
            input.angle_offset[h] = float(std::fmod(rate * row0, 360.0));
        }
        debug.enable = 1;
    }

    // 0: equal zones; 1: weights from the zone levels; 2: fixed, unequal weights.
    void set_weighting(int mode) {
        run.config.weight_enable = mode > 0;
        run.config.weight_fixed = mode == 2;
        run.config.weight_base_x10 = 20;
        run.config.weight_exponent_x10 = 10;
        for (int z = 0; z < 6; ++z) run.config.fixed_weight[z] = 1.0f + 0.25f * z;
    }

    // Both calls on d; false when either is refused.
    bool detect(AppKEVRA& d) {
        return d.KevrMain(&run.param, &run.stat, &run.config, &run.result) == KEVRA_STATUS_OK &&
               d.ConfidenceIndex(&input, &run.result, &output, &debug) == KEVRA_STATUS_OK;
    }

    // Every byte the two calls write.
    std::vector<unsigned char> outputs() const {
        std::vector<unsigned char> bytes;
        const auto add = [&bytes](const void* p, size_t n) {
            bytes.insert(bytes.end(), static_cast<const unsigned char*>(p), static_cast<const unsigned char*>(p) + n);
        };
        const size_t words = 24 * static_cast<size_t>(run.param.row_num);
        add(&run.result, offsetof(kevra_fitting_result, reserved_0x74));
        add(run.param.fit_iterations, sizeof run.param.fit_iterations);
        add(run.stat_sum, words * sizeof(uint32_t));
        add(run.stat_count, words * sizeof(uint32_t));
        add(run.stat_level, words * sizeof(float));
        add(&output, sizeof output);
        add(&debug, sizeof debug);
        return bytes;
    }
};

}  // namespace kevra_test

#endif  // KEVRA_TESTS_ROBUSTNESS_SCENE_RUN_H
