// The kevra command line, callable in-process so tests see its output and status.
#ifndef KEVRA_TOOLS_CLI_H
#define KEVRA_TOOLS_CLI_H

#include <ostream>

namespace kevra_tool {

// Status 0: success; 1: some input was bad (each reported on err); other
// non-zero values: the command line itself was wrong.
// progress: show a progress line on err while a batch runs (err is a terminal).
int run_cli(int argc, const char* const* argv, std::ostream& out, std::ostream& err, bool progress);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_CLI_H
