// The per-call constants of the confidence index.
#include "confidence/confidence_constants.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "confidence/confidence_fixtures.h"
#include "support/bits.h"

namespace {

using kevra::ConfidenceConstants;
using kevra::confidence_constants;
using kevra_test::SameBits;

struct Records {
    kevra_confidence_idx_input input;
    kevra_fitting_result result;
    Records() { kevra_test::set_worked_example(&input, &result); }
};

TEST(ConfidenceConstants, ProductsAreRoundedInSinglePrecisionBeforeTheyAreUsed) {
    Records r;
    // line_time * rate rounds up onto a step boundary: 39459 when kept exact.
    r.input.line_time = 0x1.94e84ep+4f;
    r.input.angle_rate[1] = 0x1.df9428p+3f;
    // rate * phase rounds up before -260 is added: 105 when fused or in double.
    r.input.angle_rate[2] = 0x1.49601ep+0f;
    r.input.angle_offset[2] = -260.0f;
    r.result.phase3[1] = 0x1.957234p+7f;
    const ConfidenceConstants k = confidence_constants(r.input, r.result);
    EXPECT_EQ(k.step[1], 39460);
    EXPECT_EQ(k.phase[2], 106);
    EXPECT_EQ(k.phase[1], 0);
}

TEST(ConfidenceConstants, PhasesReduceModuloAFullTurnKeepingTheSign) {
    Records r;
    r.input.angle_offset[0] = 725.5f;   // two turns and 5.5 degrees
    r.input.angle_offset[1] = -365.0f;  // minus one turn and 5 degrees
    r.input.angle_rate[2] = 2.0f;
    r.result.phase3[1] = 180.25f;       // 360.5 degrees
    const ConfidenceConstants k = confidence_constants(r.input, r.result);
    EXPECT_EQ(k.phase[0], 704);
    EXPECT_EQ(k.phase[1], -640);
    EXPECT_EQ(k.phase[2], 64);
}

TEST(ConfidenceConstants, IntegerSumsWrapAndConversionsSaturate) {
    Records r;
    r.result.offset[1] = 2097151.0f;        // Q10 2147482624: off + amp_1 wraps
    r.result.amplitude2[1] = 1e10f;
    r.result.amplitude3[1] = -__builtin_inff();
    r.result.phase1[1] = __builtin_nanf("");
    r.input.angle_rate[0] = 1.0f;
    r.input.angle_offset[1] = __builtin_inff();
    r.input.line_time = __builtin_inff();
    r.input.sum_norm_a = 65536;
    r.input.sum_norm_b = 65537;             // product wraps to 65536
    r.input.lines_per_row = -7;
    r.input.line_offset = INT_MIN;
    const ConfidenceConstants k = confidence_constants(r.input, r.result);
    EXPECT_EQ(k.off, 2147482624);
    const int32_t ints[] = {k.amp[1], k.amp[2], k.phase[0], k.phase[1], k.step[0], k.step[1], k.y_step, k.y0};
    const int32_t want_ints[] = {INT_MAX, INT_MIN, 0, 0, 0, 0, -3, -1073741824};
    EXPECT_TRUE(SameBits(want_ints, ints, 8));
    const float floats[] = {k.lo_min, k.hi_max, k.inv_norm};
    const float want_floats[] = {2097139.0f, -2097141.0f, 1.0f / 65536.0f};
    EXPECT_TRUE(SameBits(want_floats, floats, 3));

    r.result.amplitude1[1] = -10.0f;  // now off - amp_1 wraps
    const ConfidenceConstants crossed = confidence_constants(r.input, r.result);
    const float limits[] = {crossed.lo_min, crossed.hi_max};
    const float want_limits[] = {-2097145.0f, 2097143.0f};
    EXPECT_TRUE(SameBits(want_limits, limits, 2));

    r.result.offset[1] = __builtin_nanf("");
    EXPECT_EQ(confidence_constants(r.input, r.result).off, 0);
}

}  // namespace
