#include "simulate_options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>

#include "input_error.h"
#include "simulate_timeline.h"

namespace kevra_tool {
namespace {

[[noreturn]] void bad(const std::string& option, const std::string& problem) {
    throw InputError("simulate", option, problem);
}

// Scene options are checked by synth's code, which names its own command.
InputError as_simulate(const InputError& e) {
    if (e.file() != "synth") return e;
    const std::string prefix = e.file() + ": " + (e.field().empty() ? "" : e.field() + ": ");
    return InputError("simulate", e.field(), std::string(e.what()).substr(prefix.size()));
}

}  // namespace

void add_simulate_options(CLI::App& app, SimulateOptions& o) {
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

void finish_simulate_options(const CLI::App& app, SimulateOptions& o) {
    Scene& s = o.synth.scene;
    if (app.count("--sensor-mode") == 0 && app.count("--line-time") == 0 && o.synth.sequence.fps > 0.0) {
        // Read out in at most 90 % of the nominal frame interval, as a camera at that rate would.
        const double lines = double(s.rows) * double(s.lines_per_row);
        if (lines > 0.0) s.line_time = float(std::min(10.0, 0.9e6 / o.synth.sequence.fps / lines));
    }
    try {
        finish_synth_options(app, o.synth);
    } catch (const InputError& e) {
        throw as_simulate(e);
    }
    o.camera.scene = o.synth.scene;
    o.camera.sequence = o.synth.sequence;
    check_camera(o.camera, o.loop);
    if (app.count("--longest-extra-us") > 0) {
        if (!(o.longest_extra_us >= 0.0 && o.longest_extra_us <= 100000.0)) bad("--longest-extra-us", "expected 0..100000 us");
        o.longest_extra_ns = std::llround(o.longest_extra_us * 1e3);
    }
    if (app.count("--recheck-s") > 0) {
        if (!(o.recheck_s >= 0.0 && o.recheck_s <= 1e6)) bad("--recheck-s", "expected 0..1000000 s");
        o.recheck_ns = std::llround(o.recheck_s * 1e9);
    }
    if (app.count("--json") > 0 && !o.json.empty() && o.json == o.plot) bad("--plot", "is the same file as --json");
}

SceneClassifierPtr simulate_classifier(const SimulateOptions& o) {
    SceneClassifierPtr classifier(QORKEVRASCENE::createInstance(), [](QORKEVRASCENE* c) { c->destroyInstance(c); });
    kevra_scene_settings s{};
    s.size = sizeof s;
    classifier->GetSettings(&s);
    s.probe = o.probe ? 1 : 0;
    if (o.longest_extra_ns) s.longest_extra_ns = *o.longest_extra_ns;
    if (o.recheck_ns) s.recheck_ns = *o.recheck_ns;
    if (classifier->SetSettings(&s) != KEVRA_STATUS_OK)
        bad("--probe", "the classifier refused these settings (--longest-extra-us, --recheck-s)");
    return classifier;
}

std::vector<Json> simulate_from_arguments(const std::vector<std::string>& args) {
    CLI::App app{"kevra simulate"};
    app.name("simulate");
    SimulateOptions o;
    add_simulate_options(app, o);
    std::vector<std::string> reversed(args.rbegin(), args.rend());  // CLI11 takes them last first
    try {
        app.parse(reversed);
    } catch (const CLI::ParseError& e) {
        throw InputError("simulate", "", e.what());
    }
    if (app.count("--json") + app.count("--plot") > 0)
        bad("--json", "the timeline is returned; --json and --plot belong to the command");
    finish_simulate_options(app, o);
    const SceneClassifierPtr classifier = simulate_classifier(o);
    std::vector<Json> rows;
    VirtualCamera(o.camera, false).run(*classifier, o.loop, [&](const CameraFrame& f) { rows.push_back(camera_frame_to_json(f)); });
    return rows;
}

}  // namespace kevra_tool
