#include "benchmark_recipe.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <map>
#include <memory>

#include "input_error.h"
#include "picture.h"
#include "recipe_draw.h"

namespace kevra_tool {
namespace {

// Whole numbers of ripple periods: no banding under that mains.
double whole_period_exposure(Draw& d, int mains) {
    const double period = 1e6 / (2.0 * mains);
    return period * (d.chance(0.5) ? 1.0 : 2.0);
}

double any_exposure(Draw& d) { return std::exp(d.uniform(std::log(1000.0), std::log(20000.0))); }

// Pictures are decoded once per run however many sequences use them.
std::shared_ptr<const Picture> cached_picture(const std::string& path) {
    static std::map<std::string, std::shared_ptr<const Picture>> cache;
    auto& slot = cache[path];
    if (!slot) slot = std::make_shared<const Picture>(read_picture(path));
    return slot;
}

}  // namespace

std::vector<std::string> benchmark_lamps() {
    std::vector<std::string> lamps;
    for (const Lamp& lamp : lamp_catalogue()) lamps.push_back(lamp.name);
    if (std::find(lamps.begin(), lamps.end(), "steady") == lamps.end()) lamps.insert(lamps.begin(), "steady");
    return lamps;
}

std::vector<std::string> benchmark_pictures(const std::string& picture_dir) {
    namespace fs = std::filesystem;
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(picture_dir, ec)) {
        std::string ext = e.path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return char(std::tolower(c)); });
        for (const char* known : {".png", ".jpg", ".jpeg", ".pgm", ".ppm", ".tif", ".tiff", ".dng"})
            if (e.is_regular_file() && ext == known) names.push_back(e.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    names.insert(names.begin(), "uniform");
    return names;
}

float benchmark_line_time(double fps) {
    return float(std::min(10.0, 0.9e6 / fps / double(kBenchmarkRows * kBenchmarkLinesPerRow)));
}

SequencePlan recipe_sequence(uint64_t seed, int index, const std::vector<std::string>& pictures) {
    Draw d(mix64(seed * 0x100000001b3ull + uint64_t(index)));
    SequencePlan s;
    s.index = index;
    s.seed = mix64(seed ^ (uint64_t(index) << 20));
    s.mains = index % 2 == 0 ? 50 : 60;
    s.drift_hz = d.uniform(-0.1, 0.1);
    s.mains_phase_us = d.uniform(0.0, 1e6 / s.mains);
    s.lamp = d.pick(benchmark_lamps());
    s.picture = d.pick(pictures);
    const double w = d.uniform(0.3, 1.0), h = d.uniform(0.3, 1.0);
    s.window = {d.uniform(0.0, 1.0 - w), d.uniform(0.0, 1.0 - h), w, h};
    static const std::vector<std::string> brightness = {"dim", "medium", "bright"};
    s.brightness = d.pick(brightness);
    const double base = s.brightness == "dim" ? 30.0 : s.brightness == "medium" ? 150.0 : 500.0;
    s.level = base * d.uniform(0.8, 1.25);

    const double kind = d.uniform(0.0, 1.0);
    if (kind < 0.25) s.exposure_us = whole_period_exposure(d, s.mains);
    else if (kind < 0.40) s.exposure_us = whole_period_exposure(d, s.mains == 50 ? 60 : 50);
    else s.exposure_us = any_exposure(d);

    static const std::vector<double> rates = {15.0, 24.0, 25.0, 29.97, 30.0, 60.0};
    std::vector<double> allowed;
    for (double f : rates)
        if (s.exposure_us <= 0.95e6 / f) allowed.push_back(f);
    s.fps = d.pick(allowed);

    if (d.chance(0.2)) {
        s.exposure_change_frame = 2 + int(d.uniform(0.0, 3.0));
        const double after = d.chance(0.5) ? whole_period_exposure(d, s.mains) : any_exposure(d);
        s.exposure_after_us = std::min(after, 0.95e6 / s.fps);
    }
    s.daylight = d.chance(0.4) ? d.uniform(0.3, 0.9) : 0.0;
    s.motion_lines = d.chance(0.3) ? d.uniform(4.0, 48.0) * (d.chance(0.5) ? 1.0 : -1.0) : 0.0;
    if (s.picture == "uniform") s.motion_lines = 0.0;  // nothing to see move
    s.first_timestamp_ns = int64_t(d.uniform(1e8, 1.1e9));

    SequenceBasics basics{s.picture, &pictures, s.exposure_us, s.fps, kBenchmarkFrames, kBenchmarkRows * kBenchmarkLinesPerRow};
    s.confounder = draw_confounder(s.seed, basics);
    s.picture = basics.picture;
    if (s.confounder.kind == "pan") s.motion_lines = s.confounder.pan_lines;
    if (s.confounder.kind == "ae-ramp") s.exposure_change_frame = -1, s.exposure_after_us = 0.0;
    return s;
}

Scene sequence_scene(const SequencePlan& plan, const std::string& picture_dir) {
    Scene scene;
    scene.mains_frequency = plan.mains;
    scene.mains_drift = plan.drift_hz / plan.mains;
    scene.mains_phase = plan.mains_phase_us;
    if (const Lamp* lamp = find_lamp(plan.lamp)) scene.lamp = *lamp;
    else if (plan.lamp == "steady") scene.depth = 0.0;
    else throw InputError("benchmark", "lamp", "no lamp named '" + plan.lamp + "'");
    scene.daylight = plan.daylight;
    scene.exposure_time = float(plan.exposure_us);
    scene.line_time = benchmark_line_time(plan.fps);
    scene.lines_per_row = kBenchmarkLinesPerRow;
    scene.rows = kBenchmarkRows;
    if (plan.picture != "uniform") {
        scene.picture = cached_picture(picture_dir + "/" + plan.picture);
        scene.window = plan.window;
    }
    scene.level = plan.level;
    scene.noise = 2.0;
    scene.full_well = 6000.0;
    scene.seed = plan.seed;
    scene.lamp_coverage = plan.confounder.coverage;
    scene.object = plan.confounder.object;
    if (!plan.confounder.object_picture.empty())
        scene.object->picture = cached_picture(picture_dir + "/" + plan.confounder.object_picture);
    return scene;
}

SequenceOptions sequence_options(const SequencePlan& plan) {
    SequenceOptions o;
    o.frames = kBenchmarkFrames;
    o.fps = plan.fps;
    o.motion_lines = plan.motion_lines;
    o.exposure_change_frame = plan.exposure_change_frame;
    o.exposure_after = float(plan.exposure_after_us);
    o.first_timestamp_ns = plan.first_timestamp_ns;
    o.jitter_lines = plan.confounder.jitter_lines;
    o.jitter_columns = plan.confounder.jitter_columns;
    o.exposure_ramp = plan.confounder.exposure_ramp;
    o.brightness_step_frame = plan.confounder.step_frame;
    o.brightness_step = plan.confounder.step;
    return o;
}

}  // namespace kevra_tool
