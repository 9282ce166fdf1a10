#include "cli.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "builtin_sample.h"
#include "capture.h"
#include "detection.h"
#include "file_io.h"
#include "input_error.h"
#include "mains_auto.h"
#include "progress.h"
#include "quality_commands.h"
#include "report.h"
#include "scene_answer.h"
#include "stats_command.h"
#include "synth_command.h"

namespace kevra_tool {
namespace {

struct DetectOptions {
    std::vector<std::string> captures;
    bool json = false;
    std::string plot;
    std::string mains;  // empty: the capture's own; "50", "60" or "auto"
};

struct ClassifyOptions {
    std::vector<std::string> captures;
    bool json = false;
};


// A capture's report under the mains the options ask for; with "auto" the
// detector runs under both and the answer line says which it chose.
DetectionReport detect_with_mains(QORKEVRA& detector, const Capture& capture, const std::string& name,
                                  const std::string& mains, Json* auto_json, std::string* auto_text) {
    if (mains.empty()) return detect(detector, capture, name);
    if (mains != "auto") return detect(detector, at_mains(capture, std::stoi(mains)), name);
    const MainsAutoReport r = detect_auto_mains(detector, capture, name);
    *auto_json = Json::object();
    (*auto_json)["answer"] = scene_flicker_name(r.answer);
    for (const DetectionReport* d : {&r.at50, &r.at60}) {
        Json h = Json::object();
        h["flicker_detected"] = d->flicker_detected;
        h["confidence_index"] = float_to_json(d->confidence_index);
        (*auto_json)[std::to_string(d->mains_frequency)] = h;
    }
    char text[200];
    std::snprintf(text, sizeof text,
                  "  mains auto: %s (50 Hz: %s, index %g; 60 Hz: %s, index %g); the report above is for %d Hz\n",
                  r.answer == KEVRA_SCENE_NONE ? "no flicker" : r.answer == 50 ? "50 Hz" : "60 Hz",
                  r.at50.flicker_detected ? "flicker" : "none", double(r.at50.confidence_index),
                  r.at60.flicker_detected ? "flicker" : "none", double(r.at60.confidence_index),
                  r.chosen().mains_frequency);
    *auto_text = text;
    return r.chosen();
}

// Runs body on each input with a progress line on a terminal; an input that
// fails is reported and counted, the others still run. Status 1 if any failed.
template <class Body>
int each_input(const std::vector<std::string>& names, const char* kind, std::ostream& err, bool progress_wanted,
               Body body) {
    Progress progress(err, progress_wanted && names.size() > 1);
    size_t failed = 0;
    for (size_t i = 0; i < names.size(); ++i) {
        progress.show(i, names.size(), names[i]);
        try {
            body(i, names[i], progress);
        } catch (const std::exception& e) {
            progress.clear();
            err << "kevra: " << e.what() << "\n";
            ++failed;
        }
    }
    progress.clear();
    if (failed == 0) return 0;
    if (names.size() > 1) err << "kevra: " << failed << " of " << names.size() << " " << kind << " failed\n";
    return 1;
}

int run_detect(const DetectOptions& o, std::ostream& out, std::ostream& err, bool progress_wanted) {
    const bool builtin = o.captures.empty();
    const std::vector<std::string> names = builtin ? std::vector<std::string>{kBuiltinSampleName} : o.captures;
    std::unique_ptr<QORKEVRA, void (*)(QORKEVRA*)> detector(QORKEVRA::createInstance(),
                                                            [](QORKEVRA* d) { d->destroyInstance(d); });
    return each_input(names, "captures", err, progress_wanted, [&](size_t i, const std::string& name, Progress& progress) {
        const Capture capture = builtin ? synthesize(builtin_sample_scene()) : read_capture(name);
        Json auto_json;
        std::string auto_text;
        const DetectionReport report = detect_with_mains(*detector, capture, name, o.mains, &auto_json, &auto_text);
        progress.clear();
        if (o.json) {
            Json line = report_to_json(report);
            if (!auto_json.is_null()) line["mains_auto"] = auto_json;
            out << line.dump() << "\n";
        } else {
            if (i > 0) out << "\n";
            write_text_report(out, report);
            out << auto_text;
        }
        if (!o.plot.empty()) write_file_atomically(numbered_path(o.plot, i, names.size()), plot_svg(report));
    });
}

// Captures are consecutive frames of one sequence, in the order given; a
// frame that cannot be read or is refused is reported and skipped.
int run_classify(const ClassifyOptions& o, std::ostream& out, std::ostream& err, bool progress_wanted) {
    std::unique_ptr<QORKEVRASCENE, void (*)(QORKEVRASCENE*)> classifier(
        QORKEVRASCENE::createInstance(), [](QORKEVRASCENE* s) { s->destroyInstance(s); });
    return each_input(o.captures, "frames", err, progress_wanted, [&](size_t i, const std::string& name, Progress& progress) {
        const kevra_scene_result result = classify_frame(*classifier, read_capture(name), name);
        progress.clear();
        if (o.json) {
            out << scene_result_to_json(result, name, i + 1).dump() << "\n";
        } else {
            out << scene_result_text(result, name, i + 1) << "\n";
        }
    });
}

}  // namespace

int run_cli(int argc, const char* const* argv, std::ostream& out, std::ostream& err, bool progress) {
    CLI::App app{"kevra: lamp flicker detection on captured row statistics"};
    app.name("kevra");
    app.require_subcommand(1);

    DetectOptions detect_options;
    CLI::App* detect = app.add_subcommand(
        "detect", "Run the detector on captures (on a built-in 50 Hz sample when none is given)");
    detect->add_option("captures", detect_options.captures, "Capture files (JSON)");
    detect->add_flag("--json", detect_options.json, "One JSON object per capture (JSON Lines)");
    detect->add_option("--plot", detect_options.plot,
                       "Draw levels and fitted model to this SVG (numbered -0001, ... for several captures)");
    detect->add_option("--mains", detect_options.mains,
                       "Mains frequency to fit: 50, 60, or auto (both, and say which flickers); "
                       "default: the capture's own")
        ->check(CLI::IsMember({"50", "60", "auto"}));

    ClassifyOptions classify_options;
    CLI::App* classify = app.add_subcommand(
        "classify", "Scene answer (none, 50, 60 or unknown) after each frame of a sequence of captures");
    classify->add_option("captures", classify_options.captures, "Capture files, consecutive frames in order")
        ->required();
    classify->add_flag("--json", classify_options.json, "One JSON object per frame (JSON Lines)");

    const SynthCommand synth(app);
    const StatsCommand stats(app);
    const QualityCommands quality(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e, out, err);
    }
    if (detect->parsed()) return run_detect(detect_options, out, err, progress);
    if (classify->parsed()) return run_classify(classify_options, out, err, progress);
    if (stats.subcommand()->parsed()) return stats.run(err, progress);
    if (quality.parsed()) return quality.run(out, err, progress);
    return synth.run(err, progress);
}

}  // namespace kevra_tool
