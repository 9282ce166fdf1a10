// A camera in the loop with the scene classifier, for its tests: auto-exposure
// obeys the answer (whole ripple periods of the scene's own exposure once 50 or
// 60 Hz is reported, its own exposure where that is shorter than a period,
// free again on NONE, unchanged on UNKNOWN) and the camera honours timing
// requests `latency` frames late, or never. Frames come from make_sequence.
#ifndef KEVRA_TESTS_SUPPORT_CAMERA_LOOP_H
#define KEVRA_TESTS_SUPPORT_CAMERA_LOOP_H

#include <cstdint>
#include <vector>

#include "kevra_scene.h"
#include "support/scene_sequence.h"

namespace kevra_test {

struct LoopFrame {
    kevra_scene_result result;
    kevra_scene_request request;
    int64_t interval_ns;  // from the previous frame
    float exposure;
};

inline float obedient_exposure(float own, float period) {
    if (period <= 0.0f || own < period) return own;
    return period * float(int(own / period));
}

inline std::vector<LoopFrame> run_loop(QORKEVRASCENE& classifier, SequencePlan scene, int frames, int latency,
                                       bool honour) {
    const int64_t nominal = int64_t(1e9 / scene.fps + 0.5);
    std::vector<LoopFrame> out;
    std::vector<int64_t> asked(size_t(frames), 0);  // request made after frame k
    std::vector<float> period(size_t(frames), 0.0f);
    int64_t ts = scene.first_ns;
    float rule = 0.0f;
    for (int k = 0; k < frames; ++k) {
        int64_t interval = nominal;
        const int source = k - 1 - latency;  // the frame whose request and answer arrive now
        if (source >= 0) {
            if (honour && asked[size_t(source)] > interval) interval = asked[size_t(source)];
            const int32_t answer = out[size_t(source)].result.scene_flicker;
            if (answer == KEVRA_SCENE_NONE) rule = 0.0f;
            if (answer == KEVRA_SCENE_50HZ || answer == KEVRA_SCENE_60HZ) rule = period[size_t(source)];
        }
        if (k > 0) ts += interval;
        SequencePlan one = scene;
        one.frames = 1;
        one.first_ns = ts;
        one.seed = scene.seed + uint64_t(k);
        one.exposure = obedient_exposure(scene.exposure, rule);
        one.lamp_off_before = k >= scene.lamp_off_before ? 0 : 1;
        one.lamp_off_from = k >= scene.lamp_off_from ? 0 : 1 << 30;
        const std::vector<SequenceFrame> f = make_sequence(one);
        LoopFrame r{};
        r.request.size = sizeof r.request;
        r.interval_ns = k > 0 ? interval : 0;
        r.exposure = one.exposure;
        classifier.ProcessFrame(&f[0].frame, &r.result);
        classifier.GetTimingRequest(&r.request);
        asked[size_t(k)] = r.request.frame_interval_ns;
        period[size_t(k)] = r.result.ripple_period_us;
        out.push_back(r);
    }
    return out;
}

}  // namespace kevra_test

#endif  // KEVRA_TESTS_SUPPORT_CAMERA_LOOP_H
