// The run entry at the limits of what it can hold. The fuzz corpus replays a refusal of
// every null record and buffer and of row counts past either end; here the indices'
// limits, both ways, and the buffers a run without rows does without.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>

#include "support/flicker_run.h"
#include "support/probe.h"

namespace {

using kevra_test::FlickerRun;

// A refusal leaves the records, the streams, the buffers and the detector, which holds the
// state of the runs before it, as they were.
TEST(KevrMain, RefusesIndicesPastTheirLimitsAndWritesNothing) {
    const struct {
        int32_t status;
        std::function<void(FlickerRun&)> change;
    } cases[] = {
        {KEVRA_STATUS_OK, [](FlickerRun& r) { r.param.ratio_index = 2, r.param.ratio_table[3] = 1.0f; }},
        {KEVRA_STATUS_INVALID_ARGUMENT, [](FlickerRun& r) { r.param.row_num = 257; }},
        {KEVRA_STATUS_INVALID_ARGUMENT, [](FlickerRun& r) { r.param.ratio_index = -1; }},
        {KEVRA_STATUS_INVALID_ARGUMENT, [](FlickerRun& r) { r.param.ratio_index = 3; }},
        {KEVRA_STATUS_INVALID_ARGUMENT, [](FlickerRun& r) { r.param.start_time = nullptr; }},
        {KEVRA_STATUS_OK, [](FlickerRun& r) { r.param.row_num = 0, r.stat = {}, r.result = {}; }},
    };
    auto d = std::make_unique<kevra_test::Probe>(), d_before = std::make_unique<kevra_test::Probe>();
    // Byte copies of the whole detector, vtable pointer included (both are Probes).
    const void* state = d.get();
    void* state_before = d_before.get();
    for (const auto& c : cases) {
        auto run = std::make_unique<FlickerRun>(256, 50, 0.1, 1), run_before = std::make_unique<FlickerRun>(*run);
        c.change(*run);
        std::memcpy(static_cast<void*>(run_before.get()), run.get(), sizeof(FlickerRun));
        std::memcpy(state_before, state, sizeof(kevra_test::Probe));
        ASSERT_EQ(c.status, d->KevrMain(&run->param, &run->stat, &run->config, &run->result)) << &c - cases;
        if (c.status == KEVRA_STATUS_OK) continue;
        EXPECT_EQ(0, std::memcmp(run_before.get(), run.get(), sizeof(FlickerRun))) << &c - cases;
        EXPECT_EQ(0, std::memcmp(state_before, state, sizeof(kevra_test::Probe))) << &c - cases;
    }
}

}  // namespace
