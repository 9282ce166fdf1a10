// The confounders the benchmark adds: a lamp over part of the frame, moving
// objects, shake, brightness steps and exposure ramps; and scenes without
// them synthesize the bytes they always did.
#include <gtest/gtest.h>

#include <cmath>

#include "scene_synthesis.h"

namespace {

using kevra_tool::Capture;
using kevra_tool::Scene;
using kevra_tool::SequenceOptions;

double level(const Capture& c, int row, int zone) {  // green channel 1
    const size_t w = size_t(row) * 24 + size_t(4 * zone + 1);
    return double(c.sum_stream[w]) / double(c.count_stream[w] & 0xFFFFFF);
}

// Flat grey zones, no noise, exact levels.
Scene flat_scene() {
    Scene s;
    s.rows = 64;
    s.lines_per_row = 4;
    s.zone_width = 8;
    s.bit_depth = 14;
    s.level = 4000.0;
    s.noise = 0.0;
    s.zone_gain = {1.0, 1.0, 1.0, 1.0, 1.0, 1.0};
    s.channel_gain = {1.0, 1.0, 1.0, 1.0};
    s.depth = 0.0;
    return s;
}

double zone_ripple(const Capture& c, int zone) {
    double lo = 1e30, hi = 0.0;
    for (int r = 0; r < c.parameter.row_num; ++r) lo = std::min(lo, level(c, r, zone)), hi = std::max(hi, level(c, r, zone));
    return (hi - lo) / hi;
}

// A lamp over the left third (zones 0 and 1) bands those zones as a full
// lamp would and leaves the rest flat; the visible ripple is the lit zones'.
TEST(SceneConfounders, PartialLampRipplesOnlyInItsZones) {
    Scene s = flat_scene();
    s.depth = 0.5;
    s.exposure_time = 1000.0f;
    s.line_time = 20.0f;
    const kevra_tool::SynthFrame whole = kevra_tool::synthesize_sequence(s, SequenceOptions{})[0];
    s.lamp_coverage = kevra_tool::LampCoverage{0.0, 1.0 / 3.0, 0.0, 0.0};
    const kevra_tool::SynthFrame part = kevra_tool::synthesize_sequence(s, SequenceOptions{})[0];
    for (int z = 0; z < 6; ++z) {
        if (z < 2) EXPECT_NEAR(zone_ripple(part.capture, z), zone_ripple(whole.capture, z), 1e-4) << z;
        else EXPECT_EQ(zone_ripple(part.capture, z), 0.0) << z;
    }
    EXPECT_GT(whole.visible_ripple, 0.3);
    EXPECT_NEAR(part.visible_ripple, whole.visible_ripple, 1e-12);
    s.lamp_coverage->edge = 1.0 / 3.0;  // soft: zone 1 half lit on average, zone 2 a little
    const double soft = kevra_tool::synthesize_sequence(s, SequenceOptions{})[0].visible_ripple;
    EXPECT_LT(soft, whole.visible_ripple);
    EXPECT_GT(soft, 0.5 * whole.visible_ripple);
}

// A dark box over zone 1 moves down 8 rows a frame; one over zone 1 moving a
// zone's width right a frame lands on zone 2.
TEST(SceneConfounders, ObjectMovesByItsMotionEachFrame) {
    const struct {
        double lines, columns;
        int row_step, zone_step;
    } cases[] = {{32.0, 0.0, 8, 0}, {0.0, 8.0, 0, 1}};
    for (const auto& k : cases) {
        Scene s = flat_scene();
        s.object = kevra_tool::MovingObject{{1.0 / 6.0, 0.0, 1.0 / 6.0, 0.25}, k.lines, k.columns, kevra_tool::ObjectLook::Dark, nullptr};
        SequenceOptions o;
        o.frames = 3;
        const auto frames = kevra_tool::synthesize_sequence(s, o);
        for (int n = 0; n < 3; ++n)
            for (int z = 0; z < 6; ++z)
                for (int r = 0; r < s.rows; ++r) {
                    const bool inside = z == 1 + n * k.zone_step && r >= n * k.row_step && r < 16 + n * k.row_step;
                    ASSERT_NEAR(level(frames[size_t(n)].capture, r, z), inside ? 400.0 : 4000.0, 0.5)
                        << "frame " << n << " zone " << z << " row " << r;
                }
    }
}

TEST(SceneConfounders, JitterIsSeededBoundedAndLeavesFrameZero) {
    EXPECT_EQ(kevra_tool::jitter(7, 0, 10.0, 20.0).lines, 0.0);
    bool differs = false;
    for (int n = 1; n < 50; ++n) {
        const auto a = kevra_tool::jitter(7, n, 10.0, 20.0), b = kevra_tool::jitter(7, n, 10.0, 20.0);
        EXPECT_EQ(a.lines, b.lines);
        EXPECT_EQ(a.columns, b.columns);
        EXPECT_LE(std::fabs(a.lines), 10.0);
        EXPECT_LE(std::abs(a.columns), 20);
        EXPECT_EQ(a.columns % 2, 0);
        differs |= kevra_tool::jitter(8, n, 10.0, 20.0).lines != a.lines;
    }
    EXPECT_TRUE(differs);

    Scene s = flat_scene();
    s.object = kevra_tool::MovingObject{{0.3, 0.3, 0.3, 0.3}, 0.0, 0.0, kevra_tool::ObjectLook::Bright, nullptr};
    SequenceOptions o;
    o.frames = 3;
    o.jitter_lines = 20.0;
    o.jitter_columns = 10.0;
    const auto a = kevra_tool::synthesize_sequence(s, o), b = kevra_tool::synthesize_sequence(s, o);
    EXPECT_EQ(a[0].capture.sum_stream, kevra_tool::synthesize(s).sum_stream);
    EXPECT_EQ(a[2].capture.sum_stream, b[2].capture.sum_stream);
    EXPECT_NE(a[2].capture.sum_stream, a[0].capture.sum_stream);
}

// A step scales every level from its frame on; a ramp scales the exposure by
// its factor a frame and keeps the level.
TEST(SceneConfounders, BrightnessStepsAtItsFrameAndRampsKeepTheLevel) {
    const Scene s = flat_scene();
    SequenceOptions o;
    o.frames = 4;
    o.brightness_step_frame = 2;
    o.brightness_step = 1.5;
    const auto stepped = kevra_tool::synthesize_sequence(s, o);
    for (int n = 0; n < 4; ++n) EXPECT_NEAR(level(stepped[size_t(n)].capture, 10, 3), n < 2 ? 4000.0 : 6000.0, 0.5) << n;

    o = SequenceOptions{};
    o.frames = 3;
    o.exposure_ramp = 0.9;
    const auto ramped = kevra_tool::synthesize_sequence(s, o);
    EXPECT_EQ(ramped[2].capture.parameter.exposure_time, float(4000.0 * 0.9 * 0.9));
    EXPECT_NEAR(level(ramped[2].capture, 10, 3), 4000.0, 0.5);
}

// FNV-1a over every frame's words: scenes without confounders are pinned to
// the bytes they synthesized before confounders existed.
uint64_t streams_hash(const std::vector<kevra_tool::SynthFrame>& frames) {
    uint64_t h = 0xcbf29ce484222325ull;
    for (const auto& f : frames)
        for (const auto* stream : {&f.capture.sum_stream, &f.capture.count_stream})
            for (uint32_t w : *stream)
                for (int b = 0; b < 4; ++b) h = (h ^ ((w >> (8 * b)) & 0xFF)) * 0x100000001b3ull;
    return h;
}

TEST(SceneConfounders, ScenesWithoutThemKeepTheirBytes) {
    Scene plain = flat_scene();
    plain.depth = 0.3;
    plain.noise = 3.0;
    Scene picture = plain;
    auto p = std::make_shared<kevra_tool::Picture>();
    p->width = 7, p->height = 5, p->channels = 3;
    for (int i = 0; i < 7 * 5 * 3; ++i) p->pixels.push_back(float(1 + i % 11));
    picture.picture = p;
    picture.lamp = *kevra_tool::find_lamp("led-rectified");
    picture.daylight = 0.3;
    picture.full_well = 6000.0;
    picture.mains_frequency = 60.0;
    SequenceOptions o;
    o.frames = 3;
    o.motion_lines = 7.5;
    o.exposure_change_frame = 2;
    o.exposure_after = 3000.0f;
    EXPECT_EQ(streams_hash(kevra_tool::synthesize_sequence(picture, o)), UINT64_C(12155683070581216678));
    o.motion_lines = 0.0;
    EXPECT_EQ(streams_hash(kevra_tool::synthesize_sequence(plain, o)), UINT64_C(10664444548826022829));
}

}  // namespace
