// Scores of the answers a method gives after every frame, not only the last:
// a camera stack acts on each, so a wrong answer part-way counts.
#ifndef KEVRA_TOOLS_EVAL_EVERY_FRAME_H
#define KEVRA_TOOLS_EVAL_EVERY_FRAME_H

#include <vector>

#include "benchmark_manifest.h"
#include "eval_methods.h"

namespace kevra_tool {

// Frames before this one (the fourth) settle the methods that need a few.
constexpr int kFirstScoredFrame = 3;

struct EveryFrameScores {
    int sequences = 0;            // scored: not ambiguous, answered every frame
    int wrong_somewhere = 0;      // a wrong answer at some scored frame
    int wrong_last = 0;           // a wrong answer at the last frame
    int right_last = 0;
    int frames = 0, right = 0;    // scored frames; those answered with the label
    int false_flicker = 0;        // frames: 50 or 60 on a NONE sequence
    int wrong_frequency = 0;      // frames: the other frequency
    int missed = 0;               // frames: NONE on a frame whose own ripple is visible
    int wrong() const { return false_flicker + wrong_frequency + missed; }
};

// Whether answering `a` after frame n of the sequence is wrong: naming a
// frequency on a NONE sequence, the other frequency, or NONE while that
// frame shows a visible ripple. UNKNOWN is never wrong, nor right.
bool wrong_answer(const SequenceRecord& record, size_t n, Answer a);

// Adds one sequence's answers after each of its frames; ambiguous sequences
// and methods without per-frame answers are not scored.
void add_frame_answers(EveryFrameScores& scores, const SequenceRecord& record, const std::vector<Answer>& answers);

// A method's answers after each frame, its threshold applied.
std::vector<Answer> frame_answers(const MethodOutput& output, bool thresholded, double threshold);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_EVAL_EVERY_FRAME_H
