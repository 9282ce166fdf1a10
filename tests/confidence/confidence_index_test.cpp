// ConfidenceIndex as a caller sees it: the worked example, the band, the
// weights, the reductions with their tie and NaN rules, the debug record and
// the refusals.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <vector>

#include "confidence/confidence_fixtures.h"
#include "kevra.h"
#include "support/bits.h"

namespace {

using kevra_test::bits;
using kevra_test::from_bits;
using kevra_test::SameBits;

// The worked example with its row 0, levels {90, 91, 95, 101, 102, 87} and
// sums {1, 2, 4, 1, 1, 1}; further rows hold the missing-sample marker.
struct Call {
    kevra_test::Detector detector = kevra_test::make_detector();
    kevra_confidence_idx_input input{};
    kevra_fitting_result result{};
    kevra_confidence_idx_output output{};
    kevra_confidence_idx_debug_output debug{};
    std::vector<float> level;
    std::vector<uint32_t> sum;

    explicit Call(int32_t rows = 1) : level(24 * (rows > 0 ? rows : 1), -32767.0f), sum(level.size(), 1) {
        kevra_test::set_worked_example(&input, &result);
        input.row_num = rows;
        result.flicker_detected = 1;
        result.stat_level = level.data();
        result.stat_sum = sum.data();
        const float x[6] = {90, 91, 95, 101, 102, 87};
        const uint32_t s[6] = {1, 2, 4, 1, 1, 1};
        for (int z = 0; z < 6; ++z) set(0, z, x[z], s[z]);
        std::memset(&debug, 0x5A, sizeof debug);
        debug.enable = 1;
        output.confidence_idx[0] = output.confidence_idx[1] = -1.0f;
    }
    void set(int32_t row, int zone, float x, uint32_t s) {
        level[row * 24 + 6 + zone] = x;
        sum[row * 24 + 6 + zone] = s;
    }
    void clear_row(int32_t row) {
        for (int z = 0; z < 6; ++z) set(row, z, -32767.0f, 1);
    }
    int32_t run() { return detector->ConfidenceIndex(&input, &result, &output, &debug); }
};

::testing::AssertionResult IndexIs(const Call& c, float want) {
    const float both[2] = {want, want};
    return SameBits(both, c.output.confidence_idx, 2);
}

void expect_debug(const Call& c, int32_t peak_row, int32_t peak_zone, int32_t mean_zone, float peak_error,
                  float mean_error) {
    const int32_t want_ints[] = {1, peak_row, peak_zone, mean_zone};
    const int32_t got_ints[] = {c.debug.valid, c.debug.peak_row, c.debug.peak_zone, c.debug.mean_zone};
    EXPECT_TRUE(SameBits(want_ints, got_ints, 4));
    EXPECT_TRUE(SameBits(peak_error, c.debug.peak_error));
    EXPECT_TRUE(SameBits(mean_error, c.debug.mean_error));
}

TEST(ConfidenceIndex, WorkedExampleScoresByTheFlickerDecision) {
    for (uint32_t detected : {1u, 0u}) {
        Call c;
        c.result.flicker_detected = detected;
        ASSERT_EQ(c.run(), KEVRA_STATUS_OK);
        EXPECT_TRUE(IndexIs(c, detected != 0 ? 12100000.0f : 36602499072.0f)) << "flicker_detected " << detected;
        expect_debug(c, 0, 3, 3, 30.25f, 30.25f);
    }
}

// Rows 0 and 1 sit at 144 and 288 degrees of harmonic 1 (line pairs 8 and 16
// at 18 degrees per pair): cosines -826 and 316, models 108.06640625 and
// 96.9140625. Zone 0 of row 0 lies 1 above its model, zone 1 of row 1 lies 2 above.
TEST(ConfidenceIndex, ModelFollowsTheRowsPhase) {
    Call c(2);
    c.clear_row(0);
    c.input.line_time = 10.0f;
    c.input.angle_rate[0] = 0.9f;
    c.input.line_offset = 17;
    c.set(0, 0, 109.06640625f, 2);
    c.set(1, 1, 98.9140625f, 2);
    ASSERT_EQ(c.run(), KEVRA_STATUS_OK);
    expect_debug(c, 1, 1, 1, 4.0f, 4.0f);
}

// The band is (88, 102) around the model 90, clamped around a model moved by
// amplitude2, and offset +/- margin, (98, 102), when amplitude1 is negative
// (model 110). Levels on a limit are outside.
TEST(ConfidenceIndex, CountsOnlyLevelsStrictlyInsideTheClampedBand) {
    const struct { float amplitude1, amplitude2, x, e; } cases[] = {
        {10, 0, 88, 0},          {10, 0, 88.5f, 2.25f},     {10, 0, 101.5f, 132.25f},  {10, 0, 102, 0},
        {10, 5, 88, 0},          {10, 5, 88.5f, 12.25f},    {10, 5, 101.5f, 272.25f},  {10, 5, 102, 0},
        {10, -20, 98, 0},        {10, -20, 98.5f, 132.25f}, {10, -20, 111.5f, 2.25f},  {10, -20, 112, 0},
        {-10, 0, 98, 0},         {-10, 0, 99, 121},         {-10, 0, 101.5f, 72.25f},  {-10, 0, 102, 0},
    };
    for (const auto& k : cases) {
        Call c;
        c.clear_row(0);
        c.set(0, 0, k.x, 2);
        c.result.amplitude1[1] = k.amplitude1;
        c.result.amplitude2[1] = k.amplitude2;
        ASSERT_EQ(c.run(), KEVRA_STATUS_OK);
        EXPECT_TRUE(SameBits(k.e, c.debug.peak_error))
            << "amplitudes " << k.amplitude1 << ", " << k.amplitude2 << ", level " << k.x;
    }
}

// A level 1 above the model, so that e is the weight itself.
TEST(ConfidenceIndex, WeightIsTheSquaredScaledUnsignedSumUpToOne) {
    const struct { int32_t norm_a, norm_b; uint32_t s; float w; } cases[] = {
        {1, 2, 0, 0.0f},          {1, 2, 1, 0.25f},  {1, 2, 2, 1.0f},   {1, 2, 3, 1.0f},
        {32768, 32768, 0xFFFFFFFFu, 1.0f},  // 2^32 x 2^-30, squared, clamped
        {0, 2, 5, 1.0f},                    // a zero norm weighs every nonzero sum 1
    };
    for (const auto& k : cases) {
        Call c;
        c.clear_row(0);
        c.set(0, 0, 91.0f, k.s);
        c.input.sum_norm_a = k.norm_a;
        c.input.sum_norm_b = k.norm_b;
        ASSERT_EQ(c.run(), KEVRA_STATUS_OK);
        EXPECT_TRUE(SameBits(k.w, c.debug.peak_error)) << "norm " << k.norm_a << " x " << k.norm_b << ", sum " << k.s;
    }
}

TEST(ConfidenceIndex, EqualZonesKeepTheLowerOne) {
    const struct { int first, second; } cases[] = {{1, 4}, {0, 5}, {2, 3}};
    for (const auto& k : cases) {
        Call c;
        c.clear_row(0);
        c.set(0, k.first, 93.0f, 2);
        c.set(0, k.second, 93.0f, 2);
        ASSERT_EQ(c.run(), KEVRA_STATUS_OK);
        expect_debug(c, 0, k.first, k.first, 9.0f, 9.0f);
    }
}

TEST(ConfidenceIndex, LevelsAllOutsideGiveZeroAndTheLastRow) {
    Call c(7);
    c.clear_row(0);
    ASSERT_EQ(c.run(), KEVRA_STATUS_OK);
    EXPECT_TRUE(IndexIs(c, 0.0f));
    expect_debug(c, 6, 0, 0, 0.0f, 0.0f);
}

// With a zero norm a zero sum weighs NaN: zone 0's sum and peak are NaN, zone
// 1 never lies inside (a NaN mean). Neither may win over zone 2, whose e
// (92.1 - 90)^2 also tells peak x (mean x 100) from (peak x mean) x 100.
TEST(ConfidenceIndex, NaNMeansAndPeaksAreNeverChosen) {
    Call c;
    c.clear_row(0);
    c.input.sum_norm_b = 0;
    c.result.flicker_detected = 0;
    c.set(0, 0, 91.0f, 0);
    c.set(0, 2, 92.1f, 7);
    ASSERT_EQ(c.run(), KEVRA_STATUS_OK);
    expect_debug(c, 0, 2, 2, 0x1.1a3d56p+2f, 0x1.1a3d56p+2f);
    EXPECT_TRUE(IndexIs(c, 0x1.72f126p+29f));
}

TEST(ConfidenceIndex, NoRowsGiveAnEmptyDebugRecordAndIndexZero) {
    for (int32_t rows : {0, -1, INT_MIN}) {
        Call c(rows);
        c.result.stat_level = nullptr;
        c.result.stat_sum = nullptr;
        ASSERT_EQ(c.run(), KEVRA_STATUS_OK) << rows;
        EXPECT_TRUE(IndexIs(c, 0.0f)) << rows;
        expect_debug(c, -1, 0, 0, 0.0f, 0.0f);
    }
}

// Raising only values below zero keeps -0.0; a NaN amplitude travels quieted
// with its payload, and inf x 0 is a NaN (whose sign is the machine's default).
TEST(ConfidenceIndex, IndexIsNeverBelowZeroAndNaNsStayNaN) {
    const struct { uint32_t amplitude; int32_t rows; uint32_t want; } cases[] = {
        {0xC1200000u, 1, 0x00000000u},  // -10 x 30.25
        {0xC1200000u, 0, 0x80000000u},  // -10 x 0
        {0xFFC00123u, 1, 0xFFC00123u},
        {0x7F800001u, 1, 0x7FC00001u},
    };
    for (const auto& k : cases) {
        Call c(k.rows);
        c.result.amplitude1[1] = from_bits(k.amplitude);
        ASSERT_EQ(c.run(), KEVRA_STATUS_OK);
        EXPECT_TRUE(IndexIs(c, from_bits(k.want))) << std::hex << "amplitude 0x" << k.amplitude;
    }
    for (uint32_t infinite : {0x7F800000u, 0xFF800000u}) {
        Call c(0);
        c.result.amplitude1[1] = from_bits(infinite);
        ASSERT_EQ(c.run(), KEVRA_STATUS_OK);
        EXPECT_TRUE(std::isnan(c.output.confidence_idx[0]));
        EXPECT_EQ(bits(c.output.confidence_idx[0]), bits(c.output.confidence_idx[1]));
    }
}

TEST(ConfidenceIndex, DisabledOrMissingDebugRecordIsNotWritten) {
    Call c;
    c.debug.enable = 0;
    const kevra_confidence_idx_debug_output before = c.debug;
    ASSERT_EQ(c.run(), KEVRA_STATUS_OK);
    EXPECT_EQ(std::memcmp(&before, &c.debug, sizeof before), 0);
    EXPECT_TRUE(IndexIs(c, 12100000.0f));

    Call quiet;
    ASSERT_EQ(quiet.detector->ConfidenceIndex(&quiet.input, &quiet.result, &quiet.output, nullptr), KEVRA_STATUS_OK);
    EXPECT_TRUE(IndexIs(quiet, 12100000.0f));
}

TEST(ConfidenceIndex, RefusesMissingRecordsAndBuffersWritingNothing) {
    enum Missing { kInput, kResult, kOutput, kLevel, kSum };
    for (Missing missing : {kInput, kResult, kOutput, kLevel, kSum}) {
        Call c;
        std::memset(&c.output, 0xA5, sizeof c.output);
        const kevra_confidence_idx_input input = c.input;
        const kevra_confidence_idx_output output = c.output;
        const kevra_confidence_idx_debug_output debug = c.debug;
        const std::vector<float> level = c.level;
        const std::vector<uint32_t> sum = c.sum;
        if (missing == kLevel) c.result.stat_level = nullptr;
        if (missing == kSum) c.result.stat_sum = nullptr;
        const kevra_fitting_result result = c.result;
        const int32_t status = c.detector->ConfidenceIndex(missing == kInput ? nullptr : &c.input,
                                                           missing == kResult ? nullptr : &c.result,
                                                           missing == kOutput ? nullptr : &c.output, &c.debug);
        EXPECT_EQ(status, KEVRA_STATUS_INVALID_ARGUMENT) << "missing " << missing;
        EXPECT_EQ(std::memcmp(&input, &c.input, sizeof input), 0);
        EXPECT_EQ(std::memcmp(&result, &c.result, sizeof result), 0);
        EXPECT_EQ(std::memcmp(&output, &c.output, sizeof output), 0);
        EXPECT_EQ(std::memcmp(&debug, &c.debug, sizeof debug), 0);
        EXPECT_TRUE(level == c.level && sum == c.sum);
    }
}

}  // namespace
