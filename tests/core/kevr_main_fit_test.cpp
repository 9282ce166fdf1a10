// Whole runs, from the raw streams to the fitted model and the decision.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>

#include "core/fit_fixture.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/flicker_run.h"
#include "support/probe.h"

namespace {

using kevra_test::FlickerRun;
using kevra_test::Probe;
using kevra_test::SameBits;

std::unique_ptr<FlickerRun> make_run(int rows, int mains, double depth, unsigned seed) {
    return std::make_unique<FlickerRun>(rows, mains, depth, seed);
}

struct RunCase {
    int mains;
    double depth;
};

class KevrMainFit : public ::testing::TestWithParam<RunCase> {};

// The ripple 1000 (1 + d cos(rate t + 0.7)) scaled to 1 (1 + d cos(...)) is
// the model with A1 = d and 4w (t + E/2 + phi1) + pi = rate t + 0.7.
TEST_P(KevrMainFit, RecoversTheRippleOfTheStatistics) {
    const RunCase& c = GetParam();
    auto run = make_run(256, c.mains, c.depth, 11);
    auto detector = std::make_unique<Probe>();
    ASSERT_EQ(0, detector->KevrMain(&run->param, &run->stat, &run->config, &run->result));
    const double w = M_PI * c.mains * 1e-6;
    const double period = 1e6 / (2.0 * c.mains);
    const double phase = (0.7 - M_PI - 2.0 * w * run->param.exposure_time) / (4.0 * w);
    for (int ch = 0; ch < 4; ++ch) {
        EXPECT_NEAR(c.depth, run->result.amplitude1[ch], 0.02 * c.depth) << "channel " << ch;
        EXPECT_NEAR(1.0, run->result.offset[ch], 1e-3);
        const double d = std::remainder(run->result.phase1[ch] - phase, period);
        EXPECT_LT(std::fabs(d), 0.005 * period) << "channel " << ch;
        EXPECT_GT(run->param.fit_iterations[ch], 0);
        EXPECT_LE(run->param.fit_iterations[ch], run->config.max_iterations + 1);
    }
}

INSTANTIATE_TEST_SUITE_P(Ripples, KevrMainFit,
                         ::testing::Values(RunCase{50, 0.05}, RunCase{60, 0.05}, RunCase{50, 0.2}, RunCase{60, 0.01}));

// The fit as KevrMain runs it, and again from the same row levels with each
// vector backend: all must give the same bits.
TEST(KevrMainFit, BackendsAgreeOnWholeRuns) {
    for (unsigned seed = 1; seed <= 4; ++seed) {
        auto run = make_run(int(60 * seed + 13), seed % 2 ? 50 : 60, 0.03 * seed, seed);
        auto detector = std::make_unique<Probe>();
        ASSERT_EQ(0, detector->KevrMain(&run->param, &run->stat, &run->config, &run->result));
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            const kevra::FitState f = kevra_test::fit_on_probe<V>(*detector, run->param, run->config);
            for (int ch = 0; ch < 4; ++ch) {
                const float got[7] = {f.channel[ch].offset,   f.channel[ch].amplitude[0], f.channel[ch].amplitude[1],
                                      f.channel[ch].amplitude[2], f.channel[ch].phase[0], f.channel[ch].phase[1],
                                      f.channel[ch].phase[2]};
                const kevra_fitting_result& r = run->result;
                const float want[7] = {r.offset[ch], r.amplitude1[ch], r.amplitude2[ch], r.amplitude3[ch],
                                       r.phase1[ch], r.phase2[ch],    r.phase3[ch]};
                EXPECT_TRUE(SameBits(want, got, 7)) << V::name << " channel " << ch << " seed " << seed;
                EXPECT_EQ(run->param.fit_iterations[ch], f.iterations[ch]);
            }
        });
    }
}

// Every fit field, flicker_detected and fit_iterations are written, also when
// the fits are skipped; the spans the library does not own keep their bytes.
TEST(KevrMainFit, OverwritesTheResultAndNothingElse) {
    for (const int exponent : {8, -3}) {
        auto run = make_run(64, 50, 0.05, 3);
        run->config.convergence_exponent = exponent;
        std::memset(&run->result, 0xA5, offsetof(kevra_fitting_result, stat_level));
        std::memset(run->param.fit_iterations, 0xA5, sizeof run->param.fit_iterations);
        std::memset(run->param.reserved_0x24, 0x3C, sizeof run->param.reserved_0x24);
        auto detector = std::make_unique<Probe>();
        ASSERT_EQ(0, detector->KevrMain(&run->param, &run->stat, &run->config, &run->result));
        const float* fields = run->result.offset;
        for (int k = 0; k < 28; ++k) EXPECT_NE(0xA5A5A5A5u, kevra_test::bits(fields[k])) << "field " << k;
        EXPECT_LE(run->result.flicker_detected, 1u);
        for (const uint8_t b : run->result.reserved_0x74) EXPECT_EQ(0xA5, b);
        for (const uint8_t b : run->param.reserved_0x24) EXPECT_EQ(0x3C, b);
        for (int ch = 0; ch < 4; ++ch) {
            if (exponent < 0) EXPECT_EQ(0, run->param.fit_iterations[ch]);
            else EXPECT_GT(run->param.fit_iterations[ch], 0);
        }
    }
}

// Skipped fits leave the model range at 0 - 10 = -10: below a T0 of -9.99
// nothing is detected; with T0 = -10 the range lies in the first band, whose
// share 0 is exceeded by any counter.
TEST(KevrMainFit, SkippedFitsGiveModelRangeMinusTen) {
    const struct {
        float t0;
        uint32_t want;
    } cases[] = {{-9.99f, 0}, {-10.0f, 1}};
    for (const auto& c : cases) {
        auto run = make_run(128, 50, 0.0, 4);
        run->config.convergence_exponent = -3;
        run->config.range_threshold[0] = c.t0;
        run->config.detect_ratio[0] = 0.0f;
        auto detector = std::make_unique<Probe>();
        ASSERT_EQ(0, detector->KevrMain(&run->param, &run->stat, &run->config, &run->result));
        uint32_t count_max = 0;
        for (const uint32_t n : detector->local_flicker_count) count_max = std::max(count_max, n);
        ASSERT_GT(count_max, 0u);
        EXPECT_EQ(c.want, run->result.flicker_detected) << c.t0;
    }
}

// With 250 rows the last block covers rows 248..255: all of it is written.
TEST(KevrMainFit, LastBlockIsWrittenWhole) {
    for (const int rows : {250, 241}) {
        auto run = make_run(rows, 50, 0.05, 6);
        auto detector = std::make_unique<Probe>();
        for (auto& row : detector->design) std::fill(std::begin(row), std::end(row), 12345.0f);
        ASSERT_EQ(0, detector->KevrMain(&run->param, &run->stat, &run->config, &run->result));
        const int end = (rows + 7) / 8 * 8;
        for (int r = 0; r < 8; ++r) {
            for (int i = 0; i < 256; ++i) {
                ASSERT_EQ(i < end, detector->design[r][i] != 12345.0f) << "rows " << rows << " design " << r << "," << i;
            }
        }
    }
}

}  // namespace
