// The run entry: refusals that write nothing, and the reset and pointer copies of
// every accepted run.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>

#include "support/probe.h"

namespace {

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
    // Byte copies of the whole detector, vtable pointer included (both are Probes).
    const void* state = d.get();
    void* state_before = detector_before.get();
    for (const auto& fault : faults) {
        auto run = std::make_unique<Records>(), run_before = std::make_unique<Records>();
        fault(*run);
        std::memcpy(static_cast<void*>(run_before.get()), run.get(), sizeof(Records));
        std::memcpy(state_before, state, sizeof(Probe));
        EXPECT_EQ(KEVRA_STATUS_INVALID_ARGUMENT, run->main(*d)) << "fault " << &fault - faults;
        EXPECT_EQ(0, std::memcmp(run_before.get(), run.get(), sizeof(Records))) << "fault " << &fault - faults;
        EXPECT_EQ(0, std::memcmp(state_before, state, sizeof(Probe))) << "fault " << &fault - faults;
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
        if (rows == 0) run->stat = {}, run->result = {};
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

}  // namespace
