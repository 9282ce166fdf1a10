#include "core/detection_decision.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/bits.h"

namespace {

const float kThresholds[5] = {0.01f, 0.02f, 0.04f, 0.08f, 0.16f};
const float kRatios[5] = {0.9f, 0.7f, 0.5f, 0.3f, 0.1f};

uint32_t decide(float model_range, uint32_t count_max, int row_num, const float* thresholds = kThresholds,
                int zone = 3) {
    uint32_t counts[6] = {1, 0, 2, 0, 1, 0};
    counts[zone] = count_max;
    return kevra::detection_decision(model_range, counts, thresholds, kRatios, row_num);
}

TEST(DetectionDecision, BandsAndShares) {
    const struct {
        float range;
        uint32_t count_max;
        int row_num;
        uint32_t want;
    } cases[] = {
        {0.05f, 31, 100, 0},      // band T2..T3: ceil(50) = 50 is not below 31
        {0.05f, 51, 100, 1},
        {0.05f, 50, 100, 0},      // not strictly below
        {0.02f, 70, 100, 0},      // range == T1 selects R1 = 0.7: ceil(70) vs 70
        {0.02f, 71, 100, 1},
        {0.0199999f, 71, 100, 0},  // just below T1: R0 = 0.9
        {0.009f, 1000, 100, 0},   // below T0: never flicker
        {-10.0f, 1000, 100, 0},   // channel 1 never iterated
        {0.16f, 11, 100, 1},      // range == T4: R4 = 0.1, 0.1f * 100 rounds to 10
        {0.16f, 10, 100, 0},
        {1e30f, 12, 100, 1},
        {0.09f, 31, 101, 0},      // R3: 0.3 * 101 = 30.3 rounds up to 31
        {0.09f, 32, 101, 1},
        {NAN, 0, 100, 1},         // a NaN range is flicker whatever the counters
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.want, decide(c.range, c.count_max, c.row_num)) << c.range << " " << c.count_max;
    }
}

TEST(DetectionDecision, ZeroCountsNeverFlickerInABand) {
    const uint32_t zero[6] = {};
    for (const float range : {0.01f, 0.03f, 0.05f, 0.1f, 1e9f}) {
        for (const int row_num : {0, 1, 256}) {
            EXPECT_EQ(0u, kevra::detection_decision(range, zero, kThresholds, kRatios, row_num));
        }
    }
}

TEST(DetectionDecision, CountsCompareUnsigned) {
    EXPECT_EQ(1u, decide(0.05f, 0x80000000u, 100, kThresholds, 0));
    EXPECT_EQ(1u, decide(0.05f, 0xFFFFFFFFu, 100, kThresholds, 5));
}

// Bands are tested with both limits. Past T0, falling out of every band means
// lying above T4 unless a threshold is NaN; then a range below T4 is flicker.
TEST(DetectionDecision, RangeInNoBandBelowTheTopIsFlicker) {
    const float t[5] = {0.01f, NAN, 0.5f, 0.6f, 0.7f};
    EXPECT_EQ(1u, decide(0.2f, 0, 100, t));   // no band holds it, and 0.2 < T4
    EXPECT_EQ(0u, decide(0.55f, 50, 100, t));  // T2..T3: R2 = 0.5
    EXPECT_EQ(0u, decide(0.8f, 10, 100, t));   // >= T4: R4 = 0.1, ceil(10) is not below 10
}

}  // namespace
