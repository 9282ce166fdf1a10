#include "mains_auto.h"

#include <cstring>

#include "default_tuning.h"
#include "kevra_scene.h"

namespace kevra_tool {

Capture at_mains(const Capture& capture, int32_t mains) {
    Capture c = capture;
    const kevra_confidence_idx_input derived = default_confidence_input(c.parameter, c.start_time, c.config);
    const bool derived_input = std::memcmp(&derived, &c.confidence_input, sizeof derived) == 0;
    c.config.mains_frequency = mains;
    if (derived_input) c.confidence_input = default_confidence_input(c.parameter, c.start_time, c.config);
    return c;
}

MainsAutoReport detect_auto_mains(QORKEVRA& detector, const Capture& capture, const std::string& name) {
    MainsAutoReport r{detect(detector, at_mains(capture, 50), name), detect(detector, at_mains(capture, 60), name),
                      KEVRA_SCENE_NONE};
    const bool f50 = r.at50.flicker_detected, f60 = r.at60.flicker_detected;
    if (f50 && f60) {
        r.answer = r.at50.confidence_index > r.at60.confidence_index ? KEVRA_SCENE_50HZ : KEVRA_SCENE_60HZ;
    } else if (f50 || f60) {
        r.answer = f50 ? KEVRA_SCENE_50HZ : KEVRA_SCENE_60HZ;
    }
    return r;
}

}  // namespace kevra_tool
