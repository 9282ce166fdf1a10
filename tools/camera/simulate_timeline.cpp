#include "simulate_timeline.h"

#include <cstdio>

#include "scene_answer.h"

namespace kevra_tool {

std::string timeline_header() {
    return "frame        timestamp_ns  interval_ms  exposure_us  ripple_%  lamp  answer   confidence  request_ms\n";
}

std::string timeline_line(const CameraFrame& f) {
    char request[32] = "-";
    if (f.request.frame_interval_ns > 0)
        std::snprintf(request, sizeof request, "%.3f", double(f.request.frame_interval_ns) * 1e-6);
    char line[200];
    std::snprintf(line, sizeof line, "%5d  %18lld  %10.3f%s  %11.1f  %8.2f  %-4s  %-7s  %10.2f  %s\n", f.index,
                  static_cast<long long>(f.timestamp_ns), f.interval_ms, f.lengthened ? "*" : " ",
                  double(f.exposure_us), 100.0 * f.visible_ripple, f.lamp_lit ? "on" : "off",
                  scene_flicker_name(f.result.scene_flicker), double(f.result.confidence), request);
    return line;
}

Json camera_frame_to_json(const CameraFrame& f) {
    Json j = Json::object();
    j["frame"] = f.index;
    j["timestamp_ns"] = f.timestamp_ns;
    j["interval_ms"] = f.interval_ms;
    j["lengthened"] = f.lengthened;
    j["exposure_us"] = float_to_json(f.exposure_us);
    j["own_exposure_us"] = float_to_json(f.own_exposure_us);
    j["lamp_on"] = f.lamp_lit;
    j["visible_ripple"] = f.visible_ripple;
    j["scene_flicker"] = scene_flicker_name(f.result.scene_flicker);
    j["confidence"] = float_to_json(f.result.confidence);
    j["ripple_period_us"] = float_to_json(f.result.ripple_period_us);
    j["request_frame_interval_ns"] = f.request.frame_interval_ns;
    j["request_hypotheses"] = f.request.hypotheses;
    return j;
}

}  // namespace kevra_tool
