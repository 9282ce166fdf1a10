#include "scene/scene_settings.h"

namespace kevra_scene {

kevra_scene_settings default_settings() {
    return kevra_scene_settings{sizeof(kevra_scene_settings), 0, kDefaultLongestExtraNs, kDefaultRecheckNs};
}

bool read_settings(const kevra_scene_settings* settings, kevra_scene_settings& out) {
    if (!record_size_ok(settings)) return false;
    kevra_scene_settings next = out;
    const size_t n = settings->size < sizeof next ? settings->size : sizeof next;
    std::memcpy(&next, settings, n);
    next.size = sizeof next;
    if (next.probe != 0 && next.probe != 1) return false;
    if (next.longest_extra_ns < 0 || next.longest_extra_ns > kLongestExtraLimitNs) return false;
    if (next.recheck_ns < 0) return false;
    out = next;
    return true;
}

}  // namespace kevra_scene
