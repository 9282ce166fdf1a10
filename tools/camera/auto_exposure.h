// Auto-exposure that obeys the scene answer, as anti-banding AUTO does: once a
// lamp is named, exposure times are whole multiples of its ripple period.
#ifndef KEVRA_TOOLS_AUTO_EXPOSURE_H
#define KEVRA_TOOLS_AUTO_EXPOSURE_H

#include "kevra_scene.h"

namespace kevra_tool {

class AutoExposure {
public:
    // 50 or 60 sets the rule to that answer's ripple period, NONE frees the
    // exposure, UNKNOWN keeps the rule last in force.
    void obey(const kevra_scene_result& result);

    // The exposure for a scene whose own (unconstrained) exposure is own_us:
    // the largest whole multiple of the period not above it, or own_us when
    // free or when the scene is too bright for one period.
    float exposure_for(float own_us) const;

    float period_us() const { return period_us_; }  // 0: free

private:
    float period_us_ = 0.0f;
};

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_AUTO_EXPOSURE_H
