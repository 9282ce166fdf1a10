#include "simulate_command.h"

#include <CLI/CLI.hpp>

#include <sstream>

#include "file_io.h"
#include "progress.h"
#include "simulate_options.h"
#include "simulate_plot.h"
#include "simulate_timeline.h"

namespace kevra_tool {

SimulateCommand::SimulateCommand(CLI::App& app) : options_(std::make_unique<SimulateOptions>()) {
    subcommand_ = app.add_subcommand(
        "simulate", "Run a synthetic scene through a virtual camera with the scene answer, auto-exposure and frame "
                    "timing in the loop; print a timeline per frame");
    add_simulate_options(*subcommand_, *options_);
}

SimulateCommand::~SimulateCommand() = default;

int SimulateCommand::run(std::ostream& out, std::ostream& err, bool progress_wanted) const {
    const bool json_to_out = subcommand_->count("--json") > 0 && options_->json.empty();
    Progress progress(err, progress_wanted && options_->synth.sequence.frames > 1);
    try {
        SimulateOptions o = *options_;
        finish_simulate_options(*subcommand_, o);
        const SceneClassifierPtr classifier = simulate_classifier(o);
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
        progress.clear();
        if (!o.json.empty()) write_file_atomically(o.json, json_lines.str());
        if (!o.plot.empty()) write_file_atomically(o.plot, simulate_plot_svg(frames, o.camera.sequence.fps));
    } catch (const std::exception& e) {
        progress.clear();
        err << "kevra: " << e.what() << "\n";
        return 1;
    }
    return 0;
}

}  // namespace kevra_tool
