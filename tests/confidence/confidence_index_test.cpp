// ConfidenceIndex as a caller sees it, and its per-call constants.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <vector>

#include "confidence/confidence_constants.h"
#include "support/bits.h"
#include "support/probe.h"

namespace {

using kevra_test::from_bits;
using kevra_test::SameBits;
using Debug = kevra_confidence_idx_debug_output;

// The debug record before a call: enabled, with values that no call writes.
constexpr Debug kUntouched{1, -1, 9, 9, 9, -1.0f, -1.0f};

// Offset 100, amplitude1 10, margin 2, weight norm 1 x 2 and every angle 0:
// model 90, band (88, 102). Levels are the missing-sample marker until set;
// without rows the buffers are null, as nothing may be read. A record that is
// not passed goes as a null pointer.
struct Call {
    std::unique_ptr<AppKEVRA> detector = std::make_unique<kevra_test::Probe>();
    kevra_confidence_idx_input input{{}, {}, 0.0f, 1, 1, 16, 0, 2, 2.0f};
    kevra_fitting_result result{};
    kevra_confidence_idx_output output{{-1.0f, -1.0f}};
    Debug debug = kUntouched;
    bool passed[4] = {true, true, true, true};  // input, result, output, debug
    std::vector<float> level;
    std::vector<uint32_t> sum;

