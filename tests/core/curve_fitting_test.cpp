// The curve fit: settings fixed per call, starting values, the update and its
// convergence measure, the fit of all four channels with the library's solver, and
// whole runs from the raw statistics to the result.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <memory>

#include "core/channel_fit.h"
#include "core/fit_settings.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/flicker_run.h"
#include "support/probe.h"

namespace {

using kevra::ChannelParams;
using kevra::FitState;
using kevra_test::FlickerRun;
using kevra_test::Probe;
using kevra_test::SameBits;

struct FitRecords {
    float start_time = 1000.0f;
    kevra_parameter param{};
    kevra_config config{};

    FitRecords() { kevra_test::set_fit_defaults(param, config, &start_time); }
};

template <class V>
kevra::FitState fit_on_probe(Probe& probe, const kevra_parameter& param, const kevra_config& config) {
    const kevra::FitSettings s = kevra::make_fit_settings(&param, &config);
    float normal[8][8] = {}, inverse[8][8] = {};
    return kevra::fit_channels<V>(s, &config, probe.row_level, probe.design, probe.fit_delta,
                                  [&] { probe.matrix_multiplication(s.row_num, 7, normal, inverse); });
}

// The periods are chosen by a test against 50, w = pi * mains * 1e-6 from the actual
// frequency through two single roundings. At 50 Hz with 30 us lines and 16 lines per row;
// epsilon = 10^-exponent for every int, in single precision.
TEST(FitSettings, FollowTheMainsFrequencyLineTimesExposureAndExponent) {
    const struct { int mains; float period[3], w; } cases[] = {{50, {10000.0f, 5000.0f, 3333.3333f}, 0.00015707963f},
                 {60, {8333.333f, 4166.6665f, 2777.7778f}, 0.00018849556f},
                 {9, {8333.333f, 4166.6665f, 2777.7778f}, 0x1.da5d58p-16f}};  // one rounding: 0x1.da5d56p-16
    FitRecords r;
    for (const auto& c : cases) {
        r.config.mains_frequency = c.mains;
        const kevra::FitSettings s = kevra::make_fit_settings(&r.param, &r.config);
        for (int h = 0; h < 3; ++h)
            EXPECT_TRUE(SameBits(c.period[h], s.period[h]) && SameBits(c.period[h] * 0.5f, s.half_period[h])) << h;
        EXPECT_TRUE(SameBits(c.w, s.w) && SameBits(c.w * 4.0f, s.rate[0]) && SameBits(-(c.w * 12.0f), s.neg_rate[2]));
        if (c.mains != 50) continue;
        EXPECT_TRUE(SameBits(0.00062831852f, s.rate[0]) && SameBits(0.30159289f, s.row_step));
        r.param.exposure_time = 1000.37f;  // w * (6 E) is one bit off
        const float e = r.param.exposure_time, want_angles[3] = {(s.w + s.w) * e, (s.w * 4.0f) * e, (s.w * 6.0f) * e};
        EXPECT_SAME_BITS(want_angles, kevra::make_fit_settings(&r.param, &r.config).exposure_angle, 3);
    }
    const struct { int exponent; float epsilon; } exponents[] = {
        {5, 9.9999997e-06f}, {0, 1.0f}, {-3, 1000.0f}, {INT_MIN, INFINITY}, {INT_MAX, 0.0f}, {46, 0.0f}};
    for (const auto& c : exponents) {
        r.config.convergence_exponent = c.exponent;
        EXPECT_TRUE(SameBits(c.epsilon, kevra::make_fit_settings(&r.param, &r.config).epsilon)) << c.exponent;
    }
}

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
    FitRecords r;
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
    FitRecords r;
    kevra_config& c = r.config;
    c.use_initial_values = 1;
    for (int ch = 0; ch < 4; ++ch) {
        c.init_offset[ch] = 200.0f + ch, c.init_amplitude1[ch] = ch == 1 ? -20.0f : 20.0f + ch;
        c.init_amplitude2[ch] = -(4.0f + ch), c.init_amplitude3[ch] = 2.0f + ch;
        c.init_phase1[ch] = c.init_phase2[ch] = c.init_phase3[ch] = 999.0f;
    }
    c.init_phase1[1] = 11000.0f, c.init_phase2[1] = 300.0f, c.init_phase3[1] = -100.0f;
    const kevra::FitSettings s = kevra::make_fit_settings(&r.param, &c);
    kevra::FitState f{};
    for (int stage = 0; stage < 4; ++stage) kevra::set_starting_values(stage, s, &c, f);
    const ChannelParams want[4] = {{200.0f, {-20.0f, -4.0f, 2.0f}, {1000.0f, 300.0f, -100.0f}},
                                   {201.0f, {-20.0f, -5.0f, 3.0f}, {11000.0f, 300.0f, -100.0f}},
                                   {202.0f, {-22.0f, -6.0f, 4.0f}, {1030.0f, 330.0f, -130.0f}},
                                   {203.0f, {-23.0f, -7.0f, 5.0f}, {1030.0f, 330.0f, -130.0f}}};
    for (int ch = 0; ch < 4; ++ch) EXPECT_SAME_BITS(&want[ch].offset, &f.channel[ch].offset, 7) << ch;
}

