// The default tuning on synthetic scenes: the lamp's flicker is found at the
// scene's mains frequency, steady light is left alone, and the fit recovers
// the ripple that the synthesis put in.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "cli.h"
#include "detection.h"
#include "scene_synthesis.h"

namespace {

using kevra_tool::Scene;

struct SceneCase {
    const char* name;
    double mains;
    double depth;
    float exposure;
    uint64_t seed;
    bool flicker;
};

void PrintTo(const SceneCase& c, std::ostream* os) { *os << c.name; }

class DefaultTuning : public ::testing::TestWithParam<SceneCase> {
protected:
    kevra_tool::DetectionReport run(const Scene& scene) {
        std::unique_ptr<QORKEVRA, void (*)(QORKEVRA*)> detector(QORKEVRA::createInstance(),
                                                                [](QORKEVRA* d) { d->destroyInstance(d); });
        return kevra_tool::detect(*detector, kevra_tool::synthesize(scene), GetParam().name);
    }
};

TEST_P(DefaultTuning, ReportsFlickerExactlyWhenTheLampFlickers) {
    const SceneCase& c = GetParam();
    Scene s = kevra_tool::builtin_sample_scene();
    s.mains_frequency = c.mains;
    s.depth = c.depth;
    s.exposure_time = c.exposure;
    s.seed = c.seed;
    s.mains_phase = double(c.seed) * 731.0;
    const kevra_tool::DetectionReport r = run(s);
    EXPECT_EQ(r.flicker_detected, c.flicker) << "model range " << r.model_range;
    for (const kevra_tool::ChannelReport& ch : r.channels) EXPECT_GT(ch.iterations, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Scenes, DefaultTuning,
    ::testing::Values(SceneCase{"BuiltInSample", 50.0, 0.25, 4000.0f, 50, true},
                      SceneCase{"Lamp50Hz", 50.0, 0.3, 3000.0f, 7, true},
                      SceneCase{"Lamp60Hz", 60.0, 0.3, 3000.0f, 8, true},
                      SceneCase{"WeakLamp50HzLongExposure", 50.0, 0.1, 7000.0f, 9, true},
                      SceneCase{"WeakLamp60HzShortExposure", 60.0, 0.1, 1000.0f, 10, true},
                      SceneCase{"Steady50Hz", 50.0, 0.0, 4000.0f, 11, false},
                      SceneCase{"Steady60Hz", 60.0, 0.0, 3000.0f, 12, false},
                      SceneCase{"SteadyShortExposure", 50.0, 0.0, 500.0f, 13, false},
                      SceneCase{"WholeRipplesExposed50Hz", 50.0, 0.5, 10000.0f, 14, false}),
    [](const auto& case_info) { return std::string(case_info.param.name); });

// A rectified-sine lamp ripples at twice mains with amplitude 2/3 x depth of
// the mean light; the exposure averages it by sin(x)/x with x = pi E / period.
// Channel 1 sits on the even lines of each row, 5 lines after the row's start.
TEST(DefaultTuningFit, RecoversTheRippleAmplitudeAndTimingOfTheBuiltInSample) {
    const Scene s = kevra_tool::builtin_sample_scene();
    std::unique_ptr<QORKEVRA, void (*)(QORKEVRA*)> detector(QORKEVRA::createInstance(),
                                                            [](QORKEVRA* d) { d->destroyInstance(d); });
    const kevra_tool::DetectionReport r = kevra_tool::detect(*detector, kevra_tool::synthesize(s), "sample");
    const double period = 1e6 / (2.0 * s.mains_frequency);
    const double x = 3.14159265358979 * s.exposure_time / period;
    double mean_zone_gain = 0.0;
    for (double g : s.zone_gain) mean_zone_gain += g / 6.0;
    const double offset = s.level * s.channel_gain[1] * mean_zone_gain / 1023.0;  // in fractions of full scale
    const double amplitude = offset * s.depth * 2.0 / 3.0 * std::sin(x) / x;
    const kevra_tool::ChannelReport& ch = r.channels[1];
    EXPECT_NEAR(ch.amplitude[0], amplitude, 0.03 * amplitude);
    EXPECT_NEAR(ch.offset, offset, 0.002 * offset);
    const double lag = 5.0 * s.line_time;
    const double phase_error = std::remainder(double(ch.phase[0]) - lag, period);
    EXPECT_LT(std::fabs(phase_error), 0.02 * period) << "phase " << ch.phase[0];
}

}  // namespace

namespace {

struct Timing {
    double mains;
    double mains_phase;
    float start_time;
};

class DerivedConfidenceInput : public ::testing::TestWithParam<Timing> {};

// With equal zones every zone level is the row level, so the confidence
// index's fixed-point model, placed by the derived angles, may differ from
// the measured levels only by Q10 rounding (a few 1/1024).
TEST_P(DerivedConfidenceInput, PlacesTheFixedPointModelOnTheFittedOne) {
    Scene s = kevra_tool::builtin_sample_scene();
    s.zone_gain = {1, 1, 1, 1, 1, 1};
    s.mains_frequency = GetParam().mains;
    s.mains_phase = GetParam().mains_phase;
    s.start_time = GetParam().start_time;
    std::unique_ptr<QORKEVRA, void (*)(QORKEVRA*)> detector(QORKEVRA::createInstance(),
                                                            [](QORKEVRA* d) { d->destroyInstance(d); });
    const kevra_tool::DetectionReport r = kevra_tool::detect(*detector, kevra_tool::synthesize(s), "uniform");
    ASSERT_TRUE(r.flicker_detected);
    const double q10 = 1.0 / 1024.0;
    EXPECT_LT(r.confidence_debug.mean_error, (3 * q10) * (3 * q10));
    EXPECT_LT(r.confidence_debug.peak_error, 5 * (4 * q10) * (4 * q10));
}

INSTANTIATE_TEST_SUITE_P(StartsAndPhases, DerivedConfidenceInput,
                         ::testing::Values(Timing{50.0, 0.0, 0.0f}, Timing{50.0, 2500.0, 0.0f},
                                           Timing{60.0, 1000.0, 123456.0f}, Timing{50.0, 0.0, 987654.5f}),
                         [](const auto& case_info) { return "Case" + std::to_string(case_info.index); });

}  // namespace
