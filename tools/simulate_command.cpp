#include "simulate_command.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <sstream>

#include "file_io.h"
#include "input_error.h"
#include "progress.h"
#include "simulate_plot.h"
#include "simulate_timeline.h"
#include "synth_command.h"
#include "virtual_camera.h"

namespace kevra_tool {

struct SimulateOptions {
    SynthOptions synth;
    CameraScene camera;
    CameraLoop loop;
    bool probe = false;
    double longest_extra_us = 0.0, recheck_s = 0.0;  // given only when counted
    std::string json, plot;
};

namespace {

[[noreturn]] void bad(const std::string& option, const std::string& problem) {
    throw InputError("simulate", option, problem);
}

using Classifier = std::unique_ptr<QORKEVRASCENE, void (*)(QORKEVRASCENE*)>;

Classifier make_classifier() {
    return Classifier(QORKEVRASCENE::createInstance(), [](QORKEVRASCENE* s) { s->destroyInstance(s); });
}

void add_options(CLI::App& app, SimulateOptions& o) {
    o.synth.sequence.frames = 30;
    add_scene_options(app, o.synth);
    app.add_option("--lamp-on", o.camera.lamp_on_frame, "The lamp lights up at this frame (dark before: steady light)");
    app.add_option("--lamp-off", o.camera.lamp_off_frame, "The lamp goes dark at this frame (steady light of the same mean)");
    app.add_option("--latency", o.loop.latency, "Frames before the camera applies an answer or a request, 0..3")
        ->capture_default_str();
    app.add_flag("--ignore-requests", o.loop.ignore_requests, "Keep the nominal frame timing whatever is asked");
    app.add_flag("--probe", o.probe, "Let the classifier ask for a longer frame interval where frames cannot decide");
    app.add_option("--longest-extra-us", o.longest_extra_us, "Most one request may add to the frame interval, us (0..100000)");
    app.add_option("--recheck-s", o.recheck_s, "Once settled, ask again at most this often, s; 0: never");
    app.add_option("--json", o.json, "Write JSON Lines to FILE; a bare --json prints them instead of the timeline")
        ->expected(0, 1);
    app.add_option("--plot", o.plot, "Draw the timeline to this SVG");
}

// Scene options are checked by synth's code, which names its own command.
InputError as_simulate(const InputError& e) {
    if (e.file() != "synth") return e;
    const std::string prefix = e.file() + ": " + (e.field().empty() ? "" : e.field() + ": ");
    return InputError("simulate", e.field(), std::string(e.what()).substr(prefix.size()));
}

void finish(const CLI::App& app, SimulateOptions& o) {
    if (app.count("--sensor-mode") == 0 && app.count("--line-time") == 0) {
        // Read out in at most 90 % of the nominal frame interval, as a camera at that rate would.
        const double lines = double(o.synth.scene.rows) * double(o.synth.scene.lines_per_row);
        if (lines > 0.0 && o.synth.sequence.fps > 0.0) o.synth.scene.line_time = float(std::min(10.0, 0.9e6 / o.synth.sequence.fps / lines));
    }
    try {
        finish_scene_options(app, o.synth);
    } catch (const InputError& e) {
        throw as_simulate(e);
    }
    o.camera.scene = o.synth.scene;
    o.camera.sequence = o.synth.sequence;
    check_camera(o.camera, o.loop);
    if (app.count("--longest-extra-us") > 0 && !(o.longest_extra_us >= 0.0 && o.longest_extra_us <= 100000.0))
        bad("--longest-extra-us", "expected 0..100000 us");
    if (app.count("--recheck-s") > 0 && !(o.recheck_s >= 0.0 && o.recheck_s <= 1e6)) bad("--recheck-s", "expected 0..1000000 s");
    if (app.count("--json") > 0 && !o.json.empty() && o.json == o.plot) bad("--plot", "is the same file as --json");
}

// The defaults of a fresh classifier with the options given on top.
void apply_settings(const CLI::App& app, const SimulateOptions& o, QORKEVRASCENE& classifier) {
    kevra_scene_settings s{};
    s.size = sizeof s;
    classifier.GetSettings(&s);
    s.probe = o.probe ? 1 : 0;
    if (app.count("--longest-extra-us") > 0) s.longest_extra_ns = std::llround(o.longest_extra_us * 1e3);
    if (app.count("--recheck-s") > 0) s.recheck_ns = std::llround(o.recheck_s * 1e9);
    if (classifier.SetSettings(&s) != KEVRA_STATUS_OK)
        bad("--probe", "the classifier refused these settings (--longest-extra-us, --recheck-s out of range)");
}

SimulateOptions parsed(const CLI::App& app, const SimulateOptions& given) {
    SimulateOptions o = given;
    finish(app, o);
    return o;
}

}  // namespace

SimulateCommand::SimulateCommand(CLI::App& app) : options_(std::make_unique<SimulateOptions>()) {
    subcommand_ = app.add_subcommand(
        "simulate", "Run a synthetic scene through a virtual camera with the scene answer, auto-exposure and frame "
                    "timing in the loop; print a timeline per frame");
    add_options(*subcommand_, *options_);
}

SimulateCommand::~SimulateCommand() = default;

int SimulateCommand::run(std::ostream& out, std::ostream& err, bool progress_wanted) const {
    const bool json_to_out = subcommand_->count("--json") > 0 && options_->json.empty();
    Progress progress(err, progress_wanted && options_->synth.sequence.frames > 1);
    try {
        const SimulateOptions o = parsed(*subcommand_, *options_);
        Classifier classifier = make_classifier();
        apply_settings(*subcommand_, o, *classifier);
        VirtualCamera camera(o.camera, false);
        std::ostringstream json_lines;
        std::vector<CameraFrame> frames;
        const size_t count = size_t(o.camera.sequence.frames);
        if (!json_to_out) out << timeline_header();
        camera.run(*classifier, o.loop, [&](const CameraFrame& f) {
            const std::string json = camera_frame_to_json(f).dump() + "\n";
            progress.clear();
            (json_to_out ? out << json : out << timeline_line(f)) << std::flush;
            progress.show(size_t(f.index), count, "frame " + std::to_string(f.index));
            if (!o.json.empty()) json_lines << json;
            if (!o.plot.empty()) frames.push_back(f);
        });
        if (!o.json.empty()) write_file_atomically(o.json, json_lines.str());
        if (!o.plot.empty()) write_file_atomically(o.plot, simulate_plot_svg(frames, o.camera.sequence.fps));
    } catch (const std::exception& e) {
        progress.clear();
        err << "kevra: " << e.what() << "\n";
        return 1;
    }
    return 0;
}

std::vector<Json> simulate_from_arguments(const std::vector<std::string>& args) {
    CLI::App app{"kevra simulate"};
    app.name("simulate");
    SimulateOptions given;
    add_options(app, given);
    std::vector<std::string> reversed(args.rbegin(), args.rend());  // CLI11 takes them last first
    try {
        app.parse(reversed);
    } catch (const CLI::ParseError& e) {
        throw InputError("simulate", "", e.what());
    }
    if (app.count("--json") + app.count("--plot") > 0) bad("--json", "the timeline is returned; --json and --plot are the command's");
    const SimulateOptions o = parsed(app, given);
    Classifier classifier = make_classifier();
    apply_settings(app, o, *classifier);
    std::vector<Json> rows;
    VirtualCamera(o.camera, false).run(*classifier, o.loop, [&](const CameraFrame& f) { rows.push_back(camera_frame_to_json(f)); });
    return rows;
}

}  // namespace kevra_tool
