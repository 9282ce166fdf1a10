// `kevra synth`: its options, parsed the same way by the command and by the
// bindings, and the writing of the frames.
#ifndef KEVRA_TOOLS_SYNTH_COMMAND_H
#define KEVRA_TOOLS_SYNTH_COMMAND_H

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "scene_synthesis.h"

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
};

// The scene and sequence options (all but -o/--output and --binary), for
// commands that run a synthetic scene their own way; after app.parse,
// finish_scene_options checks and completes them and reads the picture last.
// Throws InputError.
void add_scene_options(CLI::App& app, SynthOptions& options);
void finish_scene_options(const CLI::App& app, SynthOptions& options);

// Adds the `synth` subcommand and its options to app.
class SynthCommand {
public:
    explicit SynthCommand(CLI::App& app);
    ~SynthCommand();
    CLI::App* subcommand() const { return subcommand_; }
    // After app.parse: writes the frames; reports failures on err as
    // "kevra: FILE: FIELD: problem" and returns 1, else 0. progress: show
    // a progress line on err while a sequence is written.
    int run(std::ostream& err, bool progress) const;

private:
    CLI::App* subcommand_;
    std::unique_ptr<SynthOptions> options_;
};

// The frames `kevra synth args...` would write, without writing anything;
// -o/--output and --binary are accepted and ignored. Throws InputError with
// the message the command prints (after "kevra: "); a malformed command line
// is InputError("synth", "", CLI11's message).
std::vector<SynthFrame> synth_from_arguments(const std::vector<std::string>& args);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_SYNTH_COMMAND_H
