// One virtual-camera frame as a line of `kevra simulate`'s timeline and as a
// JSON object (the JSON Lines and the Python dicts are made from it).
#ifndef KEVRA_TOOLS_SIMULATE_TIMELINE_H
#define KEVRA_TOOLS_SIMULATE_TIMELINE_H

#include <string>

#include "json_values.h"
#include "virtual_camera.h"

namespace kevra_tool {

std::string timeline_header();
std::string timeline_line(const CameraFrame& frame);
Json camera_frame_to_json(const CameraFrame& frame);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_SIMULATE_TIMELINE_H
