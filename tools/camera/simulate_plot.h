// `kevra simulate --plot`: the answer as coloured bands over the frames, and
// each frame's exposure, interval and visible ripple beneath.
#ifndef KEVRA_TOOLS_SIMULATE_PLOT_H
#define KEVRA_TOOLS_SIMULATE_PLOT_H

#include <string>
#include <vector>

#include "virtual_camera.h"

namespace kevra_tool {

std::string simulate_plot_svg(const std::vector<CameraFrame>& frames, double fps);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_SIMULATE_PLOT_H
