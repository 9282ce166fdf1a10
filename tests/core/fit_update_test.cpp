#include "core/fit_update.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/fit_fixture.h"
#include "support/bits.h"

namespace {

using kevra::ChannelParams;
using kevra_test::SameBits;

// Each kind of step has its factor; a negative amplitude becomes its magnitude with the
// phase moved by half its period (exactly 0 is not negative); every phase is then
// wrapped by fmodf, keeping its sign. Periods 10000, 5000, 3333.3333.
TEST(FitUpdate, ScalesStepsFoldsNegativeAmplitudesAndWrapsPhases) {
    kevra_test::FitRecords r;
    kevra::FitSettings s = kevra::make_fit_settings(&r.param, &r.config);
    s.offset_step = 0.5f, s.amplitude_step = 0.25f, s.phase_step = 2.0f;
    ChannelParams p{100.0f, {1.0f, 1.0f, 1.0f}, {9000.0f, -4000.0f, 1000.0f}};
    const float delta[7] = {4.0f, -12.0f, 0.0f, -4.0f, -1000.0f, 2.0f, -2000.0f};
    kevra::apply_update(s, delta, p);
    const ChannelParams want{102.0f, {2.0f, 0.0f, 1.5f}, {4000.0f, -1000.0f, -3000.0f}};
    EXPECT_SAME_BITS(&want.offset, &p.offset, 7);
}

ChannelParams with_amplitudes(float a2, float a3) { return ChannelParams{0.0f, {1.0f, a2, a3}, {0.0f, 0.0f, 0.0f}}; }

// Harmonics 2 and 3 count while their amplitude, compared in double, exceeds 0.001.
// d0^2 + d1^2 is rounded in single precision (1 + 2^-24 ties to 1) and the rest summed
// in double: 1 + 2^-23 (all in double: 1 + 2^-22; all single: 1). The phase term of
// 4097 is ((double)d * 1e-6) * d, which neither single-precision form matches.
TEST(ConvergenceMeasure, SumsSquaredStepsInTheStatedPrecisions) {
    const float tiny = std::ldexp(1.0f, -12);
    const struct {
        float delta[7];
        float a2, a3, want;
    } cases[] = {
        {{3, 4, 1000, 0, 0, 0, 0}, 0.0f, 0.0f, 26.0f},
        {{0, 0, 0, 2, 1000, 3, 2000}, 0.5f, 0.0f, 5.0f},
        {{0, 0, 0, 2, 1000, 3, 2000}, 0.0f, 0.5f, 13.0f},
        {{0, 0, 0, 2, 1000, 3, 2000}, 0.5f, 0.5f, 18.0f},
        {{0, 0, 0, 2, 0, 3, 0}, 0.001f, 0.00099999f, 4.0f},  // 0.001f lies just above 0.001
        {{1, tiny, 0, tiny, 0, tiny, 0}, 1.0f, 1.0f, 1.0f + std::ldexp(1.0f, -23)},
        {{0, 0, 4097, 0, 0, 0, 0}, 0.0f, 0.0f, 0x1.0c910ap+4f},
    };
    for (const auto& c : cases) {
        EXPECT_TRUE(SameBits(c.want, kevra::convergence_measure(c.delta, with_amplitudes(c.a2, c.a3))))
            << "case " << &c - cases;
    }
    EXPECT_TRUE(kevra::has_converged(1e-5f, 1e-5f) && kevra::has_converged(NAN, 1e-5f));
    EXPECT_FALSE(kevra::has_converged(std::nextafter(1e-5f, 1.0f), 1e-5f) || kevra::has_converged(INFINITY, 1e-5f));
}

}  // namespace
