// The default tuning on synthetic scenes: the lamp's flicker is found at the
// scene's mains frequency, steady light is left alone, the fit recovers the
// ripple that the synthesis put in, and the derived confidence input places
// the fixed-point model on the fitted one.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "builtin_sample.h"
#include "detection.h"
#include "scene_synthesis.h"

namespace {

// A rectified-sine lamp ripples at twice mains with amplitude 2/3 x depth of
// the mean light, at its trough when the supply crosses zero; the exposure
// averages it by sin(x)/x with x = pi E / period. Channel 1 sits on the even
// lines of each row, 5 lines after the fit's row time. With equal zones every
// zone level is the row level, so the confidence errors are Q10 rounding.
TEST(DefaultTuning, ReportsFlickerExactlyWhenTheLampFlickersAndRecoversTheRipple) {
    const struct { double mains, depth; float exposure, start; uint64_t seed; bool flicker; } cases[] = {
        {50.0, 0.25, 4000.0f, 0.0f, 50, true},  {50.0, 0.3, 3000.0f, 987654.5f, 7, true},
        {60.0, 0.3, 3000.0f, 123456.0f, 8, true}, {50.0, 0.1, 7000.0f, 0.0f, 9, true},
        {60.0, 0.1, 1000.0f, 0.0f, 10, true},    {50.0, 0.0, 4000.0f, 0.0f, 11, false},
        {60.0, 0.0, 3000.0f, 0.0f, 12, false},   {50.0, 0.0, 500.0f, 0.0f, 13, false},
        {50.0, 0.5, 10000.0f, 0.0f, 14, false},  // whole ripples exposed
    };
    std::unique_ptr<QORKEVRA, void (*)(QORKEVRA*)> detector(QORKEVRA::createInstance(),
                                                            [](QORKEVRA* d) { d->destroyInstance(d); });
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "seed " << c.seed);
        kevra_tool::Scene s = kevra_tool::builtin_sample_scene();
        s.zone_gain = {1, 1, 1, 1, 1, 1};
        s.mains_frequency = c.mains;
        s.mains_phase = double(c.seed) * 731.0;
        s.depth = c.depth;
        s.exposure_time = c.exposure;
        s.start_time = c.start;
        s.seed = c.seed;
        const kevra_tool::DetectionReport r = kevra_tool::detect(*detector, kevra_tool::synthesize(s), "scene");
        const kevra_tool::ChannelReport& ch = r.channels[1];
        EXPECT_EQ(r.flicker_detected, c.flicker) << "model range " << r.model_range;
        for (const kevra_tool::ChannelReport& each : r.channels) EXPECT_GT(each.iterations, 0);
        if (!c.flicker) continue;
        const double period = 1e6 / (2.0 * s.mains_frequency), x = 3.14159265358979 * s.exposure_time / period;
        const double offset = s.level * s.channel_gain[1] / 1023.0;
        const double amplitude = offset * s.depth * 2.0 / 3.0 * std::sin(x) / x;
        EXPECT_NEAR(ch.amplitude[0], amplitude, 0.03 * amplitude);
        EXPECT_NEAR(ch.offset, offset, 0.002 * offset);
        const double lag = 5.0 * s.line_time - s.mains_phase;
        EXPECT_LT(std::fabs(std::remainder(double(ch.phase[0]) - lag, period)), 0.02 * period);
        EXPECT_LT(r.confidence_debug.mean_error, 9.0 / (1024 * 1024));  // 3 Q10 units
        EXPECT_LT(r.confidence_debug.peak_error, 5 * 16.0 / (1024 * 1024));  // 5 rows of 4
    }
}

}  // namespace
