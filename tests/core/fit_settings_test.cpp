#include "core/fit_settings.h"

#include <gtest/gtest.h>

#include <climits>

#include "core/fit_fixture.h"
#include "support/bits.h"

namespace {

using kevra_test::FitRecords;
using kevra_test::SameBits;

struct MainsCase {
    int mains;
    float period[3];
    float w;  // pi * mains * 1e-6 through two single roundings
};

class FitSettingsMains : public ::testing::TestWithParam<MainsCase> {};

TEST_P(FitSettingsMains, ChoosesPeriodsByFiftyAndRateByTheActualFrequency) {
    const MainsCase& m = GetParam();
    FitRecords r;
    r.config.mains_frequency = m.mains;
    const kevra::FitSettings s = kevra::make_fit_settings(&r.param, &r.config);
    for (int h = 0; h < 3; ++h) {
        EXPECT_TRUE(SameBits(m.period[h], s.period[h])) << "harmonic " << h + 1;
        EXPECT_TRUE(SameBits(m.period[h] * 0.5f, s.half_period[h]));
    }
    EXPECT_TRUE(SameBits(m.w, s.w));
    EXPECT_TRUE(SameBits(m.w * 4.0f, s.rate[0]));
    EXPECT_TRUE(SameBits(-(m.w * 12.0f), s.neg_rate[2]));
}

INSTANTIATE_TEST_SUITE_P(
    Mains, FitSettingsMains,
    ::testing::Values(MainsCase{50, {10000.0f, 5000.0f, 3333.3333f}, 0.00015707963f},
                      MainsCase{60, {8333.333f, 4166.6665f, 2777.7778f}, 0.00018849556f},
                      MainsCase{55, {8333.333f, 4166.6665f, 2777.7778f}, 0.00017278760f}));

TEST(FitSettings, FiftyHertzRowStepAndExposureAngles) {
    FitRecords r;
    r.param.line_time = 30.0f;
    r.config.lines_per_row = 16;
    r.param.exposure_time = 8000.0f;
    const kevra::FitSettings s = kevra::make_fit_settings(&r.param, &r.config);
    EXPECT_TRUE(SameBits(0.00062831852f, s.rate[0]));
    EXPECT_TRUE(SameBits(0.30159289f, s.row_step));
    // Half the exposure as an angle: 2w, 4w, 6w times the exposure time.
    const float w = s.w;
    EXPECT_TRUE(SameBits((w + w) * 8000.0f, s.exposure_angle[0]));
    EXPECT_TRUE(SameBits((w * 4.0f) * 8000.0f, s.exposure_angle[1]));
    EXPECT_TRUE(SameBits((w * 6.0f) * 8000.0f, s.exposure_angle[2]));
}

TEST(FitSettings, ConvergenceThresholdIsTenToTheMinusExponentForEveryInt) {
    const struct {
        int exponent;
        float epsilon;
    } cases[] = {{5, 9.9999997e-06f}, {0, 1.0f}, {-3, 1000.0f}, {-2, 100.0f},
                 {INT_MIN, INFINITY}, {INT_MAX, 0.0f}, {46, 0.0f}};
    for (const auto& c : cases) {
        FitRecords r;
        r.config.convergence_exponent = c.exponent;
        EXPECT_TRUE(SameBits(c.epsilon, kevra::make_fit_settings(&r.param, &r.config).epsilon))
            << "exponent " << c.exponent;
    }
}

}  // namespace
