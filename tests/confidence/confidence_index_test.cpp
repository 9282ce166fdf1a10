// ConfidenceIndex as a caller sees it, and its per-call constants.
#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <vector>

#include "confidence/confidence_constants.h"
#include "support/bits.h"
#include "support/probe.h"

namespace {

using kevra_test::from_bits;
using kevra_test::SameBits;
using Debug = kevra_confidence_idx_debug_output;

// Offset 100, amplitude1 10, margin 2, weight norm 1 x 2 and every angle 0:
// model 90, band (88, 102). Levels are the missing-sample marker until set.
struct Call {
    kevra_confidence_idx_input input{{}, {}, 0.0f, 1, 1, 16, 0, 2, 2.0f};
    kevra_fitting_result result{};
    std::vector<float> level = std::vector<float>(24 * 7, -32768.0f);
    std::vector<uint32_t> sum = std::vector<uint32_t>(24 * 7, 2);
    Call() {
        result.offset[1] = 100.0f, result.amplitude1[1] = 10.0f, result.flicker_detected = 1;
        result.stat_level = level.data(), result.stat_sum = sum.data();
    }
    void set(int row, int zone, float x, uint32_t s = 2) {
        level[size_t(row * 24 + 6 + zone)] = x;
        sum[size_t(row * 24 + 6 + zone)] = s;
    }
};

// Row 0 of the worked example: e = {0, 1, 25, 30.25, 0, 0}; 102 and 87 lie outside.
void worked_row(Call& c) {
    const float x[] = {90, 91, 95, 101, 102, 87};
    const uint32_t s[] = {1, 2, 4, 1, 1, 1};
    for (int z = 0; z < 6; ++z) c.set(0, z, x[z], s[z]);
}

// Debug records: valid, peak_row, peak_zone, mean_zone, peak_error, mean_error.
TEST(ConfidenceIndex, WritesHandComputedResults) {
    const struct { const char* what; int32_t rows; void (*setup)(Call&); Debug debug; float index; } cases[] = {
        {"worked example", 1, worked_row, {1, 1, 0, 3, 3, 30.25f, 30.25f}, 12100000.0f},
        // The limits cross: the band is (98, 102) around the model 110.
        {"negative amplitude1", 1, [](Call& c) { worked_row(c); c.result.amplitude1[1] = -10.0f; },
         {1, 1, 0, 3, 3, 20.25f, 20.25f}, 0.0f},
        {"negative amplitude1 without rows", INT_MIN, [](Call& c) { c.result.amplitude1[1] = -10.0f; },
         {1, 1, -1, 0, 0, 0.0f, 0.0f}, -0.0f},
        // Q10 0: model 100, band (98, 102); the payload travels, quieted.
        {"NaN amplitude1", 1, [](Call& c) { worked_row(c); c.result.amplitude1[1] = from_bits(0xFF800123u); },
         {1, 1, 0, 3, 3, 0.25f, 0.25f}, from_bits(0xFFC00123u)},
        {"levels on the limits", 1, [](Call& c) { c.set(0, 0, 88.0f); c.set(0, 1, 102.0f); },
         {1, 1, 0, 0, 0, 0.0f, 0.0f}, 0.0f},
        // e = 9 at row 1 stays in the five-row windows up to row 5; zone 1's mean 6.25 beats zone 4's 5.
        {"window", 7, [](Call& c) { c.set(1, 4, 93.0f); c.set(6, 4, 91.0f); c.set(3, 1, 92.5f); },
         {1, 1, 5, 4, 1, 9.0f, 6.25f}, 3600000.0f},
        // A zero norm weighs a zero sum NaN: zone 0's mean and peak are NaN, as are the
        // means of zones without inside levels. Zone 2 wins, tied by zone 4; its
        // e = (92.1 - 90)^2 tells peak x (mean x 100) from (peak x mean) x 100.
        {"NaN weight", 1, [](Call& c) { c.input.sum_norm_b = c.result.flicker_detected = 0; c.set(0, 0, 91.0f, 0);
                                        c.set(0, 2, 92.1f, 7); c.set(0, 4, 92.1f, 7); },
         {1, 1, 0, 2, 2, 0x1.1a3d56p+2f, 0x1.1a3d56p+2f}, 0x1.72f126p+29f},
    };
    auto detector = std::make_unique<kevra_test::Probe>();
    for (const auto& k : cases) {
        Call c;
        c.input.row_num = k.rows;
        k.setup(c);
        kevra_confidence_idx_output output{};
        Debug debug{1, -1, 9, 9, 9, -1.0f, -1.0f};
        ASSERT_EQ(detector->ConfidenceIndex(&c.input, &c.result, &output, &debug), KEVRA_STATUS_OK) << k.what;
        const float both[2] = {k.index, k.index};
        EXPECT_TRUE(SameBits(both, output.confidence_idx, 2)) << k.what;
        EXPECT_TRUE(SameBits(&k.debug.enable, &debug.enable, 5) && SameBits(&k.debug.peak_error, &debug.peak_error, 2))
            << k.what;
    }
}

// Harmonic 0 is not a number; harmonic 1 rounds its step and reduces its phase
// below zero toward zero; harmonic 2 rounds its phase product. The offset's Q10
// 2147482624 plus amp_1 wraps.
TEST(ConfidenceConstants, RoundInFloatTruncateTowardZeroSaturateAndWrap) {
    // Offset -365.3 degrees: -678.4 units.
    const kevra_confidence_idx_input in{{0.0f, -365.3f, -260.0f}, {__builtin_inff(), 0x1.df9428p+3f, 0x1.49601ep+0f},
                                        0x1.94e84ep+4f, 0, 65536, -7, -9, 65537, 2.0f};
    // Harmonic 2's rate x phase rounds up before -260 is added: 105 when fused.
    kevra_fitting_result fit{};
    fit.offset[1] = 2097151.0f, fit.amplitude1[1] = 10.0f, fit.amplitude2[1] = 1e10f;
    fit.amplitude3[1] = -__builtin_inff(), fit.phase3[1] = 0x1.957234p+7f;
    const kevra::ConfidenceConstants k = kevra::confidence_constants(in, fit);
    // line_time x rate rounds up onto a step boundary: 39459 when kept exact.
    const int32_t ints[] = {k.step[0], k.phase[0], k.step[1], k.phase[1], k.phase[2],
                            k.off,     k.amp[1],   k.amp[2],  k.y_step,   k.y0};
    const int32_t want_ints[] = {0, 0, 39460, -678, 106, 2147482624, INT_MAX, INT_MIN, -3, -4};
    EXPECT_TRUE(SameBits(want_ints, ints, 10));
    // The norm 65536 x 65537 wraps to 65536.
    const float floats[] = {k.lo_min, k.hi_max, k.inv_norm};
    const float want_floats[] = {2097139.0f, -2097141.0f, 1.0f / 65536.0f};
    EXPECT_TRUE(SameBits(want_floats, floats, 3));
    fit.amplitude1[1] = -10.0f;  // now off - amp_1 wraps
    EXPECT_TRUE(SameBits(-2097145.0f, kevra::confidence_constants(in, fit).lo_min));
}

}  // namespace
