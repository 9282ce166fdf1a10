#include "core/fit_settings.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "core/fit_fixture.h"
#include "support/bits.h"

namespace {

using kevra_test::SameBits;

// The periods are chosen by a test against 50, w = pi * mains * 1e-6 from the actual
// frequency through two single roundings.
TEST(FitSettings, ChoosesPeriodsByFiftyAndRatesByTheActualFrequency) {
    const struct {
        int mains;
        float period[3], w;
    } cases[] = {{50, {10000.0f, 5000.0f, 3333.3333f}, 0.00015707963f},
                 {60, {8333.333f, 4166.6665f, 2777.7778f}, 0.00018849556f},
                 {55, {8333.333f, 4166.6665f, 2777.7778f}, 0.00017278760f}};
    for (const auto& c : cases) {
        kevra_test::FitRecords r;
        r.config.mains_frequency = c.mains;
        const kevra::FitSettings s = kevra::make_fit_settings(&r.param, &r.config);
        for (int h = 0; h < 3; ++h) {
            EXPECT_TRUE(SameBits(c.period[h], s.period[h]) && SameBits(c.period[h] * 0.5f, s.half_period[h])) << h;
        }
        EXPECT_TRUE(SameBits(c.w, s.w) && SameBits(c.w * 4.0f, s.rate[0]) && SameBits(-(c.w * 12.0f), s.neg_rate[2]));
    }
}

// 50 Hz, 30 us lines, 16 lines per row, exposure 8000 us; epsilon = 10^-exponent for
// every int, rounded to single precision.
TEST(FitSettings, RowStepExposureAnglesAndConvergenceThreshold) {
    kevra_test::FitRecords r;
    const kevra::FitSettings s = kevra::make_fit_settings(&r.param, &r.config);
    EXPECT_TRUE(SameBits(0.00062831852f, s.rate[0]));
    EXPECT_TRUE(SameBits(0.30159289f, s.row_step));
    const float want_angles[3] = {(s.w + s.w) * 8000.0f, (s.w * 4.0f) * 8000.0f, (s.w * 6.0f) * 8000.0f};
    EXPECT_SAME_BITS(want_angles, s.exposure_angle, 3);
    const struct {
        int exponent;
        float epsilon;
    } cases[] = {{5, 9.9999997e-06f}, {0, 1.0f}, {-3, 1000.0f}, {INT_MIN, INFINITY}, {INT_MAX, 0.0f}, {46, 0.0f}};
    for (const auto& c : cases) {
        r.config.convergence_exponent = c.exponent;
        EXPECT_TRUE(SameBits(c.epsilon, kevra::make_fit_settings(&r.param, &r.config).epsilon)) << c.exponent;
    }
}

}  // namespace
