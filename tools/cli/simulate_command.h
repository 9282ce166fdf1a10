// `kevra simulate`: the subcommand, printing the timeline and writing its files.
#ifndef KEVRA_TOOLS_SIMULATE_COMMAND_H
#define KEVRA_TOOLS_SIMULATE_COMMAND_H

#include <memory>
#include <ostream>

namespace CLI {
class App;
}

namespace kevra_tool {

struct SimulateOptions;  // simulate_options.h

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

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_SIMULATE_COMMAND_H
