// A camera with the scene classifier in its loop: frame by frame the classifier
// answers, auto-exposure obeys the answer and the frame timing honours the
// classifier's requests, each after a latency of whole frames.
#ifndef KEVRA_TOOLS_VIRTUAL_CAMERA_H
#define KEVRA_TOOLS_VIRTUAL_CAMERA_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <tuple>

#include "kevra_scene.h"
#include "scene_synthesis.h"

namespace kevra_tool {

struct CameraScene {
    Scene scene;               // scene.exposure_time: the scene's own exposure, which auto-exposure would pick freely
    SequenceOptions sequence;  // frames, nominal fps, motion, a change of the own exposure, frame 0's timestamp
    // The lamp lights up at lamp_on_frame and goes dark at lamp_off_frame
    // (-1: never); dark means steady light of the same mean.
    int lamp_on_frame = -1;
    int lamp_off_frame = -1;
};

struct CameraLoop {
    int latency = 0;               // frames between an answer or a request and the frame it changes, 0..3
    bool ignore_requests = false;  // keep the nominal timing whatever is asked
};

struct CameraFrame {
    int index = 0;
    int64_t timestamp_ns = 0;
    double interval_ms = 0.0;  // since the previous frame; 0 for the first
    bool lengthened = false;   // the interval before this frame honoured a request
    float exposure_us = 0.0f;
    float own_exposure_us = 0.0f;
    bool lamp_lit = true;
    double visible_ripple = 0.0;  // peak to peak / mean of the lamp light through this frame's exposure
    kevra_scene_result result{};
    kevra_scene_request request{};  // asked after this frame
    double classifier_cpu_us = 0.0;
};

// Throws InputError naming the offending option.
void check_camera(const CameraScene& scene, const CameraLoop& loop);

class VirtualCamera {
public:
    // keep_frames: remember synthesised frames, so that runs that reach the
    // same timing and exposure reuse them (the closed-loop benchmark).
    VirtualCamera(const CameraScene& scene, bool keep_frames);
    ~VirtualCamera();

    // Resets the classifier and runs every frame, calling each after it.
    void run(QORKEVRASCENE& classifier, const CameraLoop& loop, const std::function<void(const CameraFrame&)>& each);

private:
    using FrameKey = std::tuple<int, int64_t, float, bool>;  // frame, timestamp, exposure, lamp lit
    const SynthFrame& frame(int index, int64_t timestamp_ns, float exposure_us, bool lit);
    bool lamp_lit(int index) const;

    CameraScene scene_;
    Scene dark_;
    std::unique_ptr<SceneContent> content_;
    int64_t first_ns_ = 0;
    bool keep_frames_;
    std::map<FrameKey, SynthFrame> frames_;
    SynthFrame latest_;
};

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_VIRTUAL_CAMERA_H
