// A scene classifier fed an endless 30 fps sequence at 256 rows: a 50 Hz lamp
// over a window-and-desk picture, six frames made once and replayed with
// their timestamps moved on by 200 ms (twenty ripple periods) per round.
// Variants pan the picture or light it steadily.
#ifndef KEVRA_BENCH_SCENE_INPUTS_H
#define KEVRA_BENCH_SCENE_INPUTS_H

#include <memory>
#include <vector>

#include "kevra_scene.h"
#include "support/scene_sequence.h"

namespace kevra_bench {

struct SceneInputs {
    std::vector<kevra_test::SequenceFrame> frames;
    std::unique_ptr<QORKEVRASCENE, void (*)(QORKEVRASCENE*)> classifier{
        QORKEVRASCENE::createInstance(), [](QORKEVRASCENE* s) { s->destroyInstance(s); }};
    kevra_scene_result result{};
    long next = 0;

    // motion: lines the picture moves down per frame (a pan); ripple: the
    // lamp's relative amplitude (0: steady light, where the zones' own
    // profiles are measured too).
    explicit SceneInputs(int motion = 0, double ripple = 0.1) {
        kevra_test::SequencePlan s;
        s.ripple[0] = ripple;
        s.motion = motion;
        s.picture = kevra_test::Picture::WindowOverDesk;
        s.rows = 256;
        s.lines_per_row = 12;
        s.line_time = 10.0f;
        frames = kevra_test::make_sequence(s);
    }

    int32_t run() {
        const auto& f = frames[size_t(next % long(frames.size()))];
        kevra_scene_frame frame = f.frame;
        frame.timestamp_ns += (next / long(frames.size())) * 200000000L;
        ++next;
        return classifier->ProcessFrame(&frame, &result);
    }
};

}  // namespace kevra_bench

#endif  // KEVRA_BENCH_SCENE_INPUTS_H
