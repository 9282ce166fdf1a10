// The scene classifier driven by captures: one frame per capture, in order.
#ifndef KEVRA_TOOLS_SCENE_ANSWER_H
#define KEVRA_TOOLS_SCENE_ANSWER_H

#include <string>

#include "capture.h"
#include "json_values.h"
#include "kevra_scene.h"

namespace kevra_tool {

// "none", "50", "60" or "unknown".
const char* scene_flicker_name(int32_t answer);

// Adds the capture as the next frame; throws InputError (naming `name`) when
// the classifier refuses it, for instance a frame not later than the last.
kevra_scene_result classify_frame(QORKEVRASCENE& classifier, const Capture& capture, const std::string& name);

Json scene_result_to_json(const kevra_scene_result& result, const std::string& name, size_t frame);

// One line: the answer, then the evidence of both hypotheses.
std::string scene_result_text(const kevra_scene_result& result, const std::string& name, size_t frame);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_SCENE_ANSWER_H
