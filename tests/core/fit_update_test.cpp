#include "core/fit_update.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/fit_fixture.h"
#include "support/bits.h"

namespace {

using kevra::ChannelParams;
using kevra_test::SameBits;

kevra::FitSettings fifty_hertz() {
    kevra_test::FitRecords r;
    return kevra::make_fit_settings(&r.param, &r.config);
}

TEST(FitUpdate, StepsAreScaledByTheirFactors) {
    kevra::FitSettings s = fifty_hertz();
    s.offset_step = 0.5f;
    s.amplitude_step = 0.25f;
    s.phase_step = 2.0f;
    ChannelParams p{100.0f, {10.0f, 5.0f, 2.0f}, {100.0f, 200.0f, 300.0f}};
    const float delta[7] = {4.0f, 8.0f, 10.0f, 4.0f, 20.0f, -4.0f, 30.0f};
    kevra::apply_update(s, delta, p);
    const ChannelParams want{102.0f, {12.0f, 6.0f, 1.0f}, {120.0f, 240.0f, 360.0f}};
    EXPECT_TRUE(SameBits(&want.offset, &p.offset, 7));
}

// A negative amplitude becomes its magnitude with the phase moved by half a
// period; every phase is then wrapped by fmodf, keeping its sign.
TEST(FitUpdate, FoldsNegativeAmplitudesAndWrapsPhases) {
    const kevra::FitSettings s = fifty_hertz();  // periods 10000, 5000, 3333.3333
    ChannelParams p{0.0f, {1.0f, 1.0f, 1.0f}, {9000.0f, -4000.0f, 1000.0f}};
    const float delta[7] = {0.0f, -3.0f, 0.0f, -1.0f, -2000.0f, 0.5f, -4000.0f};
    kevra::apply_update(s, delta, p);
    EXPECT_TRUE(SameBits(2.0f, p.amplitude[0]));
    EXPECT_TRUE(SameBits(4000.0f, p.phase[0]));           // 9000 + 5000 wrapped
    EXPECT_TRUE(SameBits(0.0f, p.amplitude[1]));          // exactly 0 is not negative
    EXPECT_TRUE(SameBits(-1000.0f, p.phase[1]));          // -6000 wrapped, sign kept
    EXPECT_TRUE(SameBits(1.5f, p.amplitude[2]));
    EXPECT_TRUE(SameBits(fmodf(-3000.0f, 3333.3333f), p.phase[2]));
}

ChannelParams with_amplitudes(float a2, float a3) { return ChannelParams{0.0f, {1.0f, a2, a3}, {0.0f, 0.0f, 0.0f}}; }

TEST(ConvergenceMeasure, HandComputedCases) {
    const struct {
        float delta[7];
        float a2, a3;
        float want;
    } cases[] = {
        {{3, 4, 1000, 0, 0, 0, 0}, 0.0f, 0.0f, 26.0f},
        {{0, 0, 0, 2, 1000, 3, 2000}, 0.5f, 0.0f, 5.0f},      // harmonic 3 ignored
        {{0, 0, 0, 2, 1000, 3, 2000}, 0.0f, 0.5f, 13.0f},     // harmonic 2 ignored
        {{0, 0, 0, 2, 1000, 3, 2000}, 0.5f, 0.5f, 18.0f},
        // 0.001f lies just above 0.001: compared in double, it counts.
        {{0, 0, 0, 2, 0, 3, 0}, 0.001f, 0.00099999f, 4.0f},
    };
    for (const auto& c : cases) {
        EXPECT_TRUE(SameBits(c.want, kevra::convergence_measure(c.delta, with_amplitudes(c.a2, c.a3))))
            << "want " << c.want;
    }
}

// d0^2 + d1^2 is rounded in single precision (1 + 2^-24 ties to 1), the rest
// is summed in double: 1 + 2^-24 + 2^-24 = 1 + 2^-23. Summing everything in
// double gives 1 + 2^-22, everything in single precision 1.
TEST(ConvergenceMeasure, SumsInDoubleAfterASinglePrecisionStart) {
    const float tiny = std::ldexp(1.0f, -12);
    const float delta[7] = {1.0f, tiny, 0.0f, tiny, 0.0f, tiny, 0.0f};
    EXPECT_TRUE(SameBits(1.0f + std::ldexp(1.0f, -23), kevra::convergence_measure(delta, with_amplitudes(1, 1))));
}

// The phase terms are ((double)d * 1e-6) * d: find a step where that differs
// from the single-precision forms.
TEST(ConvergenceMeasure, PhaseTermsAreFormedInDouble) {
    float d = 1.0f;
    float want = 0.0f;
    for (; d < 1e6f; d += 1.0f) {
        want = static_cast<float>((static_cast<double>(d) * 1e-6) * d);
        if (want != (d * 1e-6f) * d && want != static_cast<float>(1e-6 * static_cast<double>(d * d))) break;
    }
    ASSERT_LT(d, 1e6f);
    const float delta[7] = {0.0f, 0.0f, d, 0.0f, 0.0f, 0.0f, 0.0f};
    EXPECT_TRUE(SameBits(want, kevra::convergence_measure(delta, with_amplitudes(0, 0))));
}

TEST(ConvergenceMeasure, StopsAtOrBelowEpsilonAndOnNotANumber) {
    EXPECT_TRUE(kevra::has_converged(1e-5f, 1e-5f));
    EXPECT_FALSE(kevra::has_converged(std::nextafter(1e-5f, 1.0f), 1e-5f));
    EXPECT_TRUE(kevra::has_converged(NAN, 1e-5f));
    EXPECT_FALSE(kevra::has_converged(INFINITY, 1e-5f));
}

}  // namespace
