#include "tune_command.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>

#include "default_tuning.h"
#include "file_io.h"
#include "input_error.h"
#include "progress.h"

namespace kevra_tool {
namespace {

struct Candidate {
    std::string what;
    std::function<void(LibraryTuning&)> set;
};

std::vector<std::vector<Candidate>> candidate_groups() {
    std::vector<std::vector<Candidate>> groups(5);
    for (double base : {0.002, 0.003, 0.005, 0.007, 0.01, 0.014, 0.02, 0.03, 0.05, 0.08})
        for (double step : {1.5, 2.0, 3.0}) {
            char what[64];
            std::snprintf(what, sizeof what, "range_threshold %g x %g^k", base, step);
            groups[0].push_back({what, [base, step](LibraryTuning& t) {
                                     double v = base;
                                     for (float& r : t.range_threshold) r = float(v), v *= step;
                                 }});
        }
    for (double scale : {0.1, 0.25, 0.5, 0.75, 1.0})
        for (double spread : {0.0, 0.5, 1.0}) {
            // spread 1: the default's 0.9 .. 0.1 ladder; 0: the same share in every band.
            char what[64];
            std::snprintf(what, sizeof what, "detect_ratio scale %g spread %g", scale, spread);
            groups[1].push_back({what, [scale, spread](LibraryTuning& t) {
                                     static const float ladder[5] = {0.9f, 0.7f, 0.5f, 0.3f, 0.1f};
                                     for (int k = 0; k < 5; ++k)
                                         t.detect_ratio[k] = float(scale * (0.5 + spread * (ladder[k] - 0.5)));
                                 }});
        }
    for (int level : {0, 1})
        for (double gain : {0.1, 0.25, 0.5, 1.0, 2.0}) {
            char what[64];
            std::snprintf(what, sizeof what, "local band %d +- %g", level, gain);
            groups[2].push_back({what, [level, gain](LibraryTuning& t) {
                                     t.local_flicker_level = level;
                                     t.local_tolerance_gain = float(gain);
                                 }});
        }
    for (double scale : {0.5, 1.0, 2.0}) {
        char what[64];
        std::snprintf(what, sizeof what, "ratio_table[0] x %g", scale);
        groups[3].push_back({what, [scale](LibraryTuning& t) { t.ratio_scale = float(scale); }});
    }
    for (int mode : {0, 1, 2}) {
        static const char* names[] = {"plain levels", "fixed weights", "computed weights"};
        groups[4].push_back({names[mode], [mode](LibraryTuning& t) {
                                 t.weight_enable = mode > 0 ? 1 : 0;
                                 t.weight_fixed = mode == 1 ? 1 : 0;
                             }});
    }
    return groups;
}

Json scores_summary(const Scores& s) {
    return {{"scored", s.scored()},
            {"accuracy", s.accuracy()},
            {"balanced_accuracy", s.balanced_accuracy()},
            {"false_flicker_rate", s.false_flicker_rate()},
            {"wrong_frequency_rate", s.wrong_frequency_rate()},
            {"miss_rate", s.miss_rate()}};
}

bool better(const Scores& a, const Scores& b) {
    if (a.balanced_accuracy() != b.balanced_accuracy()) return a.balanced_accuracy() > b.balanced_accuracy();
    return a.confusion[0][1] + a.confusion[0][2] < b.confusion[0][1] + b.confusion[0][2];
}

}  // namespace

Scores score_tuning(const LibraryTuning& tuning, const std::vector<LabelledFrame>& frames) {
    std::unique_ptr<QORKEVRA, void (*)(QORKEVRA*)> detector(QORKEVRA::createInstance(),
                                                            [](QORKEVRA* d) { d->destroyInstance(d); });
    Scores s;
    for (const LabelledFrame& f : frames) add_answer(s, *f.record, library_frame_answer(*detector, f.capture, tuning));
    return s;
}

LibraryTuning search_tuning(const LibraryTuning& start, const std::vector<LabelledFrame>& frames, std::ostream* log,
                            Progress* progress) {
    LibraryTuning best = start;
    Scores best_scores = score_tuning(best, frames);
    const auto groups = candidate_groups();
    size_t tried = 0;
    size_t total = groups[0].size() * groups[2].size() * groups[4].size();
    auto consider = [&](const LibraryTuning& t, const std::string& what) {
        if (progress) progress->show(tried, total, what);
        ++tried;
        const Scores s = score_tuning(t, frames);
        if (!better(s, best_scores)) return false;
        best = t, best_scores = s;
        if (progress) progress->clear();
        if (log) *log << "  " << what << " -> balanced accuracy " << s.balanced_accuracy() << "\n";
        return true;
    };
    // The range threshold, the local band and the weight mode act together
    // (the band decides which rows the ratio counts), so they are searched
    // jointly before each group is refined alone.
    for (const Candidate& range : groups[0])
        for (const Candidate& band : groups[2])
            for (const Candidate& weight : groups[4]) {
                LibraryTuning t = start;
                range.set(t), band.set(t), weight.set(t);
                consider(t, "joint: " + range.what + ", " + band.what + ", " + weight.what);
            }
    for (int round = 0; round < 3; ++round) {
        bool changed = false;
        tried = 0, total = 0;
        for (const auto& group : groups) total += group.size();
        for (const auto& group : groups) {
            for (const Candidate& c : group) {
                LibraryTuning t = best;
                c.set(t);
                changed = consider(t, "round " + std::to_string(round + 1) + ": " + c.what) || changed;
            }
        }
        if (!changed) break;
    }
    if (progress) progress->clear();
    return best;
}

int run_tune(const TuneOptions& o, std::ostream& out, std::ostream& err, bool progress_wanted) {
    try {
        if (!(o.holdout >= 0.0 && o.holdout < 1.0)) throw InputError("tune", "--holdout", "expected a share in [0, 1)");
        const Manifest manifest = read_manifest(o.manifest);
        std::vector<LabelledFrame> tuning_frames, held_out_frames;
        Progress progress(err, progress_wanted);
        for (size_t i = 0; i < manifest.sequences.size(); ++i) {
            const SequenceRecord& r = manifest.sequences[i];
            if (r.label == Truth::Ambiguous) continue;
            progress.show(i, manifest.sequences.size(), r.id);
            LabelledFrame f{&r, read_capture((std::filesystem::path(manifest.directory) / r.frames.back()).string())};
            (is_held_out(i, o.holdout) ? held_out_frames : tuning_frames).push_back(std::move(f));
        }
        progress.clear();
        const LibraryTuning start = tuning_of(default_config());
        out << "searching on " << tuning_frames.size() << " sequences, holding out " << held_out_frames.size() << "\n";
        const LibraryTuning best = search_tuning(start, tuning_frames, &out, &progress);
        Json j;
        j["tuning"] = tuning_to_json(best);
        j["manifest"] = o.manifest;
        j["holdout"] = o.holdout;
        const Scores best_tune = score_tuning(best, tuning_frames), start_tune = score_tuning(start, tuning_frames);
        j["scores"] = {{"tuning_split", scores_summary(best_tune)}};
        j["default_scores"] = {{"tuning_split", scores_summary(start_tune)}};
        out << "tuning split: balanced accuracy " << start_tune.balanced_accuracy() << " with the default tuning, "
            << best_tune.balanced_accuracy() << " with the result\n";
        if (!held_out_frames.empty()) {
            const Scores best_held = score_tuning(best, held_out_frames), start_held = score_tuning(start, held_out_frames);
            j["scores"]["held_out"] = scores_summary(best_held);
            j["default_scores"]["held_out"] = scores_summary(start_held);
            out << "held out:     balanced accuracy " << start_held.balanced_accuracy() << " with the default tuning, "
                << best_held.balanced_accuracy() << " with the result (accuracy " << start_held.accuracy() << " -> "
                << best_held.accuracy() << ", false flicker " << start_held.false_flicker_rate() << " -> "
                << best_held.false_flicker_rate() << ")\n";
        }
        write_file_atomically(o.output, j.dump(1) + "\n");
    } catch (const std::exception& e) {
        err << "kevra: " << e.what() << "\n";
        return 1;
    }
    return 0;
}

}  // namespace kevra_tool
