// `kevra synth`: the subcommand, and the writing of the frames.
#ifndef KEVRA_TOOLS_SYNTH_COMMAND_H
#define KEVRA_TOOLS_SYNTH_COMMAND_H

#include <memory>
#include <ostream>

namespace CLI {
class App;
}

namespace kevra_tool {

struct SynthOptions;  // synth_options.h

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

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_SYNTH_COMMAND_H
