#include "scene_answer.h"

#include <cstdio>

#include "input_error.h"

namespace kevra_tool {

const char* scene_flicker_name(int32_t answer) {
    switch (answer) {
        case KEVRA_SCENE_NONE: return "none";
        case KEVRA_SCENE_50HZ: return "50";
        case KEVRA_SCENE_60HZ: return "60";
        default: return "unknown";
    }
}

kevra_scene_result classify_frame(QORKEVRASCENE& classifier, const Capture& capture, const std::string& name) {
    kevra_scene_frame frame{};
    frame.sum_stream = capture.sum_stream.data();
    frame.count_stream = capture.count_stream.data();
    frame.timestamp_ns = frame_time_ns(capture);
    frame.exposure_time = capture.parameter.exposure_time;
    frame.line_time = capture.parameter.line_time;
    frame.row_num = capture.parameter.row_num;
    frame.lines_per_row = capture.config.lines_per_row;
    kevra_scene_result result{};
    if (classifier.ProcessFrame(&frame, &result) != KEVRA_STATUS_OK) {
        throw InputError(name, "", "the scene classifier refused the frame (it needs 1..256 rows, lines_per_row >= 1, "
                                   "a line time > 0, an exposure >= 0 and a time after the previous frame's)");
    }
    return result;
}

Json scene_result_to_json(const kevra_scene_result& r, const std::string& name, size_t frame) {
    Json out = Json::object();
    out["capture"] = name;
    out["frame"] = frame;
    out["scene_flicker"] = scene_flicker_name(r.scene_flicker);
    out["confidence"] = float_to_json(r.confidence);
    out["ripple_period_us"] = float_to_json(r.ripple_period_us);
    out["frames"] = r.frames;
    Json evidence = Json::object();
    for (const kevra_scene_evidence& e : r.evidence) {
        Json h = Json::object();
        h["pairs"] = e.pairs;
        h["ripple"] = float_to_json(e.ripple);
        h["fit"] = float_to_json(e.fit);
        h["drift"] = float_to_json(e.drift);
        h["single_frame"] = float_to_json(e.single_frame);
        h["score"] = float_to_json(e.score);
        evidence[std::to_string(e.mains_frequency)] = h;
    }
    out["evidence"] = evidence;
    return out;
}

std::string scene_result_text(const kevra_scene_result& r, const std::string& name, size_t frame) {
    char head[160];
    std::snprintf(head, sizeof head, "frame %zu: %-7s confidence %.2f", frame, scene_flicker_name(r.scene_flicker),
                  double(r.confidence));
    std::string line = head;
    for (const kevra_scene_evidence& e : r.evidence) {
        char part[160];
        std::snprintf(part, sizeof part, " | %d Hz: ripple %.4f, fit %.2f over %d pair%s, drift %.2f, frame alone %.4f",
                      e.mains_frequency, double(e.ripple), double(e.fit), e.pairs, e.pairs == 1 ? "" : "s",
                      double(e.drift), double(e.single_frame));
        line += part;
    }
    return line + "  (" + name + ")";
}

}  // namespace kevra_tool
