#include "core/detection_decision.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

// Thresholds {0.01, 0.02, 0.04, 0.08, 0.16} (or with T1 NaN: bands fall through, and a
// range in none of them but below T4 is flicker), ratios {0.9, 0.7, 0.5, 0.3, 0.1}. The
// largest counter sits in zone i % 6 of case i, half of it in another zone.
TEST(DetectionDecision, BandsHaveInclusiveLowerLimitsAndCountsMustExceedTheRoundedUpShare) {
    const float ratios[5] = {0.9f, 0.7f, 0.5f, 0.3f, 0.1f};
    const float ascending[5] = {0.01f, 0.02f, 0.04f, 0.08f, 0.16f}, nan_t1[5] = {0.01f, NAN, 0.5f, 0.6f, 0.7f};
    const struct {
        float range;
        uint32_t count_max;
        int row_num;
        uint32_t want;
        const float* thresholds;
    } cases[] = {
        {0.05f, 50, 100, 0, ascending}, {0.05f, 51, 100, 1, ascending},  // T2..T3: ceil(50) is not below 50
        {0.02f, 70, 100, 0, ascending}, {0.02f, 71, 100, 1, ascending},  // range == T1 selects R1 = 0.7
        {0.16f, 10, 100, 0, ascending}, {0.16f, 11, 100, 1, ascending},  // == T4: 0.1f * 100 rounds to 10
        {0.09f, 31, 101, 0, ascending},    // R3: 0.3 * 101 = 30.3 rounds up to 31
        {0.009f, 1000, 100, 0, ascending}, // below T0: never flicker
        {NAN, 0, 100, 1, ascending},       // a NaN range is flicker whatever the counters
        {0.03f, 0, 0, 0, ascending},       // a zero counter never exceeds a share
        {0.05f, 0x80000000u, 100, 1, ascending},  // counters compare unsigned
        {0.2f, 0, 100, 1, nan_t1},         // in no band, below T4
        {0.55f, 50, 100, 0, nan_t1},       // T2..T3: R2 = 0.5
        {0.8f, 10, 100, 0, nan_t1},        // >= T4: R4 = 0.1, ceil(10) is not below 10
    };
    for (const auto& c : cases) {
        const size_t i = static_cast<size_t>(&c - cases);
        uint32_t counts[6] = {};
        counts[i % 6] = c.count_max;
        counts[(i + 3) % 6] = c.count_max / 2;
        EXPECT_EQ(c.want, kevra::detection_decision(c.range, counts, c.thresholds, ratios, c.row_num)) << "case " << i;
    }
}

}  // namespace
