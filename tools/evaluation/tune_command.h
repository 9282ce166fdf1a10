// `kevra tune`: a search of the library decision's tuning fields on a labelled
// set, with a held-out share for an honest figure.
#ifndef KEVRA_TOOLS_TUNE_COMMAND_H
#define KEVRA_TOOLS_TUNE_COMMAND_H

#include <ostream>
#include <string>
#include <vector>

#include "benchmark_manifest.h"
#include "eval_methods.h"
#include "eval_scoring.h"
#include "progress.h"

namespace kevra_tool {

struct TuneOptions {
    std::string manifest;
    double holdout = 0.5;
    std::string output;
};

// The frame a sequence's answer is given after, with the sequence's record.
struct LabelledFrame {
    const SequenceRecord* record;
    Capture capture;
};

Scores score_tuning(const LibraryTuning& tuning, const std::vector<LabelledFrame>& frames);

// A joint grid over the range ladder, the local band and the weight mode,
// then coordinate search over those, the detect-ratio ladder and the level
// scale, maximising balanced accuracy (ties: fewer false flickers, then the
// earlier candidate).
// progress, when given, shows the candidates tried.
LibraryTuning search_tuning(const LibraryTuning& start, const std::vector<LabelledFrame>& frames, std::ostream* log,
                            Progress* progress = nullptr);

int run_tune(const TuneOptions& options, std::ostream& out, std::ostream& err, bool progress);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_TUNE_COMMAND_H
