// Synthetic scenes against independent expectations: a picture's rows under
// steady light and under a sinusoidal lamp (closed form), the lamp's phase
// running on in absolute time across a sequence, camera motion, the noise
// model's variance, and the catalogue lamps' waveforms.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>

#include "scene_synthesis.h"

namespace {

using kevra_tool::Capture;
using kevra_tool::Lamp;
using kevra_tool::Picture;
using kevra_tool::Scene;
using kevra_tool::SequenceOptions;

constexpr double kPi = 3.14159265358979323846;

std::shared_ptr<const Picture> make_picture(int width, int height, int channels,
                                            const std::function<float(int x, int y, int c)>& value) {
    auto p = std::make_shared<Picture>();
    p->width = width;
    p->height = height;
    p->channels = channels;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < channels; ++c) p->pixels.push_back(value(x, y, c));
    return p;
}

double level(const Capture& c, int row, int word) {
    const uint32_t count = c.count_stream[size_t(row) * 24 + size_t(word)] & 0xFFFFFF;
    return double(c.sum_stream[size_t(row) * 24 + size_t(word)]) / count;
}

// One picture row per statistic row, brighter towards the bottom and from
// zone to zone; RGB with distinct channels so the colour pattern shows.
Scene picture_scene() {
    Scene s;
    s.rows = 16;
    s.lines_per_row = 4;
    s.zone_width = 8;
    s.bit_depth = 14;
    s.level = 1500.0;  // the brightest pixel under the deepest lamp stays below full scale
    s.noise = 0.0;
    s.channel_gain = {1.0, 1.0, 1.0, 1.0};
    s.picture = make_picture(6, 16, 3, [](int x, int y, int c) { return float((1 + y) * (1 + x)) * (c == 0 ? 0.5f : c == 2 ? 2.0f : 1.0f); });
    return s;
}

// The pixel mean the picture gives: value over the mean of all values.
double content(const Scene& s, int zone, int row, int word_channel) {
    const Picture& p = *s.picture;
    double total = 0.0;
    for (float v : p.pixels) total += v;
    const int rgb = word_channel == 0 ? 0 : word_channel == 3 ? 2 : 1;
    return p.at(zone, row, rgb) / (total / double(p.pixels.size()));
}

// light(x) = 1 - m cos 2x: its mean over [x0, x1] is 1 - m cos(x0 + x1) sin(x1 - x0) / (x1 - x0).
double sinusoid_mean(double m, double x0, double x1) {
    return 1.0 - m * std::cos(x0 + x1) * std::sin(x1 - x0) / (x1 - x0);
}

TEST(SceneSynthesis, PictureRowsTimesTheExposureIntegratedLamp) {
    struct Case {
        const char* name;
        double depth, daylight, drift;
        float exposure;
    } cases[] = {
        {"steady", 0.0, 0.0, 0.0, 4000.0f},
        {"sinusoid", 0.3, 0.0, 0.0, 4000.0f},
        {"sinusoid under daylight", 0.3, 0.5, 0.0, 2500.0f},
        {"drifting supply", 0.6, 0.0, 0.004, 1000.0f},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.name);
        Scene s = picture_scene();
        s.lamp = Lamp{"test", "", {k.depth}, {0.0}, 0.0, 0.0};
        s.daylight = k.daylight;
        s.mains_drift = k.drift;
        s.exposure_time = k.exposure;
        s.start_time = 1234.0f;
        const Capture c = kevra_tool::synthesize(s);
        const double w = 2.0 * kPi * 50.0 * (1.0 + k.drift) * 1e-6;  // supply radians per us
        for (int row = 0; row < s.rows; ++row) {
            for (int zone = 0; zone < 6; ++zone) {
                for (int ch = 0; ch < 4; ++ch) {
                    double expected = 0.0;
                    for (int l = ch / 2; l < s.lines_per_row; l += 2) {
                        const double t = s.start_time + (row * s.lines_per_row + l) * double(s.line_time);
                        const double lamp = sinusoid_mean(k.depth, w * t, w * (t + k.exposure));
                        expected += s.level * content(s, zone, row, ch) * ((1.0 - k.daylight) * lamp + k.daylight);
                    }
                    expected /= s.lines_per_row / 2;
                    ASSERT_NEAR(level(c, row, 4 * zone + ch), expected, 0.5) << "row " << row << " zone " << zone << " channel " << ch;
                }
            }
        }
    }
}