// Each kind of step has its factor; a negative amplitude becomes its magnitude with the
// phase moved by half its period (exactly 0 is not negative); every phase is then
// wrapped by fmodf, keeping its sign. Periods 10000, 5000, 3333.3333.
TEST(FitUpdate, ScalesStepsFoldsNegativeAmplitudesAndWrapsPhases) {
    FitRecords r;
    kevra::FitSettings s = kevra::make_fit_settings(&r.param, &r.config);
    s.offset_step = 0.5f, s.amplitude_step = 0.25f, s.phase_step = 2.0f;
    ChannelParams p{100.0f, {1.0f, 1.0f, 1.0f}, {9000.0f, -4000.0f, 1000.0f}};
    const float delta[7] = {4.0f, -12.0f, 0.0f, -4.0f, -1000.0f, 2.0f, -2000.0f};
    kevra::apply_update(s, delta, p);
    const ChannelParams want{102.0f, {2.0f, 0.0f, 1.5f}, {4000.0f, -1000.0f, -3000.0f}};
    EXPECT_SAME_BITS(&want.offset, &p.offset, 7);
}

// Harmonics 2 and 3 count while their amplitude, compared in double, exceeds 0.001.
// d0^2 + d1^2 is rounded in single precision (1 + 2^-24 ties to 1) and the rest summed
// in double: 1 + 2^-23 (all in double: 1 + 2^-22; all single: 1). The phase term of
// 4097 is ((double)d * 1e-6) * d, which neither single-precision form matches.
TEST(ConvergenceMeasure, SumsSquaredStepsInTheStatedPrecisions) {
    const float tiny = std::ldexp(1.0f, -12);
    const struct { float delta[7], a2, a3, want; } cases[] = {
        {{3, 4, 1000, 0, 0, 0, 0}, 0.0f, 0.0f, 26.0f},
        {{0, 0, 0, 2, 1000, 3, 2000}, 0.5f, 0.0f, 5.0f},
        {{0, 0, 0, 2, 1000, 3, 2000}, 0.0f, 0.5f, 13.0f},
        {{0, 0, 0, 2, 1000, 3, 2000}, 0.5f, 0.5f, 18.0f},
        {{0, 0, 0, 2, 0, 3, 0}, 0.001f, 0.00099999f, 4.0f},  // 0.001f lies just above 0.001
        {{1, tiny, 0, tiny, 0, tiny, 0}, 1.0f, 1.0f, 1.0f + std::ldexp(1.0f, -23)},
        {{0, 0, 4097, 0, 0, 0, 0}, 0.0f, 0.0f, 0x1.0c910ap+4f},
    };
    for (const auto& c : cases) {
        const ChannelParams p{0.0f, {1.0f, c.a2, c.a3}, {0.0f, 0.0f, 0.0f}};
        EXPECT_TRUE(SameBits(c.want, kevra::convergence_measure(c.delta, p))) << "case " << &c - cases;
    }
    EXPECT_TRUE(kevra::has_converged(1e-5f, 1e-5f) && kevra::has_converged(NAN, 1e-5f));
    EXPECT_FALSE(kevra::has_converged(std::nextafter(1e-5f, 1.0f), 1e-5f) || kevra::has_converged(INFINITY, 1e-5f));
}

// Channel 1 ripples as 0.5 - 0.03 cos(4 w t) at the fit's row times; the other
// channels ramp or stay flat. Levels stay below 10, where the range trackers start.
struct FitBench {
    FitRecords r;
    std::unique_ptr<Probe> probe = std::make_unique<Probe>();

    FitBench() {
        for (int i = 0; i < 256; ++i) {
            const double t = r.start_time + r.param.exposure_time / 2.0 + i * 30.0 * 16, ramp = i / 256.0;
            const float levels[4] = {float(1 + ramp), float(0.5 - 0.03 * std::cos(4 * M_PI * 50e-6 * t)),
                                     float(2 - ramp), float(7 + 0.1 * std::sin(i))};
            std::memcpy(probe->row_level[i], levels, sizeof levels);
        }
    }
    FitState run() { return fit_on_probe<kevra::simd::Native>(*probe, r.param, r.config); }
};