    explicit Call(int32_t rows) : level(24 * size_t(std::max(rows, 1)), -32768.0f), sum(level.size(), 2) {
        input.row_num = rows;
        result.offset[1] = 100.0f;
        result.amplitude1[1] = 10.0f;
        result.flicker_detected = 1;
        result.stat_level = rows > 0 ? level.data() : nullptr;
        result.stat_sum = rows > 0 ? sum.data() : nullptr;
    }
    void set(int32_t row, int zone, float x, uint32_t s = 2) {
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

// A zero norm weighs a zero sum NaN: zone 0's mean and peak are NaN, as are the
// means of zones without inside levels. Zone 2 wins, tied by zone 4; its
// e = (92.1 - 90)^2 tells peak x (mean x 100) from (peak x mean) x 100.
void nan_weight_run(Call& c) {
    c.input.sum_norm_b = 0;
    c.result.flicker_detected = 0;
    c.set(0, 0, 91.0f, 0);
    c.set(0, 2, 92.1f, 7);
    c.set(0, 4, 92.1f, 7);
}

// Compares both indices and the debug record as nine words.
::testing::AssertionResult Wrote(const Call& c, float index, const Debug& debug) {
    const float both[2] = {index, index};
    int32_t want[9], got[9];
    std::memcpy(want, both, 8);
    std::memcpy(want + 2, &debug, 28);
    std::memcpy(got, &c.output, 8);
    std::memcpy(got + 2, &c.debug, 28);
    return SameBits(want, got, 9);
}

// Debug records: valid, peak_row, peak_zone, mean_zone, peak_error, mean_error.
// A call without a record it must read or write, or without buffers for its
// rows, is refused and writes nothing (index -1 here); a disabled or missing
// debug record is only left alone.
TEST(ConfidenceIndex, WritesHandComputedResultsAndNothingWhenRefused) {
    const struct { const char* what; int32_t rows; void (*setup)(Call&); Debug debug; float index; } cases[] = {
        {"worked example", 1, worked_row, {1, 1, 0, 3, 3, 30.25f, 30.25f}, 12100000.0f},
        {"worked example without flicker", 1, [](Call& c) { worked_row(c); c.result.flicker_detected = 0; },
         {1, 1, 0, 3, 3, 30.25f, 30.25f}, 36602499072.0f},
        // The limits cross: the band is (98, 102) around the model 110.
        {"negative amplitude1", 1, [](Call& c) { worked_row(c); c.result.amplitude1[1] = -10.0f; },
         {1, 1, 0, 3, 3, 20.25f, 20.25f}, 0.0f},
        {"negative amplitude1 without rows", 0, [](Call& c) { c.result.amplitude1[1] = -10.0f; },
         {1, 1, -1, 0, 0, 0.0f, 0.0f}, -0.0f},
        // Q10 0: model 100, band (98, 102); the payload travels, quieted.
        {"NaN amplitude1", 1, [](Call& c) { worked_row(c); c.result.amplitude1[1] = from_bits(0xFF800123u); },
         {1, 1, 0, 3, 3, 0.25f, 0.25f}, from_bits(0xFFC00123u)},
        {"level on the lower limit", 1, [](Call& c) { c.set(0, 0, 88.0f); }, {1, 1, 0, 0, 0, 0.0f, 0.0f}, 0.0f},
        {"level on the upper limit", 1, [](Call& c) { c.set(0, 0, 102.0f); }, {1, 1, 0, 0, 0, 0.0f, 0.0f}, 0.0f},
        {"no rows", INT_MIN, [](Call&) {}, {1, 1, -1, 0, 0, 0.0f, 0.0f}, 0.0f},
        // e = 9 at row 1 stays in the five-row windows up to row 5; zone 1's mean 6.25 beats zone 4's 5.
        {"window", 7, [](Call& c) { c.set(1, 4, 93.0f); c.set(6, 4, 91.0f); c.set(3, 1, 92.5f); },
         {1, 1, 5, 4, 1, 9.0f, 6.25f}, 3600000.0f},
        {"NaN weight", 1, nan_weight_run, {1, 1, 0, 2, 2, 0x1.1a3d56p+2f, 0x1.1a3d56p+2f}, 0x1.72f126p+29f},
        {"no input", 1, [](Call& c) { worked_row(c); c.passed[0] = false; }, kUntouched, -1.0f},
        {"no result", 1, [](Call& c) { worked_row(c); c.passed[1] = false; }, kUntouched, -1.0f},
        {"no output", 1, [](Call& c) { worked_row(c); c.passed[2] = false; }, kUntouched, -1.0f},
        {"no levels", 1, [](Call& c) { worked_row(c); c.result.stat_level = nullptr; }, kUntouched, -1.0f},
        {"no sums", 1, [](Call& c) { worked_row(c); c.result.stat_sum = nullptr; }, kUntouched, -1.0f},
        {"debug disabled", 1, [](Call& c) { worked_row(c); c.debug.enable = 0; }, {0, -1, 9, 9, 9, -1.0f, -1.0f},
         12100000.0f},
        {"no debug", 1, [](Call& c) { worked_row(c); c.passed[3] = false; }, kUntouched, 12100000.0f},
    };
    for (const auto& k : cases) {
        Call c(k.rows);
        k.setup(c);
        const int32_t status =
            c.detector->ConfidenceIndex(c.passed[0] ? &c.input : nullptr, c.passed[1] ? &c.result : nullptr,
                                        c.passed[2] ? &c.output : nullptr, c.passed[3] ? &c.debug : nullptr);
        EXPECT_EQ(status, k.index == -1.0f ? KEVRA_STATUS_INVALID_ARGUMENT : KEVRA_STATUS_OK) << k.what;
        EXPECT_TRUE(Wrote(c, k.index, k.debug)) << k.what;
    }
}

// Harmonic 0 is not a number; harmonic 1 rounds its step and reduces its phase
// below zero toward zero; harmonic 2 rounds its phase product.
TEST(ConfidenceConstants, RoundInFloatTruncateTowardZeroSaturateAndWrap) {
    // Offset -365.3 degrees: -678.4 units.
    const kevra_confidence_idx_input in{{0.0f, -365.3f, -260.0f}, {__builtin_inff(), 0x1.df9428p+3f, 0x1.49601ep+0f},
                                        0x1.94e84ep+4f, 0, 65536, -7, -9, 65537, 2.0f};
    kevra_fitting_result fit{};
    fit.phase3[1] = 0x1.957234p+7f;  // rate x phase rounds up before -260 is added: 105 when fused
    fit.offset[1] = 2097151.0f;      // Q10 2147482624: off + amp_1 wraps
    fit.amplitude1[1] = 10.0f;
    fit.amplitude2[1] = 1e10f;
    fit.amplitude3[1] = -__builtin_inff();
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
