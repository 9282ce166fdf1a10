// The benchmark in the loop: every sequence of a manifest run again, longer,
// through the virtual camera, with auto-exposure obeying the answer and the
// classifier's requests honoured after each latency, probing off and on.
#ifndef KEVRA_TOOLS_CLOSED_LOOP_EVAL_H
#define KEVRA_TOOLS_CLOSED_LOOP_EVAL_H

#include <array>
#include <ostream>
#include <string>
#include <vector>

#include "benchmark_manifest.h"
#include "json_values.h"

namespace kevra_tool {

struct ClosedLoopOptions {
    int frames = 16;
    std::string pictures;  // the directory the benchmark's pictures came from
};

constexpr std::array<int, 3> kSettleFrames = {3, 6, 12};  // "settled right by frame k", counted from 1
constexpr int kFirstJudgedFrame = 4;                      // wrong answers count from this frame on

// One (probing, latency) setting over the scored sequences.
struct LoopScores {
    bool probe = false;
    int latency = 0;
    size_t scored = 0;                   // held-out sequences that are not ambiguous
    std::array<size_t, 3> settled{};     // right from frame kSettleFrames[i] to the end
    size_t wrong = 0;                    // some wrong answer from kFirstJudgedFrame on
    size_t named = 0, stays_named = 0;   // lamps named right at some frame; named at every frame after
    size_t probes = 0;                   // lengthened intervals, all sequences
    double added_ms = 0.0;               // time beyond the nominal intervals, all sequences
    double cpu_us = 0.0;                 // the classifier's, all frames
    size_t frames = 0;
    std::vector<std::string> wrong_ids, unsettled_ids;  // wrong from kFirstJudgedFrame on; not right by frame 12
};

struct ClosedLoopResult {
    int frames = 0;
    size_t sequences = 0;  // run
    std::vector<LoopScores> settings;
};

// Throws InputError for options out of range, before any work.
void check_closed_loop(const ClosedLoopOptions& options);

// Reruns the sequences marked held-out; throws InputError when the manifest's
// sequences cannot be redrawn from its seed and the pictures.
ClosedLoopResult evaluate_closed_loop(const std::string& manifest_path, const std::vector<bool>& held_out,
                                      const ClosedLoopOptions& options, std::ostream& err, bool progress);

void write_closed_loop_text(std::ostream& out, const ClosedLoopResult& result);
Json closed_loop_to_json(const ClosedLoopResult& result);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_CLOSED_LOOP_EVAL_H
