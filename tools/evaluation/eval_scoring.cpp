#include "eval_scoring.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace kevra_tool {
namespace {

int truth_row(Truth t) { return t == Truth::Hz50 ? 1 : t == Truth::Hz60 ? 2 : 0; }

bool is_correct(Truth t, Answer a) {
    return (t == Truth::None && a == Answer::None) || (t == Truth::Hz50 && a == Answer::Hz50) ||
           (t == Truth::Hz60 && a == Answer::Hz60);
}

std::string exposure_bin(double us) {
    static const double edges[] = {2000.0, 4000.0, 8000.0, 12000.0};
    static const char* names[] = {"1-2 ms", "2-4 ms", "4-8 ms", "8-12 ms", "12-20 ms"};
    int i = 0;
    while (i < 4 && us >= edges[i]) ++i;
    return names[i];
}

bool whole_periods(double exposure_us, int mains) {
    const double periods = exposure_us * 2.0 * mains * 1e-6;
    return std::fabs(periods - std::round(periods)) < 0.01 && std::round(periods) >= 1.0;
}

}  // namespace

int Scores::scored() const {
    int n = 0;
    for (const auto& row : confusion)
        for (int v : row) n += v;
    return n;
}

double Scores::accuracy() const {
    const int n = scored();
    return n > 0 ? double(confusion[0][0] + confusion[1][1] + confusion[2][2]) / n : 0.0;
}

double Scores::balanced_accuracy() const {
    double sum = 0.0;
    int classes = 0;
    for (int t = 0; t < 3; ++t) {
        const int n = confusion[t][0] + confusion[t][1] + confusion[t][2] + confusion[t][3];
        if (n == 0) continue;
        sum += double(confusion[t][t]) / n;
        ++classes;
    }
    return classes > 0 ? sum / classes : 0.0;
}

double Scores::false_flicker_rate() const {
    const int n = confusion[0][0] + confusion[0][1] + confusion[0][2] + confusion[0][3];
    return n > 0 ? double(confusion[0][1] + confusion[0][2]) / n : 0.0;
}

double Scores::wrong_frequency_rate() const {
    int n = 0;
    for (int t = 1; t < 3; ++t)
        for (int a = 0; a < 4; ++a) n += confusion[t][a];
    return n > 0 ? double(confusion[1][2] + confusion[2][1]) / n : 0.0;
}

double Scores::miss_rate() const {
    int n = 0;
    for (int t = 1; t < 3; ++t)
        for (int a = 0; a < 4; ++a) n += confusion[t][a];
    return n > 0 ? double(confusion[1][0] + confusion[1][3] + confusion[2][0] + confusion[2][3]) / n : 0.0;
}

std::vector<std::pair<std::string, std::string>> breakdown_keys(const SequenceRecord& r) {
    char fps[32];
    std::snprintf(fps, sizeof fps, "%g fps", r.fps);
    // Only flickering sequences have a ripple that can move; steady ones count as standing.
    const bool moved = r.lamp != "steady" && r.ripple_shift >= 0.05;
    return {{"lamp", r.lamp},
            {"brightness", r.brightness},
            {"exposure", exposure_bin(r.last_exposure_us)},
            {"whole-period exposure", whole_periods(r.last_exposure_us, r.mains) ? "yes" : "no"},
            {"frame rate", fps},
            {"ripple between frames", moved ? "moves (>= 5 %)" : "stands (< 5 %)"},
            {"camera", r.moving() ? "moving" : "still"},
            {"picture", r.picture},
            {"daylight", r.daylight > 0.0 ? "mixed in" : "none"},
            {"confounder", r.confounder}};
}

void add_answer(Scores& s, const SequenceRecord& r, Answer a) {
    if (r.label == Truth::Ambiguous) return;
    ++s.confusion[truth_row(r.label)][int(a)];
    const bool ok = is_correct(r.label, a);
    for (const auto& [group, key] : breakdown_keys(r)) {
        Tally& t = s.by[group][key];
        t.correct += ok ? 1 : 0;
        ++t.total;
    }
}

Answer thresholded_answer(const MethodOutput& o, double threshold) {
    return o.score > threshold ? o.frequency : Answer::None;
}

Answer thresholded_answer(const FrameOutput& o, double threshold) {
    return o.score > threshold ? o.frequency : Answer::None;
}

double choose_threshold(const std::vector<SequenceRecord>& records, const std::vector<MethodOutput>& outputs,
                        const std::vector<bool>& use) {
    std::vector<double> candidates = {0.0};
    for (size_t i = 0; i < outputs.size(); ++i)
        if (use[i] && records[i].label != Truth::Ambiguous) candidates.push_back(outputs[i].score);
    std::sort(candidates.begin(), candidates.end());
    double best = 0.0, best_score = -1.0;
    int best_false = 0;
    for (double threshold : candidates) {  // answer flicker above the threshold
        Scores s;
        for (size_t i = 0; i < outputs.size(); ++i)
            if (use[i]) add_answer(s, records[i], thresholded_answer(outputs[i], threshold));
        const int false_flicker = s.confusion[0][1] + s.confusion[0][2];
        const double score = s.balanced_accuracy();
        if (score > best_score || (score == best_score && false_flicker < best_false))
            best = threshold, best_score = score, best_false = false_flicker;
    }
    return best;
}

}  // namespace kevra_tool
