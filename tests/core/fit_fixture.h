// Records and row levels for tests of the curve fit, and a double-precision
// least-squares step that stands in for the library's solver where a test is
// about the fit rather than the solver.
#ifndef KEVRA_TESTS_CORE_FIT_FIXTURE_H
#define KEVRA_TESTS_CORE_FIT_FIXTURE_H

#include <cmath>
#include <random>
#include <utility>

#include "kevra.h"
#include "support/fit_defaults.h"

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

// fit_delta = argmin |design[0..6]^T x - design[7]| over the first row_num
// columns, by the normal equations in double and Gaussian elimination.
inline void solve_in_double(const float (*design)[256], int row_num, float* fit_delta) {
    double a[7][8] = {};
    for (int i = 0; i < 7; ++i) {
        for (int j = 0; j < 8; ++j) {
            for (int k = 0; k < row_num; ++k) a[i][j] += double(design[i][k]) * double(design[j][k]);
        }
    }
    for (int col = 0; col < 7; ++col) {
        int pivot = col;
        for (int r = col + 1; r < 7; ++r) {
            if (std::fabs(a[r][col]) > std::fabs(a[pivot][col])) pivot = r;
        }
        for (int j = 0; j < 8; ++j) std::swap(a[col][j], a[pivot][j]);
        for (int r = 0; r < 7; ++r) {
            if (r == col) continue;
            const double f = a[r][col] / a[col][col];
            for (int j = 0; j < 8; ++j) a[r][j] -= f * a[col][j];
        }
    }
    for (int u = 0; u < 7; ++u) fit_delta[u] = static_cast<float>(a[u][7] / a[u][u]);
}

}  // namespace kevra_test

#endif  // KEVRA_TESTS_CORE_FIT_FIXTURE_H
