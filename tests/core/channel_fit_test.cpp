#include "core/channel_fit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "core/fit_fixture.h"
#include "support/bits.h"

namespace {

using kevra::FitState;
using kevra_test::FitRecords;
using kevra_test::Flicker;
using kevra_test::SameBits;

struct FitBench {
    FitRecords r;
    std::unique_ptr<kevra_test::Probe> probe = std::make_unique<kevra_test::Probe>();
    float (*row_level)[4] = probe->row_level;

    FitState run() { return kevra_test::fit_on_probe<kevra::simd::Native>(*probe, r.param, r.config); }
};

// Phase difference on the circle of one period, in us.
double phase_error(double got, double want, double period) {
    const double d = std::fmod(got - want, period);
    return std::fabs(d) > period / 2 ? period - std::fabs(d) : std::fabs(d);
}

struct RecoveryCase {
    int mains;
    double phase1;
};

class FitRecovery : public ::testing::TestWithParam<RecoveryCase> {};

// Levels made from the model with +-1 noise are fitted back: amplitude 1 within
// 1 % and phase 1 within 0.2 % of a period on every channel.
TEST_P(FitRecovery, RecoversHarmonicOneOfTheModel) {
    const RecoveryCase& c = GetParam();
    auto b = std::make_unique<FitBench>();
    b->r.config.mains_frequency = c.mains;
    const double period = c.mains == 50 ? 10000.0 : 1e6 / 120.0;
    const Flicker model{800.0, {60.0, 9.0, 4.0}, {c.phase1, 0.3 * period, -0.1 * period}};
    kevra_test::fill_row_levels(b->row_level, b->r, model, 1.0, unsigned(c.phase1) + 1, 256);
    const FitState f = b->run();
    for (int ch = 0; ch < 4; ++ch) {
        const kevra::ChannelParams& p = f.channel[ch];
        EXPECT_NEAR(60.0, p.amplitude[0], 0.6) << "channel " << ch;
        EXPECT_LT(phase_error(p.phase[0], c.phase1, period), 0.002 * period) << "channel " << ch;
        EXPECT_NEAR(800.0, p.offset, 0.5);
        EXPECT_LT(f.iterations[ch], b->r.config.max_iterations + 1) << "channel " << ch << " did not converge";
    }
}

INSTANTIATE_TEST_SUITE_P(MainsAndPhase, FitRecovery,
                         ::testing::Values(RecoveryCase{50, 0.0}, RecoveryCase{50, 1800.0},
                                           RecoveryCase{50, 4900.0}, RecoveryCase{50, 7300.0},
                                           RecoveryCase{60, 500.0}, RecoveryCase{60, 4000.0},
                                           RecoveryCase{60, 6100.0}));

// Without iterations every channel reports its starting values.
TEST(ChannelFit, NoIterationReportsStartingValues) {
    for (const bool by_exponent : {false, true}) {
        auto b = std::make_unique<FitBench>();
        kevra_test::fill_row_levels(b->row_level, b->r, Flicker{500, {30, 0, 0}, {100, 0, 0}}, 0.0, 1, 256);
        if (by_exponent) {
            b->r.config.convergence_exponent = -3;
        } else {
            b->r.config.max_iterations = -1;
        }
        b->r.config.use_initial_values = 1;
        b->r.config.init_amplitude1[1] = -25.0f;
        for (int ch = 0; ch < 4; ++ch) b->r.config.init_amplitude1[ch] = ch == 1 ? -25.0f : 20.0f + ch;
        const FitState f = b->run();
        for (int ch = 0; ch < 4; ++ch) {
            EXPECT_EQ(0, f.iterations[ch]);
            EXPECT_TRUE(SameBits(ch == 1 ? -25.0f : -(20.0f + ch), f.channel[ch].amplitude[0])) << ch;
        }
        EXPECT_TRUE(SameBits(0.0f, f.range.max));
        EXPECT_TRUE(SameBits(10.0f, f.range.min));
        EXPECT_TRUE(SameBits(0.0f, b->probe->design[0][0])) << "no design row is written";
    }
}

TEST(ChannelFit, IterationLimitCountsFromZero) {
    const struct {
        int max_iterations;
        int exponent;
        int want;  // -1: converged before the limit
    } cases[] = {{0, 30, 1}, {3, 30, 4}, {1000, 5, -1}};
    for (const auto& c : cases) {
        auto b = std::make_unique<FitBench>();
        kevra_test::fill_row_levels(b->row_level, b->r, Flicker{500, {30, 3, 1}, {2000, 0, 0}}, 0.5, 2, 256);
        b->r.config.max_iterations = c.max_iterations;
        b->r.config.convergence_exponent = c.exponent;
        const FitState f = b->run();
        for (int ch = 0; ch < 4; ++ch) {
            if (c.want >= 0) {
                EXPECT_EQ(c.want, f.iterations[ch]) << c.max_iterations;
            } else {
                EXPECT_GT(f.iterations[ch], 0);
                EXPECT_LT(f.iterations[ch], 100);
            }
        }
    }
}

// The range is channel 1's model over its last iteration (the trackers start
// at 0 and 10, so levels are kept below 10 here): for a converged fit it spans
// twice the amplitude, whatever the other channels hold.
TEST(ChannelFit, RangeIsChannelOnesModelSpan) {
    auto b = std::make_unique<FitBench>();
    b->r.config.convergence_exponent = 12;  // steps are small at this scale
    for (int i = 0; i < 256; ++i) {
        const double t = double(i) / 256;
        b->row_level[i][0] = float(100 + 50 * t);
        b->row_level[i][1] = float(Flicker{0.5, {0.03, 0, 0}, {0, 0, 0}}.at(b->r, i));
        b->row_level[i][2] = float(900 - 50 * t);
        b->row_level[i][3] = 7.0f;
    }
    const FitState f = b->run();
    EXPECT_NEAR(0.53, f.range.max, 1e-4);
    EXPECT_NEAR(0.47, f.range.min, 1e-4);
}

}  // namespace
