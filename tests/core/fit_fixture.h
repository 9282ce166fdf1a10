// Records and row levels for tests of the curve fit, and the fit run from a
// probe's row levels with any vector backend and the library's solver.
#ifndef KEVRA_TESTS_CORE_FIT_FIXTURE_H
#define KEVRA_TESTS_CORE_FIT_FIXTURE_H

#include <cmath>
#include <random>

#include "core/channel_fit.h"
#include "core/fit_settings.h"
#include "kevra.h"
#include "support/fit_defaults.h"
#include "support/probe.h"

namespace kevra_test {

struct FitRecords {
    float start_time = 1000.0f;
    kevra_parameter param{};
    kevra_config config{};

    FitRecords() { set_fit_defaults(param, config, &start_time); }
};

// A flicker model in the fit's own terms, evaluated in double.
struct Flicker {
    double offset;
    double amplitude[3];
    double phase[3];  // us

    double at(const FitRecords& r, int row) const {
        const double w = M_PI * r.config.mains_frequency * 1e-6;
        const double t = r.start_time + r.param.exposure_time / 2.0 +
                         double(row) * r.param.line_time * r.config.lines_per_row;
        double level = offset;
        for (int h = 0; h < 3; ++h) level -= amplitude[h] * std::cos(4.0 * (h + 1) * w * (t + phase[h]));
        return level;
    }
};

// Fills every channel of row_level[0..rows) with the model plus uniform noise.
inline void fill_row_levels(float (*row_level)[4], const FitRecords& r, const Flicker& f, double noise,
                            unsigned seed, int rows) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> jitter(-noise, noise);
    for (int i = 0; i < rows; ++i) {
        for (int c = 0; c < 4; ++c) row_level[i][c] = static_cast<float>(f.at(r, i) + jitter(rng));
    }
}

template <class V>
kevra::FitState fit_on_probe(Probe& probe, const kevra_parameter& param, const kevra_config& config) {
    const kevra::FitSettings s = kevra::make_fit_settings(&param, &config);
    float normal[8][8] = {}, inverse[8][8] = {};
    return kevra::fit_channels<V>(s, &config, probe.row_level, probe.design, probe.fit_delta,
                                  [&] { probe.matrix_multiplication(s.row_num, 7, normal, inverse); });
}

}  // namespace kevra_test

#endif  // KEVRA_TESTS_CORE_FIT_FIXTURE_H
