#include "benchmark_command.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "file_io.h"
#include "input_error.h"
#include "progress.h"

namespace kevra_tool {
namespace {

std::string sequence_id(int index) {
    char id[16];
    std::snprintf(id, sizeof id, "s%04d", index + 1);
    return id;
}

}  // namespace

SequenceRecord sequence_record(const SequencePlan& plan, const std::vector<SynthFrame>& frames) {
    SequenceRecord r;
    r.id = sequence_id(plan.index);
    // Any frame that shows the ripple makes the sequence a flickering one: once
    // auto-exposure has moved to whole ripple periods the lamp is still there,
    // and the answer must keep naming it for the exposure to stay there.
    double visible = 0.0;
    for (const SynthFrame& f : frames) visible = std::max(visible, f.visible_ripple);
    r.label = label_for(visible, plan.mains);
    r.lamp = plan.lamp;
    r.mains = plan.mains;
    r.drift_hz = plan.drift_hz;
    r.picture = plan.picture;
    r.brightness = plan.brightness;
    r.level = plan.level;
    r.exposure_us = plan.exposure_us;
    r.last_exposure_us = frames.back().capture.parameter.exposure_time;
    r.exposure_change_frame = plan.exposure_change_frame;
    r.fps = plan.fps;
    r.ripple_shift = ripple_shift(1.0 / plan.fps, plan.mains + plan.drift_hz);
    r.motion_lines = plan.motion_lines;
    r.daylight = plan.daylight;
    r.confounder = plan.confounder.kind;
    r.confounder_detail = confounder_detail(plan.confounder, kBenchmarkRows * kBenchmarkLinesPerRow, 6 * Scene{}.zone_width);
    r.visible_ripple = visible;
    for (size_t k = 0; k < frames.size(); ++k) {
        r.frame_ripple.push_back(frames[k].visible_ripple);
        r.frames.push_back(r.id + "/f" + std::to_string(k + 1) + ".json");
    }
    return r;
}

int run_benchmark(const BenchmarkOptions& o, std::ostream& err, bool progress_wanted) {
    Progress progress(err, progress_wanted);
    try {
        if (o.sequences < 1) throw InputError("benchmark", "--sequences", "expected at least 1");
        const std::vector<std::string> pictures = benchmark_pictures(o.pictures);
        Manifest manifest;
        manifest.seed = o.seed;
        for (int i = 0; i < o.sequences; ++i) {
            const SequencePlan plan = recipe_sequence(o.seed, i, pictures);
            progress.show(size_t(i), size_t(o.sequences), sequence_id(i));
            const std::vector<SynthFrame> frames = synthesize_sequence(sequence_scene(plan, o.pictures), sequence_options(plan));
            SequenceRecord record = sequence_record(plan, frames);
            const std::filesystem::path dir = std::filesystem::path(o.output) / record.id;
            std::error_code ec;
            std::filesystem::create_directories(dir, ec);
            if (ec) throw InputError(dir.string(), "", "cannot create: " + ec.message());
            for (size_t k = 0; k < frames.size(); ++k)
                write_capture((std::filesystem::path(o.output) / record.frames[k]).string(), frames[k].capture,
                              StreamStorage::Binary);
            manifest.sequences.push_back(std::move(record));
        }
        progress.clear();
        write_file_atomically((std::filesystem::path(o.output) / "manifest.json").string(), manifest_to_json_text(manifest));
    } catch (const std::exception& e) {
        progress.clear();
        err << "kevra: " << e.what() << "\n";
        return 1;
    }
    return 0;
}

}  // namespace kevra_tool
