// `kevra eval`: every method on the labelled sequences of a benchmark.
#ifndef KEVRA_TOOLS_EVAL_COMMAND_H
#define KEVRA_TOOLS_EVAL_COMMAND_H

#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "benchmark_manifest.h"
#include "closed_loop_eval.h"
#include "eval_every_frame.h"
#include "eval_scoring.h"
#include "json_values.h"

namespace kevra_tool {

struct EvalOptions {
    std::string manifest;
    bool json = false;
    std::string plot;
    std::vector<std::string> methods;  // empty: all available
    double holdout = 0.5;
    std::string tuning;  // a `kevra tune` output for the library methods
    bool closed_loop = false;  // also run the held-out sequences through the virtual camera
    ClosedLoopOptions loop;
};

struct MethodResult {
    std::string name;
    bool thresholded = false;
    double threshold = 0.0;  // chosen on the tuning split
    Scores held_out;
    double cpu_us_per_frame = 0.0;
    std::vector<Answer> answers;  // per sequence
    std::vector<std::vector<Answer>> frame_answers;  // per sequence, after each frame
    EveryFrameScores every_frame;                    // held out
    std::map<std::string, EveryFrameScores> every_frame_by_confounder;
};

struct EvalResult {
    std::string manifest;
    double holdout = 0.5;
    size_t sequences = 0, held_out = 0, ambiguous = 0;
    std::vector<bool> is_held_out;
    std::vector<double> visible_ripple;
    std::vector<std::string> confounder;
    std::vector<MethodResult> methods;
};

std::vector<std::string> eval_method_names();  // the available ones, in report order

// Throws InputError for an unreadable manifest or capture, or an unknown method.
EvalResult evaluate(const EvalOptions& options, std::ostream& err, bool progress);

void write_eval_text(std::ostream& out, const EvalResult& result);
Json eval_to_json(const EvalResult& result);
// The every-frame scores of one method, overall and by confounder.
void write_every_frame_text(std::ostream& out, const MethodResult& method);
Json every_frame_to_json(const MethodResult& method);
std::string eval_plot_svg(const EvalResult& result);

int run_eval(const EvalOptions& options, std::ostream& out, std::ostream& err, bool progress);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_EVAL_COMMAND_H
