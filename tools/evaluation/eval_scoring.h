// Scores of one method on labelled sequences: the confusion matrix and the
// rates and breakdowns drawn from it.
#ifndef KEVRA_TOOLS_EVAL_SCORING_H
#define KEVRA_TOOLS_EVAL_SCORING_H

#include <map>
#include <string>
#include <vector>

#include "benchmark_manifest.h"
#include "eval_methods.h"

namespace kevra_tool {

struct Tally {
    int correct = 0;
    int total = 0;
    double rate() const { return total > 0 ? double(correct) / total : 0.0; }
};

struct Scores {
    int confusion[3][4] = {};  // [truth none/50/60][answer none/50/60/unknown]
    int scored() const;
    double accuracy() const;
    // Mean of the recalls of NONE, 50 and 60: what the searches maximise, so
    // that answering NONE always (the commonest truth) scores a third.
    double balanced_accuracy() const;
    double false_flicker_rate() const;    // answers 50 or 60 among truly NONE sequences
    double wrong_frequency_rate() const;  // 50 for 60 or 60 for 50 among flickering sequences
    double miss_rate() const;             // NONE or UNKNOWN among flickering sequences
    // group ("lamp", "brightness", ...) -> key -> tally
    std::map<std::string, std::map<std::string, Tally>> by;
};

// The breakdown keys of a sequence, by group.
std::vector<std::pair<std::string, std::string>> breakdown_keys(const SequenceRecord& record);

// Adds one answer; ambiguous sequences are not scored.
void add_answer(Scores& scores, const SequenceRecord& record, Answer answer);

// The threshold maximising balanced accuracy over the sequences where `use`
// is set (ties: the lowest false-flicker count, then the lowest threshold).
double choose_threshold(const std::vector<SequenceRecord>& records, const std::vector<MethodOutput>& outputs,
                        const std::vector<bool>& use);

Answer thresholded_answer(const MethodOutput& output, double threshold);
Answer thresholded_answer(const FrameOutput& output, double threshold);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_EVAL_SCORING_H
