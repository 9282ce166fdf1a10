#include "core/starting_values.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/fit_fixture.h"
#include "support/backends.h"
#include "support/bits.h"

namespace {

using kevra::ChannelParams;
using kevra_test::SameBits;

// Per channel: the mean and the larger excursion from it, the maximum starting at 0 and
// the minimum at 65535 (channel 1: 0 - (-6)); a NaN level spreads; the rest starts at 0.
TEST(InitialFitState, EveryBackendEstimatesOffsetAndAmplitudeFromTheRows) {
    const float rows[3][4] = {{10, -5, 70000, 1}, {20, -6, 70001, NAN}, {60, -7, 70002, 3}};
    const float want[2][4] = {{30, -6, 70001, NAN}, {30, 6, 70001 - 65535, NAN}};
    kevra_test::for_each_backend([&](auto tag) {
        const kevra::FitState f = kevra::initial_fit_state<typename decltype(tag)::type>(rows, 3);
        for (int c = 0; c < 4; ++c) {
            const ChannelParams& p = f.channel[c];
            EXPECT_TRUE(c == 3 ? std::isnan(p.offset) && std::isnan(p.amplitude[0])
                               : SameBits(want[0][c], p.offset) && SameBits(want[1][c], p.amplitude[0])) << c;
            EXPECT_TRUE(p.amplitude[1] == 0.0f && p.phase[0] == 0.0f && f.iterations[c] == 0) << c;
        }
    });
}

// 1 + 2^-23: its multiples by 0.2 and 0.1 differ between double and single precision.
const float kA = 0x1.000002p+0f;

float times(float a, double k) { return static_cast<float>(static_cast<double>(a) * k); }

// Channel 2 takes channel 1's fit, its phases wrapped plus one line time signed like the
// phase (-0.0 counts as negative); channels 0 and 3 keep their own offset, sign
// amplitude 1 like channel 1, derive the higher amplitudes in double and take the
// wrapped phases of channel 1 and channel 2. Line time 30, periods 10000, 5000, 3333.3333.
TEST(StartingValues, WithoutConfigurationLaterChannelsStartFromEarlierFits) {
    kevra_test::FitRecords r;
    const kevra::FitSettings s = kevra::make_fit_settings(&r.param, &r.config);
    kevra::FitState f{};
    for (int c = 0; c < 4; ++c) f.channel[c] = ChannelParams{100.0f + c, {c < 2 ? kA : 10.0f + c, 0, 0}, {0, 0, 0}};
    kevra::set_starting_values(0, s, &r.config, f);
    const ChannelParams want1{101.0f, {kA, times(kA, 0.2), times(kA, 0.1)}, {0, 0, 0}};
    EXPECT_SAME_BITS(&want1.offset, &f.channel[1].offset, 7);
    f.channel[1] = ChannelParams{50.0f, {-7.0f, 2.0f, 1.0f}, {12000.0f, -0.0f, -3500.0f}};  // as if fitted
    kevra::set_starting_values(1, s, &r.config, f);
    const float wrapped = fmodf(-3500.0f, 3333.3333f);
    const ChannelParams want2{50.0f, {-7.0f, 2.0f, 1.0f}, {2030.0f, -30.0f, wrapped - 30.0f}};
    EXPECT_SAME_BITS(&want2.offset, &f.channel[2].offset, 7);
    f.channel[2].phase[0] = 15000.0f;  // as if fitted
    kevra::set_starting_values(2, s, &r.config, f);
    kevra::set_starting_values(3, s, &r.config, f);
    const ChannelParams want0{100.0f, {-kA, times(-kA, 0.2), times(-kA, 0.1)}, {2000.0f, -0.0f, wrapped}};
    const ChannelParams want3{103.0f, {-13.0f, times(-13.0f, 0.2), times(-13.0f, 0.1)}, {5000.0f, -30.0f, wrapped - 30.0f}};
    EXPECT_SAME_BITS(&want0.offset, &f.channel[0].offset, 7);
    EXPECT_SAME_BITS(&want3.offset, &f.channel[3].offset, 7);
}

// Configured starts replace channel 1 whole (only element 1 of the phase tables is read);
// the other channels take their own configured offset and amplitude magnitudes, signed
// like channel 1's amplitude of the same harmonic, and their phases as without.
TEST(StartingValues, ConfiguredStartsAreSignedLikeChannelOne) {
    kevra_test::FitRecords r;
    kevra_config& c = r.config;
    c.use_initial_values = 1;
    for (int ch = 0; ch < 4; ++ch) {
        c.init_offset[ch] = 200.0f + ch;
        c.init_amplitude1[ch] = ch == 1 ? -20.0f : 20.0f + ch;
        c.init_amplitude2[ch] = -(4.0f + ch);
        c.init_amplitude3[ch] = 2.0f + ch;
        c.init_phase1[ch] = c.init_phase2[ch] = c.init_phase3[ch] = 999.0f;
    }
    c.init_phase1[1] = 11000.0f, c.init_phase2[1] = 300.0f, c.init_phase3[1] = -100.0f;
    const kevra::FitSettings s = kevra::make_fit_settings(&r.param, &c);
    kevra::FitState f{};
    for (int stage = 0; stage < 4; ++stage) kevra::set_starting_values(stage, s, &c, f);
    const ChannelParams want[4] = {
        {200.0f, {-20.0f, -4.0f, 2.0f}, {1000.0f, 300.0f, -100.0f}},
        {201.0f, {-20.0f, -5.0f, 3.0f}, {11000.0f, 300.0f, -100.0f}},
        {202.0f, {-22.0f, -6.0f, 4.0f}, {1030.0f, 330.0f, -130.0f}},
        {203.0f, {-23.0f, -7.0f, 5.0f}, {1030.0f, 330.0f, -130.0f}},
    };
    for (int ch = 0; ch < 4; ++ch) EXPECT_SAME_BITS(&want[ch].offset, &f.channel[ch].offset, 7) << ch;
}

}  // namespace
