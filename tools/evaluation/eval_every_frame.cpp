#include "eval_every_frame.h"

#include "eval_scoring.h"
#include "labelling.h"

namespace kevra_tool {
namespace {

Answer label_answer(Truth t) { return t == Truth::Hz50 ? Answer::Hz50 : t == Truth::Hz60 ? Answer::Hz60 : Answer::None; }

}  // namespace

bool wrong_answer(const SequenceRecord& r, size_t n, Answer a) {
    const bool names = a == Answer::Hz50 || a == Answer::Hz60;
    if (r.label == Truth::None) return names;
    if (names) return a != label_answer(r.label);
    const double ripple = n < r.frame_ripple.size() ? r.frame_ripple[n] : r.visible_ripple;
    return a == Answer::None && ripple >= kVisibilityLimit;
}

void add_frame_answers(EveryFrameScores& s, const SequenceRecord& r, const std::vector<Answer>& answers) {
    if (r.label == Truth::Ambiguous || answers.size() != r.frames.size() || answers.empty()) return;
    ++s.sequences;
    bool somewhere = false;
    for (size_t n = kFirstScoredFrame; n < answers.size(); ++n) {
        const Answer a = answers[n];
        ++s.frames;
        s.right += a == label_answer(r.label) ? 1 : 0;
        if (!wrong_answer(r, n, a)) continue;
        somewhere = true;
        if (r.label == Truth::None) ++s.false_flicker;
        else if (a == Answer::None) ++s.missed;
        else ++s.wrong_frequency;
    }
    s.wrong_somewhere += somewhere ? 1 : 0;
    s.wrong_last += wrong_answer(r, answers.size() - 1, answers.back()) ? 1 : 0;
    s.right_last += answers.back() == label_answer(r.label) ? 1 : 0;
}

std::vector<Answer> frame_answers(const MethodOutput& o, bool thresholded, double threshold) {
    std::vector<Answer> answers;
    for (const FrameOutput& f : o.frames)
        answers.push_back(thresholded ? thresholded_answer(f, threshold) : f.answer);
    return answers;
}

}  // namespace kevra_tool
