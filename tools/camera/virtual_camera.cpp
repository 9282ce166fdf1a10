#include "virtual_camera.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <deque>
#include <string>

#include "auto_exposure.h"
#include "input_error.h"
#include "picture_sampling.h"
#include "scene_answer.h"

namespace kevra_tool {
namespace {

[[noreturn]] void bad(const std::string& option, const std::string& problem) {
    throw InputError("simulate", option, problem);
}

double thread_cpu_us() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return 1e6 * double(t.tv_sec) + 1e-3 * double(t.tv_nsec);
}

// The longest frame interval the camera can make; a request beyond it gets this.
constexpr int64_t kLongestIntervalNs = 1000000000;

int64_t nominal_offset_ns(int n, double fps) { return int64_t(std::llround(double(n) * 1e9 / fps)); }

// The scene's own exposure at frame n, as the sequence would take it: a ramp,
// else a change part-way.
float own_exposure(const CameraScene& c, int n) {
    const SequenceOptions& q = c.sequence;
    if (q.exposure_ramp != 1.0) {
        double ramp = 1.0;
        for (int k = 0; k < n; ++k) ramp *= q.exposure_ramp;
        return float(double(c.scene.exposure_time) * ramp);
    }
    return q.exposure_change_frame >= 0 && n >= q.exposure_change_frame ? q.exposure_after : c.scene.exposure_time;
}

// What a frame's answer and request do, waiting for the frame they reach.
struct Pending {
    kevra_scene_result result;
    kevra_scene_request request;
};

}  // namespace

void check_camera(const CameraScene& c, const CameraLoop& loop) {
    check_scene(c.scene);
    check_sequence(c.scene, c.sequence);
    const int frames = c.sequence.frames;
    for (const auto& [frame, option] : {std::pair{c.lamp_on_frame, "--lamp-on"}, std::pair{c.lamp_off_frame, "--lamp-off"}})
        if (frame != -1 && (frame < 0 || frame >= frames))
            bad(option, "expected a frame 0.." + std::to_string(frames - 1));
    if (c.lamp_on_frame >= 0 && c.lamp_on_frame == c.lamp_off_frame)
        bad("--lamp-off", "the lamp cannot go on and off at the same frame");
    if (loop.latency < 0 || loop.latency > 3) bad("--latency", "expected 0..3 frames");
}

VirtualCamera::VirtualCamera(const CameraScene& scene, bool keep_frames) : scene_(scene), keep_frames_(keep_frames) {
    check_camera(scene_, CameraLoop{});
    dark_ = scene_.scene;
    dark_.daylight = 1.0;  // all the lamp's mean light, none of its ripple
    content_ = std::make_unique<SceneContent>(scene_.scene);
    first_ns_ = first_timestamp_ns(scene_.scene, scene_.sequence);
}

VirtualCamera::~VirtualCamera() = default;

bool VirtualCamera::lamp_lit(int n) const {
    const int on = scene_.lamp_on_frame, off = scene_.lamp_off_frame;
    // Dark at the start only when the first switch turns it on.
    bool lit = !(on >= 0 && (off < 0 || on < off));
    for (int at : {std::min(on, off), std::max(on, off)})
        if (at >= 0 && n >= at) lit = at == on;
    return lit;
}

const SynthFrame& VirtualCamera::frame(int n, int64_t timestamp_ns, float exposure_us, bool lit) {
    const FrameKey key{n, timestamp_ns, exposure_us, lit};
    if (keep_frames_) {
        const auto found = frames_.find(key);
        if (found != frames_.end()) return found->second;
    }
    const Scene& s = scene_.scene;
    FrameState f;
    f.time_offset = double(timestamp_ns - first_ns_) * 1e-3;
    f.shift = scene_.sequence.motion_lines * n;
    f.exposure_time = exposure_us;
    if (s.exposure_time > 0.0f) f.electrons_scale = double(exposure_us) / double(s.exposure_time);
    f.seed = frame_seed(s, n);
    place_confounders(s, scene_.sequence, *content_, n, f);
    SynthFrame made = synthesize_state(lit ? s : dark_, *content_, f);
    made.capture.timestamp_ns = timestamp_ns;
    if (!keep_frames_) return latest_ = std::move(made);
    return frames_.emplace(key, std::move(made)).first->second;
}

void VirtualCamera::run(QORKEVRASCENE& classifier, const CameraLoop& loop,
                        const std::function<void(const CameraFrame&)>& each) {
    check_camera(scene_, loop);
    classifier.Reset();
    AutoExposure exposure;
    std::deque<Pending> pending;  // oldest first; the front reaches the next frame once latency frames have passed
    int64_t extra_ns = 0, previous_ns = 0;
    const double fps = scene_.sequence.fps;
    for (int n = 0; n < scene_.sequence.frames; ++n) {
        CameraFrame out;
        out.index = n;
        int64_t timestamp = first_ns_ + nominal_offset_ns(n, fps) + extra_ns;
        if (int(pending.size()) > loop.latency) {
            const Pending due = pending.front();
            pending.pop_front();
            exposure.obey(due.result);
            const int64_t wanted = std::min(due.request.frame_interval_ns, kLongestIntervalNs);
            if (!loop.ignore_requests && wanted > 0 && previous_ns + wanted > timestamp) {
                extra_ns += previous_ns + wanted - timestamp;
                timestamp = previous_ns + wanted;
                out.lengthened = true;
            }
        }
        out.timestamp_ns = timestamp;
        out.interval_ms = n == 0 ? 0.0 : double(timestamp - previous_ns) / 1e6;
        out.own_exposure_us = own_exposure(scene_, n);
        out.exposure_us = exposure.exposure_for(out.own_exposure_us);
        out.lamp_lit = lamp_lit(n);
        const SynthFrame& f = frame(n, timestamp, out.exposure_us, out.lamp_lit);
        out.visible_ripple = f.visible_ripple;
        const double start = thread_cpu_us();
        out.result = classify_frame(classifier, f.capture, "frame " + std::to_string(n));
        out.request = timing_request(classifier);
        out.classifier_cpu_us = thread_cpu_us() - start;
        pending.push_back({out.result, out.request});
        previous_ns = timestamp;
        each(out);
    }
}

}  // namespace kevra_tool
