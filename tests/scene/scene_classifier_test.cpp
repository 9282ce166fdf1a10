// The scene classifier: its contract as an interface, and its answers on
// sequences whose right answer is certain from the physics.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "kevra_scene.h"
#include "scene/scene_decision.h"
#include "support/scene_sequence.h"

namespace {

using kevra_test::make_sequence;
using kevra_test::Picture;
using kevra_test::SequencePlan;

struct Classifier {
    std::unique_ptr<QORKEVRASCENE, void (*)(QORKEVRASCENE*)> s{QORKEVRASCENE::createInstance(),
                                                             [](QORKEVRASCENE* c) { c->destroyInstance(c); }};
    std::vector<kevra_scene_result> run(const std::vector<kevra_test::SequenceFrame>& frames) {
        std::vector<kevra_scene_result> out;
        for (const auto& f : frames) {
            kevra_scene_result r{};
            EXPECT_EQ(s->ProcessFrame(&f.frame, &r), KEVRA_STATUS_OK);
            out.push_back(r);
        }
        return out;
    }
};

bool same_results(const std::vector<kevra_scene_result>& a, const std::vector<kevra_scene_result>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(kevra_scene_result)) == 0;
}

SequencePlan lamp(double mains, double fps, double a1, Picture p = Picture::Uniform) {
    SequencePlan s;
    s.mains = mains;
    s.fps = fps;
    s.ripple[0] = a1;
    s.ripple[1] = 0.2 * a1;
    s.picture = p;
    return s;
}

// Every refused frame leaves the result and the evidence as they were: the
// sequence around the refusals answers exactly as it does without them.
TEST(SceneClassifier, RefusesBadFramesWithoutTouchingResultOrState) {
    const auto frames = make_sequence(lamp(50, 30, 0.1, Picture::Gradient));
    const auto want = Classifier().run(frames);

    Classifier c;
    std::vector<kevra_scene_result> got;
    for (size_t k = 0; k < frames.size(); ++k) {
        const kevra_scene_frame good = frames[k].frame;
        std::vector<kevra_scene_frame> bad(15, good);
        bad[0].sum_stream = nullptr;
        bad[1].count_stream = nullptr;
        bad[2].row_num = 0;
        bad[3].row_num = KEVRA_MAX_ROWS + 1;
        bad[4].lines_per_row = 0;
        bad[5].line_time = 0.0f;
        bad[6].exposure_time = -1.0f;
        bad[7].exposure_time = std::nanf("");
        bad[8].exposure_time = 0.0f;
        bad[9].exposure_time = HUGE_VALF;
        bad[10].line_time = -HUGE_VALF;
        bad[11].line_time = std::nanf("");
        bad[12].exposure_time = 1.1e7f;        // longer than any frame may span
        bad[13].lines_per_row = INT32_MAX;     // rows that would end years later
        bad[14].timestamp_ns = k == 0 ? good.timestamp_ns : frames[k - 1].frame.timestamp_ns;
        if (k == 0) bad.pop_back();
        for (size_t i = 0; i < bad.size(); ++i) {
            kevra_scene_result r;
            std::memset(&r, 0xA5, sizeof r);
            const kevra_scene_result before = r;
            EXPECT_EQ(c.s->ProcessFrame(&bad[i], &r), KEVRA_STATUS_INVALID_ARGUMENT) << "frame " << k << " case " << i;
            EXPECT_EQ(std::memcmp(&r, &before, sizeof r), 0) << "frame " << k << " case " << i;
        }
        EXPECT_EQ(c.s->ProcessFrame(&frames[k].frame, nullptr), KEVRA_STATUS_INVALID_ARGUMENT);
        kevra_scene_result r{};
        EXPECT_EQ(c.s->ProcessFrame(&frames[k].frame, &r), KEVRA_STATUS_OK);
        got.push_back(r);
    }
    EXPECT_TRUE(same_results(want, got));

    // A reset forgets the sequence: the same frames then answer as from new,
    // even though their timestamps now go back in time.
    c.s->Reset();
    EXPECT_TRUE(same_results(want, c.run(frames)));

    // Timestamps further apart than an int64 holds.
    c.s->Reset();
    kevra_scene_frame early = frames[0].frame, late = frames[1].frame;
    early.timestamp_ns = INT64_MIN;
    late.timestamp_ns = INT64_MAX;
    kevra_scene_result r{};
    EXPECT_EQ(c.s->ProcessFrame(&early, &r), KEVRA_STATUS_OK);
    EXPECT_EQ(c.s->ProcessFrame(&late, &r), KEVRA_STATUS_INVALID_ARGUMENT);
}

