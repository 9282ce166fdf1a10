// The options of `kevra synth`, parsed and checked the same way by the command
// and by the bindings.
#ifndef KEVRA_TOOLS_SYNTH_OPTIONS_H
#define KEVRA_TOOLS_SYNTH_OPTIONS_H

#include <string>
#include <vector>

#include "scene_synthesis.h"
#include "synth_confounder_options.h"

namespace CLI {
class App;
}

namespace kevra_tool {

struct SynthOptions {
    Scene scene;
    SequenceOptions sequence;
    std::string output;
    bool binary = false;
    bool steady = false;
    std::vector<double> zone_gain, channel_gain, window;
    std::string picture, lamp, sensor_mode, exposure_change;
    ConfounderOptions confounders;
};

// Adds the options to synth, filling o when it is parsed.
void add_synth_options(CLI::App& synth, SynthOptions& o, bool output_required);

// After synth is parsed: checks and completes o; reads the picture last.
// Throws InputError("synth", OPTION, problem).
void finish_synth_options(const CLI::App& synth, SynthOptions& o);

// The frames `kevra synth args...` would write, without writing anything;
// -o/--output and --binary are accepted and ignored. Throws InputError with
// the message the command prints (after "kevra: "); a malformed command line
// is InputError("synth", "", CLI11's message).
std::vector<SynthFrame> synth_from_arguments(const std::vector<std::string>& args);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_SYNTH_OPTIONS_H
