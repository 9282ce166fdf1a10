// The run entry: refusals that write nothing, the reset and pointer copies of every
// accepted run, and whole runs from the raw streams to the result.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <memory>

#include "core/fit_fixture.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/flicker_run.h"

namespace {

using kevra_test::FlickerRun;
using kevra_test::Probe;

// A run of eight rows whose records and buffers are preset byte by byte, so any write shows.
struct Records {
    kevra_parameter param;
    kevra_statistic stat;
    kevra_config config;
    kevra_fitting_result result;
    float start_time;
    uint32_t sum_stream[24 * 8], count_stream[24 * 8], sums[24 * 8], counts[24 * 8];
    float levels[24 * 8];
    kevra_parameter* p = &param;
    kevra_statistic* s = &stat;
    kevra_config* c = &config;
    kevra_fitting_result* r = &result;

    Records() {
        std::memset(static_cast<void*>(this), 0xA5, offsetof(Records, p));
        param.row_num = 8;
        param.ratio_index = 0;
        param.start_time = &start_time;
        stat = {sum_stream, count_stream};
        result.stat_sum = sums, result.stat_count = counts, result.stat_level = levels;
    }
    int32_t main(Probe& d) { return d.KevrMain(p, s, c, r); }
};

TEST(KevrMain, RefusesWhatItCannotHoldAndWritesNothing) {
    const std::function<void(Records&)> faults[] = {
        [](Records& r) { r.param.row_num = -1; },        [](Records& r) { r.param.row_num = 257; },
        [](Records& r) { r.param.ratio_index = -1; },    [](Records& r) { r.param.ratio_index = 3; },
        [](Records& r) { r.param.start_time = nullptr; }, [](Records& r) { r.stat.sum_stream = nullptr; },
        [](Records& r) { r.stat.count_stream = nullptr; }, [](Records& r) { r.result.stat_sum = nullptr; },
        [](Records& r) { r.result.stat_count = nullptr; }, [](Records& r) { r.result.stat_level = nullptr; },
        [](Records& r) { r.p = nullptr; }, [](Records& r) { r.s = nullptr; }, [](Records& r) { r.c = nullptr; },
        [](Records& r) { r.r = nullptr; },
    };
    auto d = std::make_unique<Probe>(), detector_before = std::make_unique<Probe>();
    for (const auto& fault : faults) {
        auto run = std::make_unique<Records>(), run_before = std::make_unique<Records>();
        fault(*run);
        std::memcpy(static_cast<void*>(run_before.get()), run.get(), sizeof(Records));
        std::memcpy(static_cast<void*>(detector_before.get()), d.get(), sizeof(Probe));
        EXPECT_EQ(KEVRA_STATUS_INVALID_ARGUMENT, run->main(*d)) << "fault " << &fault - faults;
        EXPECT_EQ(0, std::memcmp(run_before.get(), run.get(), sizeof(Records))) << "fault " << &fault - faults;
        EXPECT_EQ(0, std::memcmp(detector_before.get(), d.get(), sizeof(Probe))) << "fault " << &fault - faults;
    }
}

// The zone weights are reset (the plain mode leaves them as reset), the caller's buffers
// recorded before parsing; with no rows they may be null.
TEST(KevrMain, AcceptedRunsResetTheWeightsAndRecordTheCallerBuffers) {
    for (int rows : {0, 4}) {
        auto run = std::make_unique<Records>();
        auto d = std::make_unique<Probe>();
        run->param.row_num = rows;
        run->param.ratio_table[0] = 2.0f, run->param.ratio_table[1] = 5.0f;
        run->config.weight_enable = 0;
        if (rows == 0) run->stat = {}, run->result.stat_sum = nullptr, run->result.stat_count = nullptr;
        std::memset(d->zone_weight, 0x5A, sizeof d->zone_weight);
        std::memset(d->zone_weight_base, 0x5A, sizeof d->zone_weight_base);
        ASSERT_EQ(KEVRA_STATUS_OK, run->main(*d));
        EXPECT_TRUE(d->stat_sum == run->result.stat_sum && d->stat_count == run->result.stat_count &&
                    d->stat_level == run->result.stat_level);
        EXPECT_EQ(rows ? 0x00A5A5A5u : 0xA5A5A5A5u, run->sums[0]);
        EXPECT_EQ(2.5f, d->frame_ratio);
        for (int z = 0; z < 6; ++z) EXPECT_TRUE(d->zone_weight[z] == 1.0f && d->zone_weight_base[z] == 0.0f) << z;
    }
}

// Whole runs recover the ripple 1000 (1 + d cos(rate t + 0.7)), scaled to 1 (1 + d cos(...)):
// the model with A1 = d and 4w (t + E/2 + phi1) + pi = rate t + 0.7. The fit from the same
// row levels with each backend gives the same bits in every result field. The design
// columns are written to the end of the last block of eight rows, and no further.
TEST(KevrMainFit, RecoversTheRippleAlikeOnEveryBackendAndWritesWholeBlocks) {
    const struct {
        int rows, mains;
        double depth;
    } cases[] = {{97, 50, 0.05}, {161, 60, 0.2}, {250, 60, 0.02}, {256, 50, 0.1}};
    for (const auto& c : cases) {
        auto run = std::make_unique<FlickerRun>(c.rows, c.mains, c.depth, 11);
        auto d = std::make_unique<Probe>();
        std::fill_n(&d->design[0][0], 8 * 256, 12345.0f);
        ASSERT_EQ(0, d->KevrMain(&run->param, &run->stat, &run->config, &run->result));
        for (int k = 0; k < 8 * 256; ++k)
            ASSERT_EQ(k % 256 < (c.rows + 7) / 8 * 8, d->design[k / 256][k % 256] != 12345.0f) << c.rows << ", " << k;
        const double w = M_PI * c.mains * 1e-6, period = 1e6 / (2.0 * c.mains);
        const double phase = (0.7 - M_PI - 2.0 * w * run->param.exposure_time) / (4.0 * w);
        for (int ch = 0; ch < 4; ++ch) {
            EXPECT_NEAR(c.depth, run->result.amplitude1[ch], 0.02 * c.depth) << c.rows << " rows, channel " << ch;
            EXPECT_NEAR(1.0, run->result.offset[ch], 1e-3) << c.rows << " rows, channel " << ch;
            EXPECT_LT(std::fabs(std::remainder(run->result.phase1[ch] - phase, period)), 0.005 * period);
        }
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            const kevra::FitState f = kevra_test::fit_on_probe<V>(*d, run->param, run->config);
            float got[28];  // offset, amplitude1..3, phase1..3, each by channel, as in the result
            for (int ch = 0; ch < 4; ++ch) {
                const kevra::ChannelParams& p = f.channel[ch];
                const float fields[7] = {p.offset, p.amplitude[0], p.amplitude[1], p.amplitude[2],
                                         p.phase[0], p.phase[1], p.phase[2]};
                for (int k = 0; k < 7; ++k) got[4 * k + ch] = fields[k];
            }
            float want[28];
            std::memcpy(want, &run->result, sizeof want);
            EXPECT_SAME_BITS(want, got, 28) << V::name << ", rows " << c.rows;
            EXPECT_SAME_BITS(run->param.fit_iterations, f.iterations, 4) << V::name << ", rows " << c.rows;
        });
    }
}

