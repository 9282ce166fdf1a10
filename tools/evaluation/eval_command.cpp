#include "eval_command.h"

#include <ctime>
#include <filesystem>

#include "file_io.h"
#include "input_error.h"
#include "progress.h"

namespace kevra_tool {
namespace {

double cpu_seconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

std::unique_ptr<Method> make_method(const std::string& name, const std::optional<LibraryTuning>& tuning) {
    if (name == "kevra-frame") return make_library_method(tuning, false);
    if (name == "kevra-frame-majority") return make_library_method(tuning, true);
    if (name == "kevra-scene") return make_scene_method();
    if (name == "row-dft") return make_row_dft_method();
    if (name == "frame-ratio") return make_frame_ratio_method();
    return nullptr;
}

std::optional<LibraryTuning> read_tuning(const std::string& path) {
    if (path.empty()) return std::nullopt;
    std::string text, reason;
    if (!read_file(path, text, reason)) throw InputError(path, "", "cannot read: " + reason);
    try {
        const Json j = Json::parse(text);
        if (!j.contains("tuning")) throw InputError(path, "tuning", "missing");
        return tuning_from_json(j["tuning"], path);
    } catch (const Json::exception& e) {
        throw InputError(path, "", std::string("not valid JSON (") + e.what() + ")");
    }
}

}  // namespace

std::vector<std::string> eval_method_names() {
    return {"kevra-frame", "kevra-frame-majority", "kevra-scene", "row-dft", "frame-ratio"};
}

EvalResult evaluate(const EvalOptions& o, std::ostream& err, bool progress_wanted) {
    const Manifest manifest = read_manifest(o.manifest);
    const std::optional<LibraryTuning> tuning = read_tuning(o.tuning);
    if (!(o.holdout > 0.0 && o.holdout < 1.0)) throw InputError("eval", "--holdout", "expected a share in (0, 1)");
    const std::vector<std::string> names = o.methods.empty() ? eval_method_names() : o.methods;
    std::vector<std::unique_ptr<Method>> methods;
    for (const std::string& name : names) {
        methods.push_back(make_method(name, tuning));
        if (!methods.back())
            throw InputError("eval", "--methods", "no method '" + name + "' in this build (try kevra eval --help)");
    }

    EvalResult result;
    result.manifest = o.manifest;
    result.holdout = o.holdout;
    result.sequences = manifest.sequences.size();
    std::vector<std::vector<MethodOutput>> outputs(methods.size());
    std::vector<double> cpu(methods.size(), 0.0);
    size_t frames = 0;
    Progress progress(err, progress_wanted);
    for (size_t i = 0; i < manifest.sequences.size(); ++i) {
        const SequenceRecord& r = manifest.sequences[i];
        progress.show(i, manifest.sequences.size(), r.id);
        std::vector<Capture> captures;
        for (const std::string& f : r.frames)
            captures.push_back(read_capture((std::filesystem::path(manifest.directory) / f).string()));
        frames += captures.size();
        for (size_t m = 0; m < methods.size(); ++m) {
            const double start = cpu_seconds();
            outputs[m].push_back(methods[m]->run(captures));
            cpu[m] += cpu_seconds() - start;
        }
        result.is_held_out.push_back(is_held_out(i, o.holdout));
        result.visible_ripple.push_back(r.visible_ripple);
        result.confounder.push_back(r.confounder);
        result.held_out += result.is_held_out.back() ? 1 : 0;
        result.ambiguous += r.label == Truth::Ambiguous && result.is_held_out.back() ? 1 : 0;
    }
    progress.clear();

    std::vector<bool> tuning_split(result.is_held_out.size());
    for (size_t i = 0; i < tuning_split.size(); ++i) tuning_split[i] = !result.is_held_out[i];
    for (size_t m = 0; m < methods.size(); ++m) {
        MethodResult mr;
        mr.name = methods[m]->name();
        mr.thresholded = methods[m]->thresholded();
        if (mr.thresholded) mr.threshold = choose_threshold(manifest.sequences, outputs[m], tuning_split);
        mr.cpu_us_per_frame = frames > 0 ? 1e6 * cpu[m] / double(frames) : 0.0;
        for (size_t i = 0; i < outputs[m].size(); ++i) {
            const Answer a = mr.thresholded ? thresholded_answer(outputs[m][i], mr.threshold) : outputs[m][i].answer;
            mr.answers.push_back(a);
            mr.frame_answers.push_back(frame_answers(outputs[m][i], mr.thresholded, mr.threshold));
            if (!result.is_held_out[i]) continue;
            add_answer(mr.held_out, manifest.sequences[i], a);
            add_frame_answers(mr.every_frame, manifest.sequences[i], mr.frame_answers.back());
            add_frame_answers(mr.every_frame_by_confounder[manifest.sequences[i].confounder], manifest.sequences[i],
                              mr.frame_answers.back());
        }
        result.methods.push_back(std::move(mr));
    }
    return result;
}

int run_eval(const EvalOptions& o, std::ostream& out, std::ostream& err, bool progress) {
    try {
        if (o.closed_loop) check_closed_loop(o.loop);
        const EvalResult result = evaluate(o, err, progress);
        if (o.closed_loop) {
            const ClosedLoopResult loop = evaluate_closed_loop(o.manifest, result.is_held_out, o.loop, err, progress);
            Json j = eval_to_json(result);
            j["closed_loop"] = closed_loop_to_json(loop);
            if (o.json) out << j.dump(1) << "\n";
            else {
                write_eval_text(out, result);
                write_closed_loop_text(out, loop);
            }
        } else if (o.json) {
            out << eval_to_json(result).dump(1) << "\n";
        } else {
            write_eval_text(out, result);
        }
        if (!o.plot.empty()) write_file_atomically(o.plot, eval_plot_svg(result));
    } catch (const std::exception& e) {
        err << "kevra: " << e.what() << "\n";
        return 1;
    }
    return 0;
}

}  // namespace kevra_tool
