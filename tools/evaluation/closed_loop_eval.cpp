#include "closed_loop_eval.h"

#include <cmath>
#include <cstdio>
#include <filesystem>

#include "benchmark_recipe.h"
#include "input_error.h"
#include "labelling.h"
#include "progress.h"
#include "virtual_camera.h"

namespace kevra_tool {
namespace {

constexpr int kLatencies = 4;

using Classifier = std::unique_ptr<QORKEVRASCENE, void (*)(QORKEVRASCENE*)>;

int32_t truth_answer(Truth t) {
    return t == Truth::Hz50 ? KEVRA_SCENE_50HZ : t == Truth::Hz60 ? KEVRA_SCENE_60HZ : KEVRA_SCENE_NONE;
}

// Any answer but the truth and UNKNOWN: a frequency on a steady scene, the
// other frequency, or NONE on a lamp visible at the scene's own exposure.
bool wrong(int32_t answer, int32_t truth) { return answer != KEVRA_SCENE_UNKNOWN && answer != truth; }

// The recipe's scene for a manifest record, made longer; refuses a record the
// recipe does not redraw (another seed, other pictures).
CameraScene closed_loop_scene(const Manifest& m, size_t i, const std::vector<std::string>& pictures,
                              const ClosedLoopOptions& o) {
    const SequencePlan plan = recipe_sequence(m.seed, int(i), pictures);
    const SequenceRecord& r = m.sequences[i];
    if (plan.lamp != r.lamp || plan.picture != r.picture || plan.fps != r.fps || plan.mains != r.mains)
        throw InputError(r.id, "", "the recipe with seed " + std::to_string(m.seed) + " and the pictures of " + o.pictures +
                                       " draws another sequence; give the benchmark's --pictures");
    CameraScene c;
    c.scene = sequence_scene(plan, o.pictures);
    c.sequence = sequence_options(plan);
    c.sequence.frames = o.frames;
    return c;
}

void score(LoopScores& s, const std::vector<CameraFrame>& frames, int32_t truth, bool lamp, const std::string& id) {
    const int n = int(frames.size());
    int right_from = n;  // first frame of the final run of right answers
    while (right_from > 0 && frames[size_t(right_from - 1)].result.scene_flicker == truth) --right_from;
    for (size_t k = 0; k < kSettleFrames.size(); ++k) s.settled[k] += right_from <= kSettleFrames[k] - 1 ? 1 : 0;
    bool any_wrong = false;
    for (int i = kFirstJudgedFrame - 1; i < n; ++i) any_wrong |= wrong(frames[size_t(i)].result.scene_flicker, truth);
    int first_named = 0;
    while (first_named < n && frames[size_t(first_named)].result.scene_flicker != truth) ++first_named;
    s.wrong += any_wrong ? 1 : 0;
    s.scored += 1;
    if (any_wrong) s.wrong_ids.push_back(id);
    if (right_from > kSettleFrames.back() - 1) s.unsettled_ids.push_back(id);
    if (!lamp || first_named == n) return;
    s.named += 1;
    s.stays_named += right_from <= first_named ? 1 : 0;
}

std::string pct(size_t part, size_t whole) {
    char t[16];
    std::snprintf(t, sizeof t, "%5.1f %%", whole ? 100.0 * double(part) / double(whole) : 0.0);
    return t;
}

}  // namespace

void check_closed_loop(const ClosedLoopOptions& o) {
    if (o.frames < kSettleFrames.back() || o.frames > 1000)
        throw InputError("eval", "--frames", "expected " + std::to_string(kSettleFrames.back()) + "..1000 frames");
    if (!std::filesystem::is_directory(o.pictures))
        throw InputError("eval", "--pictures", "no directory '" + o.pictures + "'");
}

ClosedLoopResult evaluate_closed_loop(const std::string& manifest_path, const std::vector<bool>& held_out,
                                      const ClosedLoopOptions& o, std::ostream& err, bool progress_wanted) {
    check_closed_loop(o);
    const Manifest m = read_manifest(manifest_path);
    const std::vector<std::string> pictures = benchmark_pictures(o.pictures);
    ClosedLoopResult result;
    result.frames = o.frames;
    for (bool probe : {false, true})
        for (int latency = 0; latency < kLatencies; ++latency) {
            LoopScores s;
            s.probe = probe;
            s.latency = latency;
            result.settings.push_back(s);
        }
    Classifier classifier(QORKEVRASCENE::createInstance(), [](QORKEVRASCENE* s) { s->destroyInstance(s); });
    kevra_scene_settings settings{};
    settings.size = sizeof settings;
    classifier->GetSettings(&settings);
    Progress progress(err, progress_wanted);
    for (size_t i = 0; i < m.sequences.size() && i < held_out.size(); ++i) {
        if (!held_out[i]) continue;
        progress.show(i, m.sequences.size(), "closed loop " + m.sequences[i].id);
        VirtualCamera camera(closed_loop_scene(m, i, pictures, o), true);
        const SequenceRecord& record = m.sequences[i];
        const Truth label = record.label;
        result.sequences += 1;
        for (LoopScores& s : result.settings) {
            settings.probe = s.probe ? 1 : 0;
            classifier->SetSettings(&settings);
            std::vector<CameraFrame> frames;
            camera.run(*classifier, CameraLoop{s.latency, false}, [&](const CameraFrame& f) {
                frames.push_back(f);
                s.probes += f.lengthened ? 1 : 0;
                s.added_ms += f.lengthened ? f.interval_ms - 1e3 / m.sequences[i].fps : 0.0;
                s.cpu_us += f.classifier_cpu_us;
                s.frames += 1;
            });
            // A loop runs longer than the labelled frames: a ramp may carry a
            // lamp's ripple into view after them.
            double seen = 0.0;
            for (const CameraFrame& f : frames) seen = std::fmax(seen, f.visible_ripple);
            const Truth truth = label == Truth::None ? label_for(seen, record.mains) : label;
            if (truth != Truth::Ambiguous) score(s, frames, truth_answer(truth), truth != Truth::None, record.id);
        }
    }
    progress.clear();
    return result;
}

void write_closed_loop_text(std::ostream& out, const ClosedLoopResult& r) {
    out << "\nClosed loop: " << r.sequences << " held-out sequences, " << r.frames
        << " frames each through the virtual camera (auto-exposure obeys the answer; requests honoured after the "
           "latency)\n";
    out << "probing  latency  scored  settled@3  settled@6  settled@12  wrong@4+  stays named  probes/seq  added ms/seq  "
           "cpu us/frame\n";
    for (const LoopScores& s : r.settings) {
        char line[240];
        const double seqs = double(r.sequences ? r.sequences : 1);
        std::snprintf(line, sizeof line, "%-7s  %7d  %6zu    %s    %s     %s   %s      %s  %10.2f  %12.2f  %12.1f\n",
                      s.probe ? "on" : "off", s.latency, s.scored, pct(s.settled[0], s.scored).c_str(),
                      pct(s.settled[1], s.scored).c_str(), pct(s.settled[2], s.scored).c_str(),
                      pct(s.wrong, s.scored).c_str(), s.probe ? "      " : pct(s.stays_named, s.named).c_str(),
                      double(s.probes) / seqs, s.added_ms / seqs, s.frames ? s.cpu_us / double(s.frames) : 0.0);
        out << line;
    }
}

Json closed_loop_to_json(const ClosedLoopResult& r) {
    Json j = Json::object();
    j["frames"] = r.frames;
    j["sequences"] = r.sequences;
    Json rows = Json::array();
    const double seqs = double(r.sequences ? r.sequences : 1);
    for (const LoopScores& s : r.settings) {
        Json row = Json::object();
        row["probe"] = s.probe;
        row["latency"] = s.latency;
        row["scored"] = s.scored;
        for (size_t k = 0; k < kSettleFrames.size(); ++k)
            row["settled_by_frame_" + std::to_string(kSettleFrames[k])] = s.scored ? double(s.settled[k]) / double(s.scored) : 0.0;
        row["wrong_from_frame_4"] = s.scored ? double(s.wrong) / double(s.scored) : 0.0;
        if (!s.probe) row["stays_named"] = s.named ? double(s.stays_named) / double(s.named) : 0.0;
        row["probes_per_sequence"] = double(s.probes) / seqs;
        row["added_ms_per_sequence"] = s.added_ms / seqs;
        row["cpu_us_per_frame"] = s.frames ? s.cpu_us / double(s.frames) : 0.0;
        row["wrong_sequences"] = s.wrong_ids;
        row["unsettled_sequences"] = s.unsettled_ids;
        rows.push_back(row);
    }
    j["settings"] = rows;
    return j;
}

}  // namespace kevra_tool
