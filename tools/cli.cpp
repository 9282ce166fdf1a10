#include "cli.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "capture.h"
#include "detection.h"
#include "file_io.h"
#include "input_error.h"
#include "report.h"
#include "synth_command.h"

namespace kevra_tool {
namespace {

constexpr const char* kSampleName = "built-in sample: synthetic 50 Hz indoor scene";

struct DetectOptions {
    std::vector<std::string> captures;
    bool json = false;
    std::string plot;
};

// With several captures the pictures are numbered: plot.svg -> plot-0001.svg.
std::string plot_path(const std::string& plot, size_t index, size_t count) {
    if (count == 1) return plot;
    namespace fs = std::filesystem;
    const fs::path p(plot);
    char number[16];
    std::snprintf(number, sizeof number, "-%04zu", index + 1);
    return (p.parent_path() / (p.stem().string() + number + p.extension().string())).string();
}

class Progress {
public:
    Progress(std::ostream& err, bool enabled) : err_(err), enabled_(enabled) {}
    void show(size_t done, size_t total, const std::string& name) {
        if (!enabled_) return;
        err_ << "\r\033[K[" << done + 1 << "/" << total << "] " << name << std::flush;
        shown_ = true;
    }
    void clear() {
        if (shown_) err_ << "\r\033[K" << std::flush;
        shown_ = false;
    }

private:
    std::ostream& err_;
    bool enabled_;
    bool shown_ = false;
};

int run_detect(const DetectOptions& o, std::ostream& out, std::ostream& err, bool progress_wanted) {
    const bool builtin = o.captures.empty();
    const size_t total = builtin ? 1 : o.captures.size();
    Progress progress(err, progress_wanted && total > 1);
    std::unique_ptr<QORKEVRA, void (*)(QORKEVRA*)> detector(QORKEVRA::createInstance(),
                                                            [](QORKEVRA* d) { d->destroyInstance(d); });
    size_t failed = 0;
    for (size_t i = 0; i < total; ++i) {
        const std::string name = builtin ? kSampleName : o.captures[i];
        progress.show(i, total, name);
        try {
            const Capture capture = builtin ? synthesize(builtin_sample_scene()) : read_capture(name);
            const DetectionReport report = detect(*detector, capture, name);
            progress.clear();
            if (o.json) {
                out << report_to_json(report).dump() << "\n";
            } else {
                if (i > 0) out << "\n";
                write_text_report(out, report);
            }
            if (!o.plot.empty()) write_file_atomically(plot_path(o.plot, i, total), plot_svg(report));
        } catch (const std::exception& e) {
            progress.clear();
            err << "kevra: " << e.what() << "\n";
            ++failed;
        }
    }
    progress.clear();
    if (failed == 0) return 0;
    if (total > 1) err << "kevra: " << failed << " of " << total << " captures failed\n";
    return 1;
}

}  // namespace

Scene builtin_sample_scene() {
    Scene s;
    s.seed = 50;
    return s;
}

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

    const SynthCommand synth(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e, out, err);
    }
    if (detect->parsed()) return run_detect(detect_options, out, err, progress);
    return synth.run(err, progress);
}

}  // namespace kevra_tool
