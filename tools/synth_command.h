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

struct SynthOptions;  // the parsed options (synth_command.cpp)

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
