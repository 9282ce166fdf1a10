// The detection-quality subcommands: benchmark, eval and tune.
#ifndef KEVRA_TOOLS_QUALITY_COMMANDS_H
#define KEVRA_TOOLS_QUALITY_COMMANDS_H

#include <ostream>

#include "benchmark_command.h"
#include "eval_command.h"
#include "tune_command.h"

namespace CLI {
class App;
}

namespace kevra_tool {

class QualityCommands {
public:
    explicit QualityCommands(CLI::App& app);
    bool parsed() const;
    int run(std::ostream& out, std::ostream& err, bool progress) const;

private:
    CLI::App* benchmark_;
    CLI::App* eval_;
    CLI::App* tune_;
    BenchmarkOptions benchmark_options_;
    EvalOptions eval_options_;
    TuneOptions tune_options_;
};

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_QUALITY_COMMANDS_H
