// `kevra stats`: camera frames (picture files) to captures, with the
// statistics formed as the image-signal hardware forms them.
#ifndef KEVRA_TOOLS_STATS_COMMAND_H
#define KEVRA_TOOLS_STATS_COMMAND_H

#include <memory>
#include <ostream>
#include <string>

namespace CLI {
class App;
}

namespace kevra_tool {

struct StatsOptions;  // the parsed options (stats_command.cpp)

// Adds the `stats` subcommand and its options to app.
class StatsCommand {
public:
    explicit StatsCommand(CLI::App& app);
    ~StatsCommand();
    CLI::App* subcommand() const { return subcommand_; }
    // After app.parse: reads every frame, then writes one capture per frame,
    // all or none. Reports a failure on err as "kevra: FILE: FIELD: problem"
    // and returns 1, else 0. progress: show a progress line on err.
    int run(std::ostream& err, bool progress) const;

private:
    CLI::App* subcommand_;
    std::unique_ptr<StatsOptions> options_;
};

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_STATS_COMMAND_H