// Up to max_iterations + 1 iterations run (exponent 30 never converges); with none, every
// channel reports its configured start, channels 0, 2 and 3 signed like channel 1, the
// range stays at 0 and 10 and no design column is written. A converged fit's range is
// channel 1's model over its last iteration, whatever the other channels hold.
TEST(ChannelFit, IterationLimitCountsFromZeroAndTheRangeIsChannelOnesModelSpan) {
    const struct { int max_iterations, exponent, want; } cases[] = {{-1, 30, 0}, {5, -3, 0}, {0, 30, 1}, {3, 30, 4}};
    for (const auto& c : cases) {
        FitBench b;
        b.r.config.max_iterations = c.max_iterations;
        b.r.config.convergence_exponent = c.exponent;
        b.r.config.use_initial_values = c.want == 0;
        for (int ch = 0; ch < 4; ++ch) b.r.config.init_amplitude1[ch] = ch == 1 ? -25.0f : 20.0f + ch;
        const FitState f = b.run();
        for (int ch = 0; ch < 4; ++ch) {
            EXPECT_EQ(c.want, f.iterations[ch]) << c.max_iterations << ", " << c.exponent;
            const float start = ch == 1 ? -25.0f : -(20.0f + ch);
            EXPECT_TRUE(c.want > 0 || SameBits(start, f.channel[ch].amplitude[0])) << "channel " << ch;
        }
        if (c.want > 0) continue;
        EXPECT_TRUE(SameBits(0.0f, f.range.max) && SameBits(10.0f, f.range.min));
        EXPECT_TRUE(SameBits(0.0f, b.probe->design[0][0])) << "a design row was written";
    }
    FitBench b;
    b.r.config.convergence_exponent = 12;  // steps are small at this scale
    const FitState f = b.run();
    EXPECT_NEAR(0.53, f.range.max, 1e-4);
    EXPECT_NEAR(0.47, f.range.min, 1e-4);
}

// Whole runs, fitted or skipped (exponent -3): the result holds every backend's fit of the
// same row levels bit for bit, and the design columns are written to the end of the last
// block of eight rows, and no further. Skipped fits leave the range at 0 - 10 = -10:
// below a T0 of -9.99 nothing is detected; at T0 = -10 it lies in the first band, whose
// share 0 every nonzero counter exceeds.
TEST(KevrMainFit, ResultIsEveryBackendsFitAndSkippedFitsDecideOnTheUntouchedRange) {
    const struct { int rows, mains; double depth; int exponent; float t0; uint32_t want; } cases[] = {  // want 2: any{97, 50, 0.05, 8, 0.01f, 2}, {161, 60, 0.2, 8, 0.01f, 2}, {256, 50, 0.1, 8, 0.01f, 2},
                 {64, 50, 0.0, -3, -9.99f, 0}, {64, 50, 0.0, -3, -10.0f, 1}};
    for (const auto& c : cases) {
        auto run = std::make_unique<FlickerRun>(c.rows, c.mains, c.depth, 11);
        run->config.convergence_exponent = c.exponent;
        run->config.range_threshold[0] = c.t0;
        run->config.detect_ratio[0] = 0.0f;
        auto d = std::make_unique<Probe>();
        std::fill_n(&d->design[0][0], 8 * 256, 12345.0f);
        ASSERT_EQ(0, d->KevrMain(&run->param, &run->stat, &run->config, &run->result));
        const int written = c.exponent > 0 ? (c.rows + 7) / 8 * 8 : 0;
        for (int k = 0; k < 8 * 256; ++k)
            ASSERT_EQ(k % 256 < written, d->design[k / 256][k % 256] != 12345.0f) << c.rows << ", " << k;
        EXPECT_TRUE(c.want == 2 || c.want == run->result.flicker_detected) << c.t0;
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            const FitState f = fit_on_probe<V>(*d, run->param, run->config);
            float got[28];  // offset, amplitude1..3, phase1..3, each by channel, as in the result
            for (int k = 0; k < 28; ++k) got[k] = (&f.channel[k % 4].offset)[k / 4];
            EXPECT_SAME_BITS(reinterpret_cast<const float*>(&run->result), got, 28) << V::name << ", rows " << c.rows;
            EXPECT_SAME_BITS(run->param.fit_iterations, f.iterations, 4) << V::name << ", rows " << c.rows;
        });
    }
}

}  // namespace
