#include "auto_exposure.h"

#include <cmath>

namespace kevra_tool {

void AutoExposure::obey(const kevra_scene_result& r) {
    if (r.scene_flicker == KEVRA_SCENE_NONE) period_us_ = 0.0f;
    else if (r.scene_flicker == KEVRA_SCENE_50HZ || r.scene_flicker == KEVRA_SCENE_60HZ) period_us_ = r.ripple_period_us;
}

float AutoExposure::exposure_for(float own_us) const {
    if (!(period_us_ > 0.0f) || own_us < period_us_) return own_us;
    // Double arithmetic so that 2 x 8333.3 stays below an own exposure of 16666.6.
    const double periods = std::floor(double(own_us) / double(period_us_));
    return float(periods * double(period_us_));
}

}  // namespace kevra_tool
