#include "core/channel_fit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "core/fit_fixture.h"
#include "support/bits.h"

namespace {

using kevra::FitState;
using kevra_test::Flicker;
using kevra_test::SameBits;

struct FitBench {
    kevra_test::FitRecords r;
    std::unique_ptr<kevra_test::Probe> probe = std::make_unique<kevra_test::Probe>();

    FitState run() { return kevra_test::fit_on_probe<kevra::simd::Native>(*probe, r.param, r.config); }
};

// Levels made from the model with +-1 noise are fitted back on every channel, converged:
// amplitude 1 within 1 % and phase 1 within 0.2 % of a period, wherever it lies.
TEST(ChannelFit, RecoversHarmonicOneOfTheModel) {
    const struct {
        int mains;
        double phase1;
    } cases[] = {{50, 0.0}, {50, 4900.0}, {50, 7300.0}, {60, 500.0}, {60, 6100.0}};
    for (const auto& c : cases) {
        FitBench b;
        b.r.config.mains_frequency = c.mains;
        const double period = c.mains == 50 ? 10000.0 : 1e6 / 120.0;
        const Flicker model{800.0, {60.0, 9.0, 4.0}, {c.phase1, 0.3 * period, -0.1 * period}};
        kevra_test::fill_row_levels(b.probe->row_level, b.r, model, 1.0, unsigned(c.phase1) + 1, 256);
        const FitState f = b.run();
        for (int ch = 0; ch < 4; ++ch) {
            const kevra::ChannelParams& p = f.channel[ch];
            EXPECT_NEAR(60.0, p.amplitude[0], 0.6) << c.phase1 << ", channel " << ch;
            EXPECT_LT(std::fabs(std::remainder(p.phase[0] - c.phase1, period)), 0.002 * period) << c.phase1;
            EXPECT_NEAR(800.0, p.offset, 0.5);
            EXPECT_LE(f.iterations[ch], b.r.config.max_iterations) << "channel " << ch << " did not converge";
        }
    }
}

// Up to max_iterations + 1 iterations run (exponent 30 never converges); with none, every
// channel reports its configured start, channels 0, 2 and 3 signed like channel 1, the
// range stays at 0 and 10 and no design column is written.
TEST(ChannelFit, IterationLimitCountsFromZeroAndNoIterationKeepsTheStart) {
    const struct {
        int max_iterations, exponent, want;
    } cases[] = {{-1, 30, 0}, {5, -3, 0}, {0, 30, 1}, {3, 30, 4}};
    for (const auto& c : cases) {
        FitBench b;
        kevra_test::fill_row_levels(b.probe->row_level, b.r, Flicker{500, {30, 3, 1}, {2000, 0, 0}}, 0.5, 2, 256);
        b.r.config.max_iterations = c.max_iterations;
        b.r.config.convergence_exponent = c.exponent;
        b.r.config.use_initial_values = c.want == 0;
        for (int ch = 0; ch < 4; ++ch) b.r.config.init_amplitude1[ch] = ch == 1 ? -25.0f : 20.0f + ch;
        const FitState f = b.run();
        for (int ch = 0; ch < 4; ++ch) {
            EXPECT_EQ(c.want, f.iterations[ch]) << c.max_iterations << ", " << c.exponent;
            const float start = ch == 1 ? -25.0f : -(20.0f + ch);
            EXPECT_TRUE(c.want > 0 || SameBits(start, f.channel[ch].amplitude[0])) << "channel " << ch;
        }
        if (c.want > 0) continue;
        EXPECT_TRUE(SameBits(0.0f, f.range.max) && SameBits(10.0f, f.range.min));
        EXPECT_TRUE(SameBits(0.0f, b.probe->design[0][0])) << "a design row was written";
    }
}

// The range is channel 1's model over its last iteration (the trackers start at 0 and 10,
// so levels are kept below 10 here): for a converged fit it spans twice the amplitude,
// whatever the other channels hold.
TEST(ChannelFit, RangeIsChannelOnesModelSpan) {
    FitBench b;
    b.r.config.convergence_exponent = 12;  // steps are small at this scale
    for (int i = 0; i < 256; ++i) {
        b.probe->row_level[i][0] = float(100 + 50 * i / 256.0);
        b.probe->row_level[i][1] = float(Flicker{0.5, {0.03, 0, 0}, {0, 0, 0}}.at(b.r, i));
        b.probe->row_level[i][2] = float(900 - 50 * i / 256.0);
        b.probe->row_level[i][3] = 7.0f;
    }
    const FitState f = b.run();
    EXPECT_NEAR(0.53, f.range.max, 1e-4);
    EXPECT_NEAR(0.47, f.range.min, 1e-4);
}

}  // namespace
