#include "core/starting_values.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/fit_fixture.h"
#include "support/backends.h"
#include "support/bits.h"

namespace {

using kevra::ChannelParams;
using kevra::FitState;
using kevra_test::SameBits;

template <class V>
class InitialFitState : public ::testing::Test {};
TYPED_TEST_SUITE(InitialFitState, kevra_test::VectorBackends);

// Per channel: mean, and the larger excursion from it, with the maximum
// starting at 0 and the minimum at 65535.
TYPED_TEST(InitialFitState, EstimatesOffsetAndAmplitudeFromTheRows) {
    const float rows[3][4] = {{10.0f, -5.0f, 70000.0f, 1.0f},
                              {20.0f, -6.0f, 70001.0f, NAN},
                              {60.0f, -7.0f, 70002.0f, 3.0f}};
    const FitState f = kevra::initial_fit_state<TypeParam>(rows, 3);
    const float offset[4] = {30.0f, -6.0f, 70001.0f, NAN};
    const float amplitude[4] = {30.0f, 6.0f, 70001.0f - 65535.0f, NAN};  // channel 1: 0 - (-6)
    for (int c = 0; c < 4; ++c) {
        EXPECT_TRUE(SameBits(offset[c], f.channel[c].offset) || (std::isnan(offset[c]) && std::isnan(f.channel[c].offset)))
            << "channel " << c;
        EXPECT_TRUE(SameBits(amplitude[c], f.channel[c].amplitude[0]) ||
                    (std::isnan(amplitude[c]) && std::isnan(f.channel[c].amplitude[0])))
            << "channel " << c;
        EXPECT_EQ(0.0f, f.channel[c].amplitude[1]);
        EXPECT_EQ(0.0f, f.channel[c].phase[0]);
        EXPECT_EQ(0, f.iterations[c]);
    }
}

// An amplitude whose 0.2 and 0.1 multiples differ between double and single precision.
float amplitude_sensitive_to_double() {
    for (float a = 1.0f;; a = std::nextafter(a, 100.0f)) {
        if (float(double(a) * 0.2) != a * 0.2f && float(double(a) * 0.1) != a * 0.1f) return a;
    }
}

struct Stages {
    kevra_test::FitRecords r;
    kevra::FitSettings s;
    FitState f{};

    Stages() {
        s = kevra::make_fit_settings(&r.param, &r.config);
        for (int c = 0; c < 4; ++c) f.channel[c] = ChannelParams{100.0f + c, {10.0f + c, 0, 0}, {0, 0, 0}};
    }
    void run(int stage) { kevra::set_starting_values(stage, s, &r.config, f); }
};

TEST(StartingValues, ChannelOneDerivesHigherAmplitudesInDouble) {
    Stages t;
    const float a = amplitude_sensitive_to_double();
    t.f.channel[1].amplitude[0] = a;
    t.run(0);
    EXPECT_TRUE(SameBits(float(double(a) * 0.2), t.f.channel[1].amplitude[1]));
    EXPECT_TRUE(SameBits(float(double(a) * 0.1), t.f.channel[1].amplitude[2]));
    EXPECT_TRUE(SameBits(101.0f, t.f.channel[1].offset));
}

// Channel 2 takes channel 1's fit and its phases wrapped plus one line time
// signed like the phase (-0.0 counts as negative); channels 0 and 3 keep their
// own offset, sign amplitude 1 like channel 1 and take the wrapped phases of
// channel 1 and channel 2.
TEST(StartingValues, LaterChannelsStartFromEarlierFits) {
    Stages t;
    t.f.channel[1] = ChannelParams{50.0f, {-7.0f, 2.0f, 1.0f}, {12000.0f, -0.0f, -3500.0f}};
    t.run(1);
    const ChannelParams ch2 = t.f.channel[2];
    const ChannelParams want2{50.0f, {-7.0f, 2.0f, 1.0f}, {2030.0f, -30.0f, fmodf(-3500.0f, 3333.3333f) - 30.0f}};
    EXPECT_TRUE(SameBits(&want2.offset, &ch2.offset, 7));

    t.f.channel[2].phase[0] = 15000.0f;  // as if channel 2's fit had moved it
    const float a0 = amplitude_sensitive_to_double();
    t.f.channel[0].amplitude[0] = a0;
    t.run(2);
    t.run(3);
    const ChannelParams& ch0 = t.f.channel[0];
    EXPECT_TRUE(SameBits(100.0f, ch0.offset));
    EXPECT_TRUE(SameBits(-a0, ch0.amplitude[0]));
    EXPECT_TRUE(SameBits(float(double(-a0) * 0.2), ch0.amplitude[1]));
    EXPECT_TRUE(SameBits(float(double(-a0) * 0.1), ch0.amplitude[2]));
    const float want0_phase[3] = {2000.0f, -0.0f, fmodf(-3500.0f, 3333.3333f)};
    EXPECT_TRUE(SameBits(want0_phase, ch0.phase, 3));
    const ChannelParams& ch3 = t.f.channel[3];
    EXPECT_TRUE(SameBits(103.0f, ch3.offset));
    EXPECT_TRUE(SameBits(-13.0f, ch3.amplitude[0]));
    const float want3_phase[3] = {5000.0f, -30.0f, want2.phase[2]};
    EXPECT_TRUE(SameBits(want3_phase, ch3.phase, 3));
}

// Configured starts replace channel 1 whole; the other channels take their
// own configured offset and amplitude magnitudes, signed like channel 1's
// amplitude of the same harmonic, and their phases as without configuration.
TEST(StartingValues, ConfiguredStartsAreSignedLikeChannelOne) {
    Stages t;
    kevra_config& c = t.r.config;
    c.use_initial_values = 1;
    for (int ch = 0; ch < 4; ++ch) {
        c.init_offset[ch] = 200.0f + ch;
        c.init_amplitude1[ch] = 20.0f + ch;
        c.init_amplitude2[ch] = -(4.0f + ch);
        c.init_amplitude3[ch] = 2.0f + ch;
        c.init_phase1[ch] = c.init_phase2[ch] = c.init_phase3[ch] = 999.0f;  // only element 1 is read
    }
    c.init_amplitude1[1] = -20.0f;
    c.init_phase1[1] = 11000.0f;
    c.init_phase2[1] = 300.0f;
    c.init_phase3[1] = -100.0f;
    for (int stage = 0; stage < 4; ++stage) t.run(stage);
    const ChannelParams want[4] = {
        {200.0f, {-20.0f, -4.0f, 2.0f}, {1000.0f, 300.0f, -100.0f}},
        {201.0f, {-20.0f, -5.0f, 3.0f}, {11000.0f, 300.0f, -100.0f}},
        {202.0f, {-22.0f, -6.0f, 4.0f}, {1030.0f, 330.0f, -130.0f}},
        {203.0f, {-23.0f, -7.0f, 5.0f}, {1030.0f, 330.0f, -130.0f}},
    };
    for (int ch = 0; ch < 4; ++ch) EXPECT_TRUE(SameBits(&want[ch].offset, &t.f.channel[ch].offset, 7)) << ch;
}

}  // namespace
