// The built-in sample: the scene `kevra detect` and the bindings run on when
// given no capture, and the name reports give it.
#ifndef KEVRA_TOOLS_BUILTIN_SAMPLE_H
#define KEVRA_TOOLS_BUILTIN_SAMPLE_H

#include "scene_synthesis.h"

namespace kevra_tool {

inline constexpr const char* kBuiltinSampleName = "built-in sample: synthetic 50 Hz indoor scene";

Scene builtin_sample_scene();

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_BUILTIN_SAMPLE_H
