// `kevra benchmark`: writes the labelled benchmark's captures and manifest.
#ifndef KEVRA_TOOLS_BENCHMARK_COMMAND_H
#define KEVRA_TOOLS_BENCHMARK_COMMAND_H

#include <cstdint>
#include <ostream>
#include <string>

#include "benchmark_manifest.h"
#include "benchmark_recipe.h"

namespace kevra_tool {

struct BenchmarkOptions {
    std::string output;  // directory
    uint64_t seed = 1;
    int sequences = 480;
    std::string pictures;  // picture directory
};

// The manifest record of a rendered sequence; frame paths as the command writes them.
SequenceRecord sequence_record(const SequencePlan& plan, const std::vector<SynthFrame>& frames);

// Status 0, or 1 with the failure reported on err.
int run_benchmark(const BenchmarkOptions& options, std::ostream& err, bool progress);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_BENCHMARK_COMMAND_H
