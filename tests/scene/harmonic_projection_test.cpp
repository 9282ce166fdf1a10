// The least-squares harmonic projection recovers a signal made from its own
// model, through the shared normal equations or, where the signal lacks rows
// the shared ones have, through its own.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "scene/harmonic_projection.h"

namespace {

using namespace kevra_scene;

TEST(HarmonicProjection, RecoversAModelSignalWithOrWithoutMissingRows) {
    const int rows = 200;
    const double rate = 2.0 * kPi * 100.0 * 1e-6, t0 = 1234.5, step = 120.0;
    // 0.3 + 0.05 cos(Wt + 0.7) - 0.01 sin(2Wt) + 0.004 cos(3Wt)
    double value[KEVRA_MAX_ROWS], holed[KEVRA_MAX_ROWS];
    for (int r = 0; r < rows; ++r) {
        const double t = t0 + r * step;
        value[r] = 0.3 + 0.05 * std::cos(rate * t + 0.7) - 0.01 * std::sin(2.0 * rate * t) +
                   0.004 * std::cos(3.0 * rate * t);
        holed[r] = r % 7 == 3 ? std::numeric_limits<double>::quiet_NaN() : value[r];
    }
    static HarmonicRows basis;
    static HarmonicNormal normal;
    harmonic_rows(basis, rows, t0, step, rate);
    harmonic_normal(normal, basis, value);
    // Re[X e^{iWt}] = 0.05 cos(Wt + 0.7): X = 0.05 e^{0.7i}.
    const double power = 0.5 * (0.05 * 0.05 + 0.01 * 0.01 + 0.004 * 0.004);
    for (const double* signal : {value, holed}) {
        const HarmonicFit f = project_harmonics(basis, normal, signal);
        ASSERT_TRUE(f.valid);
        EXPECT_NEAR(f.fundamental.re, 0.05 * std::cos(0.7), 1e-12);
        EXPECT_NEAR(f.fundamental.im, 0.05 * std::sin(0.7), 1e-12);
        EXPECT_NEAR(f.power, power, 1e-12);
        EXPECT_NEAR(f.residual, 0.0, 1e-12);
        EXPECT_EQ(f.used, signal == value ? rows : rows - 29);
    }
}

TEST(HarmonicProjection, TooFewRowsAreNotAFit) {
    static HarmonicRows basis;
    static HarmonicNormal normal;
    const double value[5] = {1.0, 2.0, 3.0, 4.0, 5.0};
    harmonic_rows(basis, 5, 0.0, 120.0, 2.0 * kPi * 100.0 * 1e-6);
    harmonic_normal(normal, basis, value);
    EXPECT_FALSE(project_harmonics(basis, normal, value).valid);
}

}  // namespace