// A frame that cannot be paired with the one before starts everything anew,
// the reported answer included.
TEST(SceneClassifier, AGapStartsTheAnswerAnew) {
    auto frames = make_sequence(lamp(50, 30, 0.1, Picture::Gradient));
    Classifier c;
    EXPECT_EQ(c.run(frames).back().scene_flicker, KEVRA_SCENE_50HZ);
    for (auto& f : frames) f.frame.timestamp_ns += 1000000000;
    const auto after = c.run({frames[0]});
    EXPECT_EQ(after[0].scene_flicker, KEVRA_SCENE_UNKNOWN);
    EXPECT_EQ(after[0].frames, 1);
}

struct Case {
    const char* what;
    SequencePlan plan;
    int32_t answer;  // after the last frame; kNoLamp: NONE or UNKNOWN
};

constexpr int32_t kNoLamp = -2;

// Right answers from physics: a ripple that moves between frames is found at
// its frequency on any picture; steady light and exposures of whole ripple
// periods are not flicker; a ripple that stands still in the frame cannot be
// told from the picture, and is not guessed.
TEST(SceneClassifier, AnswersWhatThePhysicsDecides) {
    std::vector<Case> cases;
    cases.push_back({"50 Hz lamp, 30 fps, gradient", lamp(50, 30, 0.1, Picture::Gradient), KEVRA_SCENE_50HZ});
    SequencePlan moving = lamp(60, 25, 0.05, Picture::WindowOverDesk);
    moving.motion = 48;  // three rows: a sub-row shift of this texture is a new picture
    moving.drift = 0.003;
    cases.push_back({"60 Hz lamp, 25 fps, window over desk, camera moving", moving, KEVRA_SCENE_60HZ});
    cases.push_back({"weak 60 Hz lamp, 50 fps", lamp(60, 50, 0.02, Picture::Gradient), KEVRA_SCENE_60HZ});
    cases.push_back({"steady light, gradient, 24 fps", lamp(50, 24, 0.0, Picture::Gradient), KEVRA_SCENE_NONE});
    SequencePlan whole = lamp(50, 30, 0.3);
    whole.exposure = 10000.0f;
    cases.push_back({"50 Hz lamp, exposure 10 ms", whole, KEVRA_SCENE_NONE});
    cases.push_back({"60 Hz lamp standing still at 30 fps, window over desk",
                     lamp(60, 30, 0.1, Picture::WindowOverDesk), KEVRA_SCENE_UNKNOWN});
    SequencePlan change = lamp(60, 30, 0.1, Picture::WindowOverDesk);
    change.change_frame = 3;
    change.exposure_after = 6000.0f;
    cases.push_back({"60 Hz lamp standing still, then an exposure change", change, KEVRA_SCENE_60HZ});
    SequencePlan few = lamp(50, 30, 0.1);
    few.rows = 8;  // too few to separate an offset and three harmonics
    cases.push_back({"50 Hz lamp seen in 8 rows", few, KEVRA_SCENE_UNKNOWN});
    SequencePlan partial = lamp(50, 30, 0.1, Picture::WindowOverDesk);
    partial.lamp_zones = 0x3;  // the left third, by a lamp with a third daylight
    partial.daylight = 0.3;
    cases.push_back({"50 Hz lamp lighting two zones, daylight elsewhere", partial, KEVRA_SCENE_50HZ});
    SequencePlan pan = lamp(60, 25, 0.08, Picture::WindowOverDesk);
    pan.motion = 24 * 16 + 5;  // 24.3 rows a frame; the ripple moves 0.45 of a period against the picture
    cases.push_back({"60 Hz lamp, camera panning 24 rows a frame", pan, KEVRA_SCENE_60HZ});
    pan.ripple[0] = pan.ripple[1] = 0.0;
    cases.push_back({"steady light, camera panning 24 rows a frame", pan, kNoLamp});
    // A bright band in two zones, moving as fast as a 50 Hz ripple rolls at
    // 30 fps (27.8 rows a frame), either way: it is an object, not a lamp.
    for (const int speed : {444, -444}) {
        SequencePlan object = lamp(50, 30, 0.0, Picture::Gradient);
        object.band_zones = 0x6;
        object.band_gain = 1.8;
        object.band_first = 1600;
        object.band_speed = speed;
        cases.push_back({"no lamp, a band moving at a ripple's roll", object, kNoLamp});
        object.ripple[0] = 0.1;
        object.mains = 60;
        object.fps = 25;
        cases.push_back({"60 Hz lamp, a band moving in two zones", object, KEVRA_SCENE_60HZ});
    }
    for (const Case& k : cases) {
        const auto results = Classifier().run(make_sequence(k.plan));
        if (k.answer != kNoLamp) {
            EXPECT_EQ(results.back().scene_flicker, k.answer) << k.what;
        }
        if (k.answer == KEVRA_SCENE_50HZ || k.answer == KEVRA_SCENE_60HZ) continue;
        for (const auto& r : results) EXPECT_TRUE(r.scene_flicker != 50 && r.scene_flicker != 60) << k.what;
    }
}

}  // namespace

