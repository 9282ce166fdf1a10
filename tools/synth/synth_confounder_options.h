// The `kevra synth` options of the confounders (scene_confounders.h): a lamp
// over part of the frame, a moving object, shake, exposure ramps and steps.
#ifndef KEVRA_TOOLS_SYNTH_CONFOUNDER_OPTIONS_H
#define KEVRA_TOOLS_SYNTH_CONFOUNDER_OPTIONS_H

#include <string>
#include <vector>

#include "scene_synthesis.h"

namespace CLI {
class App;
}

namespace kevra_tool {

struct ConfounderOptions {
    std::vector<double> lamp_columns, object, object_motion, jitter;
    std::string object_look = "bright", brightness_step;
};

void add_confounder_options(CLI::App& synth, ConfounderOptions& options, SequenceOptions& sequence);

// Fills the scene and sequence from the parsed options; reads an object's
// picture. Throws InputError naming the option.
void finish_confounder_options(const CLI::App& synth, const ConfounderOptions& options, Scene& scene,
                               SequenceOptions& sequence);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_SYNTH_CONFOUNDER_OPTIONS_H
