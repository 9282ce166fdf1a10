// The classifier with a camera in the loop: answers that hold while obedient
// exposures hide the lamp, and timing probes that settle what frames alone
// cannot, late or not at all honoured.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "kevra_scene.h"
#include "support/camera_loop.h"

namespace {

using kevra_test::LoopFrame;
using kevra_test::Picture;
using kevra_test::run_loop;
using kevra_test::SequencePlan;

using Classifier = std::unique_ptr<QORKEVRASCENE, void (*)(QORKEVRASCENE*)>;

Classifier classifier(bool probe) {
    Classifier c(QORKEVRASCENE::createInstance(), [](QORKEVRASCENE* s) { s->destroyInstance(s); });
    kevra_scene_settings settings{sizeof settings, probe ? 1 : 0, 5000000, 10000000000};
    EXPECT_EQ(c->SetSettings(&settings), KEVRA_STATUS_OK);
    return c;
}

SequencePlan scene(double mains, double fps, double a1, float exposure, Picture p = Picture::WindowOverDesk) {
    SequencePlan s;
    s.mains = mains;
    s.fps = fps;
    s.ripple[0] = a1;
    s.ripple[1] = 0.2 * a1;
    s.exposure = exposure;
    s.picture = p;
    return s;
}

int first_settled(const std::vector<LoopFrame>& frames, int32_t truth) {
    int settled = int(frames.size());
    for (int k = int(frames.size()) - 1; k >= 0 && frames[size_t(k)].result.scene_flicker == truth; --k) settled = k;
    return settled;
}

bool names_other_than(const std::vector<LoopFrame>& frames, int32_t truth) {
    for (const LoopFrame& f : frames)
        if (f.result.scene_flicker != KEVRA_SCENE_UNKNOWN && f.result.scene_flicker != truth) return true;
    return false;
}

int honoured_probes(const std::vector<LoopFrame>& frames, double fps) {
    int n = 0;
    for (const LoopFrame& f : frames) n += f.interval_ns > int64_t(1e9 / fps + 0.5) ? 1 : 0;
    return n;
}

// Once named, the lamp stays named while auto-exposure keeps whole periods
// that hide it, whether or not probing is allowed.
TEST(CameraLoop, ANamedLampStaysNamedWhileWholePeriodsHideIt) {
    for (bool probe : {false, true})
        for (int latency : {0, 3}) {
            const struct {
                SequencePlan s;
                int32_t truth;
                float period;
            } cases[] = {{scene(50, 30, 0.1, 12000.0f), KEVRA_SCENE_50HZ, 10000.0f},
                         {scene(60, 25, 0.1, 20000.0f), KEVRA_SCENE_60HZ, 16666.666f}};
            for (const auto& c : cases) {
                Classifier k = classifier(probe);
                const auto frames = run_loop(*k, c.s, 16, latency, true);
                EXPECT_LE(first_settled(frames, c.truth), 3) << c.truth << " latency " << latency;
                EXPECT_NEAR(frames.back().exposure, c.period, 1.0f) << "auto-exposure obeyed";
                EXPECT_EQ(honoured_probes(frames, c.s.fps), 0) << "a moving ripple needs no probe";
            }
        }
}

// Where the ripple stands still against the rows, one honoured probe settles
// lamp and no lamp alike, however late; ignored, the answer stays UNKNOWN.
TEST(CameraLoop, AProbeSettlesAStandingRippleAndNothingElseDoes) {
    const struct {
        const char* what;
        SequencePlan s;
        int32_t truth;
    } cases[] = {{"60 Hz lamp at 30 fps", scene(60, 30, 0.1, 4000.0f), KEVRA_SCENE_60HZ},
                 {"steady light at 30 fps", scene(60, 30, 0.0, 4000.0f), KEVRA_SCENE_NONE},
                 {"50 Hz lamp at 25 fps", scene(50, 25, 0.1, 4000.0f), KEVRA_SCENE_50HZ},
                 {"weak 60 Hz lamp at 24 fps", scene(60, 24, 0.02, 3000.0f), KEVRA_SCENE_60HZ}};
    for (const auto& c : cases) {
        for (int latency = 0; latency <= 3; ++latency) {
            Classifier k = classifier(true);
            const auto frames = run_loop(*k, c.s, 16, latency, true);
            EXPECT_LE(first_settled(frames, c.truth), 5 + latency) << c.what << ", latency " << latency;
            EXPECT_LE(honoured_probes(frames, c.s.fps), 2) << c.what;
            EXPECT_FALSE(names_other_than(frames, c.truth)) << c.what;
            for (const LoopFrame& f : frames) EXPECT_LE(f.interval_ns, int64_t(1e9 / c.s.fps + 0.5) + 5000000);
        }
        Classifier k = classifier(true);
        for (const LoopFrame& f : run_loop(*k, c.s, 16, 0, false))
            EXPECT_EQ(f.result.scene_flicker, KEVRA_SCENE_UNKNOWN) << c.what << ", requests ignored";
    }
}

// A lamp switched on or off where its ripple stands still changes the frames
// at its frequency though no timing explains it: the settled answer opens
// again and a probe settles the new one.
TEST(CameraLoop, ALampSwitchedWhereItsRippleStandsIsFollowed) {
    for (bool on : {true, false}) {
        SequencePlan s = scene(60, 30, 0.1, 3000.0f);
        (on ? s.lamp_off_before : s.lamp_off_from) = 8;
        Classifier k = classifier(true);
        const auto frames = run_loop(*k, s, 16, 0, true);
        const int32_t before = on ? KEVRA_SCENE_NONE : KEVRA_SCENE_60HZ, after = on ? KEVRA_SCENE_60HZ : KEVRA_SCENE_NONE;
        EXPECT_EQ(frames[7].result.scene_flicker, before) << (on ? "on" : "off");
        EXPECT_LE(first_settled(frames, after), 12) << (on ? "on" : "off");
        for (size_t f = 8; f < frames.size(); ++f) EXPECT_NE(frames[f].result.scene_flicker, before);
    }
}

// The settings: defaults, a record of an older, shorter size, and refusals
// that change nothing.
TEST(CameraLoop, SettingsKeepTheirContract) {
    Classifier k = classifier(false);
    kevra_scene_settings got{sizeof got, -7, -7, -7};
    ASSERT_EQ(k->GetSettings(&got), KEVRA_STATUS_OK);
    EXPECT_EQ(got.probe, 0);
    EXPECT_EQ(got.longest_extra_ns, 5000000);
    kevra_scene_settings older{8, 1, 123, 456};  // a caller that knows only the first two fields
    ASSERT_EQ(k->SetSettings(&older), KEVRA_STATUS_OK);
    ASSERT_EQ(k->GetSettings(&got), KEVRA_STATUS_OK);
    EXPECT_EQ(got.probe, 1);
    EXPECT_EQ(got.longest_extra_ns, 5000000);
    const kevra_scene_settings refused[] = {{4, 1, 0, 0}, {12, 1, 0, 0}, {24, 2, 0, 0}, {24, 0, -1, 0},
                                            {24, 0, 100000001, 0}, {24, 0, 0, -1}};
    for (const auto& r : refused) EXPECT_EQ(k->SetSettings(&r), KEVRA_STATUS_INVALID_ARGUMENT) << r.size;
    EXPECT_EQ(k->SetSettings(nullptr), KEVRA_STATUS_INVALID_ARGUMENT);
    ASSERT_EQ(k->GetSettings(&got), KEVRA_STATUS_OK);
    EXPECT_EQ(got.probe, 1);
    kevra_scene_request request{sizeof request, -7, -7};
    ASSERT_EQ(k->GetTimingRequest(&request), KEVRA_STATUS_OK);
    EXPECT_EQ(request.frame_interval_ns, 0);
    EXPECT_EQ(request.size, sizeof request);
    kevra_scene_request short_request{3, -7, -7};
    EXPECT_EQ(k->GetTimingRequest(&short_request), KEVRA_STATUS_INVALID_ARGUMENT);
}

}  // namespace