namespace {

// Frames from a lamp switched off (or on) part-way: the answer follows within
// a few frames, and it never names the other frequency on the way.
TEST(SceneClassifier, FollowsALampSwitchedOnOrOffWithinFourFrames) {
    for (const bool on : {true, false}) {
        SequencePlan s = lamp(50, 30, 0.1, Picture::Gradient);
        s.frames = 16;
        (on ? s.lamp_off_before : s.lamp_off_from) = 6;
        const auto results = Classifier().run(make_sequence(s));
        const int32_t before = on ? KEVRA_SCENE_NONE : KEVRA_SCENE_50HZ, after = on ? KEVRA_SCENE_50HZ : KEVRA_SCENE_NONE;
        EXPECT_EQ(results[5].scene_flicker, before) << (on ? "on" : "off");
        int switched = -1;
        for (int k = 6; k < s.frames && switched < 0; ++k)
            if (results[size_t(k)].scene_flicker == after) switched = k;
        EXPECT_TRUE(switched >= 6 && switched <= 9) << (on ? "on" : "off") << ": frame " << switched;
        for (const auto& r : results) EXPECT_NE(r.scene_flicker, KEVRA_SCENE_60HZ);
    }
}

TEST(SceneHysteresis, OneOddFrameDoesNotFlipTheAnswerTwoDo) {
    kevra_scene::Hysteresis h;
    const int32_t frames[] = {-1, 50, 50, 60, 50, 0, -1, 50, 60, 60, 60};
    const int32_t reported[] = {-1, -1, 50, 50, 50, 50, 50, 50, 50, 60, 60};
    for (size_t k = 0; k < sizeof frames / sizeof frames[0]; ++k)
        EXPECT_EQ(h.update({frames[k], 0.5}).answer, reported[k]) << "frame " << k;
    h.reset();
    EXPECT_EQ(h.update({50, 0.5}).answer, KEVRA_SCENE_UNKNOWN);
}

}  // namespace
