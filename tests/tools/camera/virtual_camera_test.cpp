// The virtual camera's loop: auto-exposure obeying the answer, requests and
// answers applied after the latency, a lamp switched on part-way.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "auto_exposure.h"
#include "tool_test_support.h"
#include "virtual_camera.h"

namespace kevra_tool {
namespace {

kevra_scene_result answer(int32_t flicker) {
    kevra_scene_result r{};
    r.scene_flicker = flicker;
    r.ripple_period_us = flicker == KEVRA_SCENE_50HZ ? 10000.0f : flicker == KEVRA_SCENE_60HZ ? 8333.333f : 0.0f;
    return r;
}

TEST(AutoExposure, WholePeriodsOnceNamedOwnExposureWhenTooBrightNoneFreesUnknownKeeps) {
    AutoExposure ae;
    EXPECT_EQ(ae.exposure_for(25000.0f), 25000.0f);
    ae.obey(answer(KEVRA_SCENE_50HZ));
    EXPECT_EQ(ae.exposure_for(25000.0f), 20000.0f);
    EXPECT_EQ(ae.exposure_for(10000.0f), 10000.0f);
    EXPECT_EQ(ae.exposure_for(4000.0f), 4000.0f);  // brighter than one period allows
    ae.obey(answer(KEVRA_SCENE_60HZ));
    EXPECT_EQ(ae.exposure_for(17000.0f), 2.0f * 8333.333f);
    ae.obey(answer(KEVRA_SCENE_UNKNOWN));
    EXPECT_EQ(ae.exposure_for(17000.0f), 2.0f * 8333.333f);
    ae.obey(answer(KEVRA_SCENE_NONE));
    EXPECT_EQ(ae.exposure_for(17000.0f), 17000.0f);
}

// Answers and asks on a script, and remembers what the camera sent.
class ScriptedClassifier : public QORKEVRASCENE {
public:
    int answer_from = 1 << 30;            // frames from this one on answer 50 Hz
    int ask_at = -1;                      // the frame after which a request is made
    int64_t ask_ns = 0;
    std::vector<int64_t> timestamps;
    std::vector<float> exposures;

    void destroyInstance(QORKEVRASCENE*) override {}
    int32_t ProcessFrame(const kevra_scene_frame* f, kevra_scene_result* r) override {
        timestamps.push_back(f->timestamp_ns);
        exposures.push_back(f->exposure_time);
        *r = answer(int(timestamps.size()) - 1 >= answer_from ? KEVRA_SCENE_50HZ : KEVRA_SCENE_UNKNOWN);
        return KEVRA_STATUS_OK;
    }
    void Reset() override {
        timestamps.clear();
        exposures.clear();
    }
    int32_t SetSettings(const kevra_scene_settings*) override { return KEVRA_STATUS_OK; }
    int32_t GetSettings(kevra_scene_settings*) const override { return KEVRA_STATUS_OK; }
    int32_t GetTimingRequest(kevra_scene_request* q) const override {
        q->hypotheses = 0;
        q->frame_interval_ns = int(timestamps.size()) - 1 == ask_at ? ask_ns : 0;
        return KEVRA_STATUS_OK;
    }
};

CameraScene small_scene(int frames) {
    CameraScene c;
    c.scene.rows = 16;
    c.scene.zone_width = 8;
    c.scene.exposure_time = 25000.0f;
    c.scene.seed = 7;
    c.sequence.frames = frames;
    c.sequence.fps = 30.0;
    c.sequence.first_timestamp_ns = 1000000000;
    return c;
}

int64_t nominal_ns(int n) { return 1000000000 + std::llround(n * 1e9 / 30.0); }

TEST(VirtualCamera, RequestLengthensExactlyTheIntervalLatencyFramesLaterAndIgnoringKeepsTheClock) {
    ScriptedClassifier fake;
    fake.ask_at = 2;
    fake.ask_ns = 40000000;
    VirtualCamera camera(small_scene(8), true);
    for (int latency = 0; latency <= 3; ++latency) {
        camera.run(fake, CameraLoop{latency, false}, [](const CameraFrame&) {});
        const int lengthened = fake.ask_at + latency + 1;  // the frame the longer interval ends at
        for (int n = 1; n < 8; ++n) {
            const int64_t interval = fake.timestamps[size_t(n)] - fake.timestamps[size_t(n - 1)];
            EXPECT_EQ(interval, n == lengthened ? fake.ask_ns : nominal_ns(n) - nominal_ns(n - 1))
                << "latency " << latency << ", frame " << n;
        }
    }
    camera.run(fake, CameraLoop{0, true}, [](const CameraFrame&) {});
    for (int n = 0; n < 8; ++n) EXPECT_EQ(fake.timestamps[size_t(n)], nominal_ns(n));
}

TEST(VirtualCamera, ExposureFollowsTheAnswerAfterTheLatency) {
    ScriptedClassifier fake;
    fake.answer_from = 2;
    VirtualCamera camera(small_scene(8), true);
    for (int latency = 0; latency <= 3; ++latency) {
        camera.run(fake, CameraLoop{latency, false}, [](const CameraFrame&) {});
        for (int n = 0; n < 8; ++n)
            EXPECT_EQ(fake.exposures[size_t(n)], n > fake.answer_from + latency ? 20000.0f : 25000.0f)
                << "latency " << latency << ", frame " << n;
    }
}

TEST(VirtualCamera, LampSwitchedOnShowsItsRippleFromThatFrameOnly) {
    CameraScene c = small_scene(6);
    c.scene.exposure_time = 4000.0f;
    c.lamp_on_frame = 3;
    ScriptedClassifier fake;
    std::vector<CameraFrame> frames;
    VirtualCamera(c, false).run(fake, CameraLoop{}, [&](const CameraFrame& f) { frames.push_back(f); });
    for (const CameraFrame& f : frames) {
        EXPECT_EQ(f.lamp_lit, f.index >= 3);
        if (f.index < 3) EXPECT_EQ(f.visible_ripple, 0.0);
        else EXPECT_GT(f.visible_ripple, 0.01);
    }
}

TEST(SimulateCommand, RefusesBadOptionsAndWritesNothing) {
    kevra_tool_test::TempDir dir;
    for (const std::vector<std::string>& bad :
         {std::vector<std::string>{"--latency", "4"}, {"--lamp-on", "30"}, {"--lamp-on", "2", "--lamp-off", "2"},
          {"--longest-extra-us", "200000"}, {"--fps", "0"}}) {
        std::vector<std::string> args{"simulate", "--rows", "16", "--json", dir.file("t.jsonl"), "--plot", dir.file("t.svg")};
        args.insert(args.end(), bad.begin(), bad.end());
        const kevra_tool_test::CliRun r = kevra_tool_test::run_cli(args);
        EXPECT_EQ(r.status, 1) << bad[0];
        EXPECT_NE(r.err.find("kevra: simulate: " + bad[bad.size() == 4 ? 2 : 0]), std::string::npos) << r.err;
        EXPECT_TRUE(dir.entries().empty());
    }
}

}  // namespace
}  // namespace kevra_tool