// Frames a whole number of ripple periods apart see the same light on every
// row; half a period apart, the light of a single frame started that much
// later. Timestamps are spaced by the frame period.
TEST(SceneSynthesis, SequenceLampPhaseRunsOnInAbsoluteTime) {
    Scene s = picture_scene();
    s.lamp = *kevra_tool::find_lamp("fluorescent-magnetic");
    s.mains_drift = 40e6 / 39.92e6 - 1.0;  // four ripple periods take a whole number of ns
    SequenceOptions o;
    o.frames = 3;
    o.fps = 2.0 * 50.0 * (1.0 + s.mains_drift) / 4.0;
    const auto whole = kevra_tool::synthesize_sequence(s, o);
    ASSERT_EQ(whole.size(), 3u);
    EXPECT_GT(*whole[0].capture.timestamp_ns, INT64_C(1000000000000));
    for (int n = 1; n < 3; ++n) {
        EXPECT_EQ(whole[n].capture.sum_stream, whole[0].capture.sum_stream);
        EXPECT_NEAR(whole[n].visible_ripple, whole[0].visible_ripple, 1e-9);
        EXPECT_EQ(*whole[n].capture.timestamp_ns - *whole[0].capture.timestamp_ns, std::llround(n * 1e9 / o.fps));
    }

    s.mains_drift = 0.0;
    o.fps = 40.0;  // 25 ms: two and a half ripple periods
    o.first_timestamp_ns = 5;
    const auto half = kevra_tool::synthesize_sequence(s, o);
    EXPECT_EQ(*half[1].capture.timestamp_ns, 25000005);
    EXPECT_NE(half[1].capture.sum_stream, half[0].capture.sum_stream);
    Scene later = s;
    later.start_time = s.start_time + 25000.0f;
    EXPECT_EQ(half[1].capture.sum_stream, kevra_tool::synthesize(later).sum_stream);
}

// The picture moves down by --motion lines a frame; exposure changes apply
// from their frame on.
TEST(SceneSynthesis, MotionShiftsThePictureDownAndExposureChangesFromItsFrame) {
    Scene s = picture_scene();
    s.depth = 0.0;
    SequenceOptions o;
    o.frames = 3;
    o.motion_lines = 4.0;  // one statistic row
    o.exposure_change_frame = 2;
    o.exposure_after = 1500.0f;
    const auto frames = kevra_tool::synthesize_sequence(s, o);
    for (int row = 1; row < s.rows; ++row)
        for (int w = 0; w < 24; ++w) ASSERT_EQ(level(frames[1].capture, row, w), level(frames[0].capture, row - 1, w));
    EXPECT_EQ(frames[1].capture.parameter.exposure_time, 4000.0f);
    EXPECT_EQ(frames[2].capture.parameter.exposure_time, 1500.0f);
}

// Per-pixel variance read back from row sums of a flat scene: read noise
// alone, and shot noise growing with the signal (variance = mean / gain).
TEST(SceneSynthesis, NoiseVarianceFollowsTheSensorModel) {
    struct Case {
        double level, noise, full_well;
    } cases[] = {{300.0, 3.0, 0.0}, {100.0, 0.0, 4000.0}, {400.0, 0.0, 4000.0}, {400.0, 2.0, 20000.0}};
    for (const Case& k : cases) {
        Scene s;
        s.depth = 0.0;
        s.zone_gain = {1, 1, 1, 1, 1, 1};
        s.channel_gain = {1, 1, 1, 1};
        s.lines_per_row = 2;
        s.zone_width = 16;  // 8 pixels a word
        s.level = k.level;
        s.noise = k.noise;
        s.full_well = k.full_well;
        const Capture c = kevra_tool::synthesize(s);
        double sum = 0.0, square = 0.0;
        const int n = s.rows * 24;
        for (int i = 0; i < n; ++i) {
            sum += c.sum_stream[size_t(i)];
            square += double(c.sum_stream[size_t(i)]) * c.sum_stream[size_t(i)];
        }
        const double pixels = 8.0;
        const double variance = (square / n - (sum / n) * (sum / n)) / pixels;
        const double expected = k.noise * k.noise + (k.full_well > 0 ? k.level * 1023.0 / k.full_well : 0.0) + 1.0 / 12.0;
        EXPECT_NEAR(variance, expected, 0.15 * expected) << "level " << k.level << " full well " << k.full_well;
        EXPECT_NEAR(sum / n / pixels, k.level, 0.5);
    }
}

// Every catalogue lamp has mean 1 over a half cycle of the supply and never
// goes dark below zero.
TEST(LampCatalogue, WaveformsHaveMeanOneAndNoNegativeLight) {
    for (const Lamp& lamp : kevra_tool::lamp_catalogue()) {
        SCOPED_TRACE(lamp.name);
        EXPECT_NEAR(kevra_tool::lamp_light_mean(lamp, 0.3, 0.3 + kPi), 1.0, 1e-12);
        for (int i = 0; i < 1000; ++i) EXPECT_GT(kevra_tool::lamp_light_mean(lamp, i * kPi / 1000, i * kPi / 1000), -0.01);
        EXPECT_GE(lamp.percent_flicker, 0.0);
        EXPECT_LE(lamp.percent_flicker, 100.0);
    }
    EXPECT_EQ(kevra_tool::find_lamp("no such lamp"), nullptr);
}

}  // namespace
