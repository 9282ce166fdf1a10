// The every-frame scores in text and JSON: overall, then by confounder.
#include <algorithm>
#include <cstdio>

#include "benchmark_confounders.h"
#include "eval_command.h"

namespace kevra_tool {
namespace {

double share(int n, int of) { return of > 0 ? double(n) / of : 0.0; }

std::string pct(int n, int of) {
    char t[16];
    std::snprintf(t, sizeof t, "%5.1f %%", 100.0 * share(n, of));
    return t;
}

Json scores_json(const EveryFrameScores& s) {
    return {{"sequences", s.sequences},
            {"right_at_last_frame", share(s.right_last, s.sequences)},
            {"wrong_at_last_frame", share(s.wrong_last, s.sequences)},
            {"wrong_at_some_frame", share(s.wrong_somewhere, s.sequences)},
            {"frames", s.frames},
            {"frames_right", share(s.right, s.frames)},
            {"frames_wrong", share(s.wrong(), s.frames)},
            {"frames_false_flicker", share(s.false_flicker, s.frames)},
            {"frames_wrong_frequency", share(s.wrong_frequency, s.frames)},
            {"frames_missed", share(s.missed, s.frames)}};
}

// Report order first, then any kind an older or newer recipe adds.
std::vector<std::string> kinds_of(const MethodResult& m) {
    std::vector<std::string> kinds;
    for (const std::string& k : confounder_kinds())
        if (m.every_frame_by_confounder.count(k)) kinds.push_back(k);
    for (const auto& entry : m.every_frame_by_confounder)
        if (std::find(kinds.begin(), kinds.end(), entry.first) == kinds.end()) kinds.push_back(entry.first);
    return kinds;
}

}  // namespace

void write_every_frame_text(std::ostream& out, const MethodResult& m) {
    const EveryFrameScores& s = m.every_frame;
    if (s.sequences == 0) {
        out << "  every frame: no answers after each frame from this method\n";
        return;
    }
    out << "  every frame from the " << kFirstScoredFrame + 1 << "th: " << s.frames << " frames, right "
        << pct(s.right, s.frames) << ", wrong " << pct(s.wrong(), s.frames) << " (false flicker "
        << pct(s.false_flicker, s.frames) << ", wrong frequency " << pct(s.wrong_frequency, s.frames) << ", missed "
        << pct(s.missed, s.frames) << ")\n";
    out << "  sequences wrong at some frame " << pct(s.wrong_somewhere, s.sequences) << ", at the last frame "
        << pct(s.wrong_last, s.sequences) << "\n";
    out << "  confounder          sequences  right at last  wrong at last  wrong at some frame  frames right\n";
    for (const std::string& kind : kinds_of(m)) {
        const EveryFrameScores& k = m.every_frame_by_confounder.at(kind);
        char line[160];
        std::snprintf(line, sizeof line, "  %-18s %10d  %13s  %13s  %19s  %12s\n", kind.c_str(), k.sequences,
                      pct(k.right_last, k.sequences).c_str(), pct(k.wrong_last, k.sequences).c_str(),
                      pct(k.wrong_somewhere, k.sequences).c_str(), pct(k.right, k.frames).c_str());
        out << line;
    }
}

Json every_frame_to_json(const MethodResult& m) {
    Json j = scores_json(m.every_frame);
    j["first_scored_frame"] = kFirstScoredFrame;
    j["by_confounder"] = Json::object();
    for (const auto& [kind, scores] : m.every_frame_by_confounder) j["by_confounder"][kind] = scores_json(scores);
    j["answers"] = Json::array();  // every sequence, after each frame
    for (const std::vector<Answer>& answers : m.frame_answers) {
        Json a = Json::array();
        for (Answer x : answers) a.push_back(answer_name(x));
        j["answers"].push_back(a);
    }
    return j;
}

}  // namespace kevra_tool
