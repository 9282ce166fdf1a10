// The options of `kevra simulate`, parsed and checked the same way by the
// command and by the bindings.
#ifndef KEVRA_TOOLS_SIMULATE_OPTIONS_H
#define KEVRA_TOOLS_SIMULATE_OPTIONS_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "json_values.h"
#include "synth_options.h"
#include "virtual_camera.h"

namespace CLI {
class App;
}

namespace kevra_tool {

struct SimulateOptions {
    SynthOptions synth;
    CameraScene camera;
    CameraLoop loop;
    bool probe = false;
    double longest_extra_us = 0.0, recheck_s = 0.0;        // as given
    std::optional<int64_t> longest_extra_ns, recheck_ns;   // set by finish_simulate_options when given
    std::string json, plot;
};

void add_simulate_options(CLI::App& app, SimulateOptions& o);

// After app is parsed: checks and completes o, reading the picture last.
// Throws InputError("simulate", OPTION, problem).
void finish_simulate_options(const CLI::App& app, SimulateOptions& o);

using SceneClassifierPtr = std::unique_ptr<QORKEVRASCENE, void (*)(QORKEVRASCENE*)>;

// A classifier with the library's default settings and those o gives.
SceneClassifierPtr simulate_classifier(const SimulateOptions& o);

// The JSON Lines objects of `kevra simulate args...`, without printing or
// writing anything (--json and --plot are refused). Throws InputError with
// the message the command prints.
std::vector<Json> simulate_from_arguments(const std::vector<std::string>& args);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_SIMULATE_OPTIONS_H
