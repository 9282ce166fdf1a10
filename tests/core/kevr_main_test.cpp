// The run entry: refusals that write nothing, and the reset and pointer copies
// that every accepted run performs first.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "support/probe.h"

namespace {

constexpr unsigned char kCanary = 0xA5;

// A run's records and buffers, every byte preset to a canary so that any write shows.
struct RunRecords {
    kevra_parameter param;
    kevra_statistic stat;
    kevra_config config;
    kevra_fitting_result result;
    float start_time;
    std::vector<uint32_t> sum_stream, count_stream, sums, counts;
    std::vector<float> levels;

    explicit RunRecords(int rows) {
        std::memset(&param, kCanary, sizeof param);
        std::memset(&stat, kCanary, sizeof stat);
        std::memset(&config, kCanary, sizeof config);
        std::memset(&result, kCanary, sizeof result);
        const size_t n = 24 * static_cast<size_t>(rows > 0 ? rows : 1);
        sum_stream.assign(n, 0x00000100u);
        count_stream.assign(n, 0x00000001u);
        sums.assign(n, 0xA5A5A5A5u);
        counts.assign(n, 0xA5A5A5A5u);
        levels.assign(n, -1234.5f);
        start_time = 0.0f;
        param.row_num = rows;
        param.ratio_index = 0;
        param.start_time = &start_time;
        stat.sum_stream = sum_stream.data();
        stat.count_stream = count_stream.data();
        result.stat_sum = sums.data();
        result.stat_count = counts.data();
        result.stat_level = levels.data();
    }
};

struct Snapshot {
    std::vector<unsigned char> bytes;
    template <class T>
    void add(const T* p, size_t n = 1) {
        const auto* b = reinterpret_cast<const unsigned char*>(p);
        bytes.insert(bytes.end(), b, b + n * sizeof(T));
    }
};

Snapshot snapshot(const RunRecords& r, const kevra_test::Probe& d) {
    Snapshot s;
    s.add(&r.param);
    s.add(&r.stat);
    s.add(&r.config);
    s.add(&r.result);
    s.add(r.sums.data(), r.sums.size());
    s.add(r.counts.data(), r.counts.size());
    s.add(r.levels.data(), r.levels.size());
    s.add(&d);
    return s;
}

TEST(KevrMain, RefusesWhatItCannotHoldAndWritesNothing) {
    const std::vector<std::pair<const char*, std::function<void(RunRecords&)>>> faults = {
        {"row_num -1", [](RunRecords& r) { r.param.row_num = -1; }},
        {"row_num 257", [](RunRecords& r) { r.param.row_num = 257; }},
        {"ratio_index -1", [](RunRecords& r) { r.param.ratio_index = -1; }},
        {"ratio_index 3", [](RunRecords& r) { r.param.ratio_index = 3; }},
        {"null start_time", [](RunRecords& r) { r.param.start_time = nullptr; }},
        {"null sum stream", [](RunRecords& r) { r.stat.sum_stream = nullptr; }},
        {"null count stream", [](RunRecords& r) { r.stat.count_stream = nullptr; }},
        {"null stat_sum", [](RunRecords& r) { r.result.stat_sum = nullptr; }},
        {"null stat_count", [](RunRecords& r) { r.result.stat_count = nullptr; }},
        {"null stat_level", [](RunRecords& r) { r.result.stat_level = nullptr; }},
    };
    auto d = std::make_unique<kevra_test::Probe>();
    for (const auto& fault : faults) {
        RunRecords r(8);
        fault.second(r);
        const Snapshot before = snapshot(r, *d);
        EXPECT_EQ(d->KevrMain(&r.param, &r.stat, &r.config, &r.result), KEVRA_STATUS_INVALID_ARGUMENT) << fault.first;
        EXPECT_TRUE(before.bytes == snapshot(r, *d).bytes) << fault.first << ": something was written";
    }
    RunRecords r(8);
    const Snapshot before = snapshot(r, *d);
    EXPECT_EQ(d->KevrMain(nullptr, &r.stat, &r.config, &r.result), KEVRA_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(d->KevrMain(&r.param, nullptr, &r.config, &r.result), KEVRA_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(d->KevrMain(&r.param, &r.stat, nullptr, &r.result), KEVRA_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(d->KevrMain(&r.param, &r.stat, &r.config, nullptr), KEVRA_STATUS_INVALID_ARGUMENT);
    EXPECT_TRUE(before.bytes == snapshot(r, *d).bytes);
}

TEST(KevrMain, ZeroRowsIsAValidRunWithoutBuffers) {
    auto d = std::make_unique<kevra_test::Probe>();
    RunRecords r(0);
    r.result.stat_sum = nullptr;
    r.result.stat_count = nullptr;
    r.result.stat_level = nullptr;
    r.stat.sum_stream = nullptr;
    r.stat.count_stream = nullptr;
    EXPECT_EQ(d->KevrMain(&r.param, &r.stat, &r.config, &r.result), KEVRA_STATUS_OK);
    EXPECT_EQ(d->stat_sum, nullptr);
    EXPECT_EQ(d->stat_level, nullptr);
}

TEST(KevrMain, ResetsPerRunStateAndRecordsTheCallerBuffers) {
    auto d = std::make_unique<kevra_test::Probe>();
    EXPECT_EQ(d->stat_sum, nullptr);
    EXPECT_EQ(d->stat_count, nullptr);
    EXPECT_EQ(d->stat_level, nullptr);
    EXPECT_EQ(d->frame_ratio, 0.0f);
    RunRecords r(4);
    r.param.ratio_table[0] = 1.0f;
    r.param.ratio_table[1] = 1.0f;
    std::memset(d->zone_weight_base, 0x5A, sizeof d->zone_weight_base);
    ASSERT_EQ(d->KevrMain(&r.param, &r.stat, &r.config, &r.result), KEVRA_STATUS_OK);
    EXPECT_EQ(d->stat_sum, r.sums.data());
    EXPECT_EQ(d->stat_count, r.counts.data());
    EXPECT_EQ(d->stat_level, r.levels.data());
    EXPECT_EQ(r.sums[0], 0x100u);
    EXPECT_EQ(r.counts[0], 1u);
    EXPECT_EQ(d->frame_ratio, 1.0f);
    for (int z = 0; z < 6; ++z) {
        // Plain mode leaves the reset weights alone; the base is only written by computed weights.
        EXPECT_EQ(d->zone_weight[z], 1.0f);
        EXPECT_EQ(d->zone_weight_base[z], 0.0f);
    }
}

}  // namespace
