// `kevra simulate`: a synthetic scene through the virtual camera, with the scene
// classifier, auto-exposure and frame timing in the loop.
#ifndef KEVRA_TOOLS_SIMULATE_COMMAND_H
#define KEVRA_TOOLS_SIMULATE_COMMAND_H

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "json_values.h"

namespace CLI {
class App;
}

namespace kevra_tool {

struct SimulateOptions;  // the parsed options (simulate_command.cpp)

class SimulateCommand {
public:
    explicit SimulateCommand(CLI::App& app);
    ~SimulateCommand();
    CLI::App* subcommand() const { return subcommand_; }
    // After app.parse: prints the timeline (or the JSON Lines with a bare
    // --json) and writes the files asked for; 1 with the message on err when
    // anything is refused, nothing written then.
    int run(std::ostream& out, std::ostream& err, bool progress) const;

private:
    CLI::App* subcommand_;
    std::unique_ptr<SimulateOptions> options_;
};

// The JSON Lines objects of `kevra simulate args...`, without printing or
// writing anything (--json and --plot are refused). Throws InputError with
// the message the command prints.
std::vector<Json> simulate_from_arguments(const std::vector<std::string>& args);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_SIMULATE_COMMAND_H