// Every fit field, flicker_detected and fit_iterations are written, also when the fits
// are skipped; the reserved spans keep their bytes. Skipped fits leave the model range
// at 0 - 10 = -10: below a T0 of -9.99 nothing is detected; with T0 = -10 the range lies
// in the first band, whose share 0 every nonzero counter exceeds.
TEST(KevrMainFit, OverwritesTheResultAndNothingElse) {
    const struct {
        int exponent;
        float t0;
        uint32_t want;  // 2: not settled here
    } cases[] = {{8, 0.01f, 2}, {-3, -9.99f, 0}, {-3, -10.0f, 1}};
    for (const auto& c : cases) {
        auto run = std::make_unique<FlickerRun>(64, 50, 0.0, 3);
        run->config.convergence_exponent = c.exponent;
        run->config.range_threshold[0] = c.t0;
        run->config.detect_ratio[0] = 0.0f;
        std::memset(&run->result, 0xA5, offsetof(kevra_fitting_result, stat_level));
        std::memset(run->param.fit_iterations, 0xA5, sizeof run->param.fit_iterations);
        std::memset(run->param.reserved_0x24, 0x3C, sizeof run->param.reserved_0x24);
        auto d = std::make_unique<Probe>();
        ASSERT_EQ(0, d->KevrMain(&run->param, &run->stat, &run->config, &run->result));
        uint32_t fields[28];  // offset, amplitude1..3, phase1..3
        std::memcpy(fields, &run->result, sizeof fields);
        for (int k = 0; k < 28; ++k) EXPECT_NE(0xA5A5A5A5u, fields[k]) << "field " << k;
        EXPECT_EQ(c.want == 2 ? run->result.flicker_detected & 1 : c.want, run->result.flicker_detected);
        for (uint8_t b : run->result.reserved_0x74) EXPECT_EQ(0xA5, b);
        for (uint8_t b : run->param.reserved_0x24) EXPECT_EQ(0x3C, b);
        for (int ch = 0; ch < 4; ++ch) EXPECT_EQ(c.exponent > 0, run->param.fit_iterations[ch] > 0) << ch;
    }
}

}  // namespace
