#include "synth_options.h"

#include <CLI/CLI.hpp>

#include <optional>

#include "input_error.h"

namespace kevra_tool {
namespace {

[[noreturn]] void bad(const std::string& option, const std::string& problem) {
    throw InputError("synth", option, problem);
}

std::string names_of_lamps() {
    std::string names;
    for (const Lamp& lamp : lamp_catalogue()) names += (names.empty() ? "" : ", ") + lamp.name;
    return names;
}

std::string names_of_modes() {
    std::string names;
    for (const SensorMode& mode : sensor_modes()) names += (names.empty() ? "" : ", ") + std::string(mode.name);
    return names;
}

std::string lamp_help() {
    std::string help = "Lamp from the catalogue (docs/lamps.md) instead of --depth/--harmonics:";
    for (const Lamp& lamp : lamp_catalogue()) help += "\n  " + lamp.name + ": " + lamp.description;
    return help;
}

std::string mode_help() {
    std::string help = "Sensor readout preset (sets --line-time, --lines-per-row and --rows unless given):";
    for (const SensorMode& mode : sensor_modes()) help += "\n  " + std::string(mode.name) + ": " + mode.description;
    return help;
}

}  // namespace

void add_synth_options(CLI::App& synth, SynthOptions& o, bool output_required) {
    Scene& s = o.scene;
    SequenceOptions& q = o.sequence;
    CLI::Option* output = synth.add_option(
        "-o,--output", o.output, "Capture file to write; with --frames N > 1, FILE-0001.json ... FILE-000N.json");
    if (output_required) output->required();
    synth.add_flag("--binary", o.binary, "Write the streams as little-endian uint32 dumps beside the capture");
    synth.add_option("--mains", s.mains_frequency, "Mains frequency, Hz (the light ripples at twice this)")
        ->capture_default_str();
    synth.add_option("--mains-drift", s.mains_drift,
                     "The supply runs at mains x (1 + FRACTION); grids wander by a few 0.001")
        ->capture_default_str();
    synth.add_option("--mains-phase", s.mains_phase, "Time of a zero crossing of the supply, us")->capture_default_str();
    synth.add_option("--depth", s.depth, "Share of the light that follows the rectified supply, 0..1")
        ->capture_default_str();
    synth.add_flag("--steady", o.steady, "Steady light (same as --depth 0)");
    synth.add_option("--harmonics", s.harmonics,
                     "Lamp ripple as amplitudes at 2, 4 and 6 x mains (default: rectified sine)")
        ->delimiter(',');
    synth.add_option("--lamp", o.lamp, lamp_help());
    synth.add_option("--daylight", s.daylight, "Share of steady light mixed into the lamp's, 0..1")
        ->capture_default_str();
    synth.add_option("--exposure", s.exposure_time, "Exposure time, us")->capture_default_str();
    synth.add_option("--sensor-mode", o.sensor_mode, mode_help());
    synth.add_option("--line-time", s.line_time, "Time per sensor line, us")->capture_default_str();
    synth.add_option("--start-time", s.start_time, "Start of line 0's exposure, us")->capture_default_str();
    synth.add_option("--lines-per-row", s.lines_per_row, "Sensor lines per statistic row")->capture_default_str();
    synth.add_option("--rows", s.rows, "Statistic rows, 0..256")->capture_default_str();
    synth.add_option("--zone-width", s.zone_width, "Pixel columns of a zone that the statistics sample")
        ->capture_default_str();
    synth.add_option("--scene", o.picture,
                     "Picture file as the scene (PNG, JPEG, PGM/PPM, TIFF), resampled onto the sensor");
    synth.add_option("--window", o.window,
                     "Part of the picture used: x,y,width,height as fractions of it (default 0,0,1,1)")
        ->delimiter(',');
    synth.add_option("--level", s.level, "Mean pixel value under the lamp's mean light (brightness)")
        ->capture_default_str();
    synth.add_option("--zone-gain", o.zone_gain, "Scene brightness of zones 0..5 (six factors; without --scene)")
        ->delimiter(',');
    synth.add_option("--channel-gain", o.channel_gain, "Brightness of channels 0..3 (four factors)")->delimiter(',');
    synth.add_option("--bit-depth", s.bit_depth, "Bits per pixel value")->capture_default_str();
    synth.add_option("--noise", s.noise, "Read noise: standard deviation of each pixel value")->capture_default_str();
    synth.add_option("--full-well", s.full_well,
                     "Electrons at full scale, for shot noise (Poisson in electrons); 0: none")
        ->capture_default_str();
    synth.add_option("--empty-zones", s.empty_zones, "Zones without data (count and sum 0)")->delimiter(',');
    synth.add_option("--seed", s.seed, "Seed of the pixel noise (frame n: seed + n x 0x9E3779B97F4A7C15)")
        ->capture_default_str();
    synth.add_option("--frames", q.frames,
                     "Frames of a sequence (30 fps under 60 Hz, 25 fps under 50 Hz: the ripple stands still)")
        ->capture_default_str();
    synth.add_option("--fps", q.fps, "Frame rate of a sequence")->capture_default_str();
    synth.add_option("--motion", q.motion_lines, "The picture moves down this many sensor lines per frame")
        ->capture_default_str();
    synth.add_option("--exposure-change", o.exposure_change,
                     "FRAME:US: from that frame on the exposure is US (auto-exposure; level kept by gain)");
    add_confounder_options(synth, o.confounders, q);
    synth.add_option("--timestamp", q.first_timestamp_ns,
                     "Timestamp of frame 0, ns on a monotonic clock (default: a large value from the seed)");
}

void finish_synth_options(const CLI::App& app, SynthOptions& o) {
    Scene& s = o.scene;
    if (!o.zone_gain.empty()) {
        if (o.zone_gain.size() != 6) bad("--zone-gain", "expected six values");
        std::copy(o.zone_gain.begin(), o.zone_gain.end(), s.zone_gain.begin());
    }
    if (!o.channel_gain.empty()) {
        if (o.channel_gain.size() != 4) bad("--channel-gain", "expected four values");
        std::copy(o.channel_gain.begin(), o.channel_gain.end(), s.channel_gain.begin());
    }
    if (!o.zone_gain.empty() && !o.picture.empty())
        bad("--zone-gain", "is the scene without a picture; with --scene the picture gives each zone's content");
    if (!o.window.empty()) {
        if (o.window.size() != 4) bad("--window", "expected x,y,width,height");
        std::copy(o.window.begin(), o.window.end(), s.window.begin());
        if (o.picture.empty()) bad("--window", "chooses part of a picture: give one with --scene");
    }
    if (o.steady) s.depth = 0.0;
    if (app.count("--lamp") > 0) {
        if (app.count("--depth") + app.count("--steady") + app.count("--harmonics") > 0)
            bad("--lamp", "replaces --depth, --steady and --harmonics; give one or the other");
        const Lamp* lamp = find_lamp(o.lamp);
        if (!lamp) bad("--lamp", "unknown lamp '" + o.lamp + "'; expected one of " + names_of_lamps());
        s.lamp = *lamp;
    }
    if (app.count("--sensor-mode") > 0) {
        const SensorMode* mode = find_sensor_mode(o.sensor_mode);
        if (!mode) bad("--sensor-mode", "unknown mode '" + o.sensor_mode + "'; expected one of " + names_of_modes());
        if (app.count("--line-time") == 0) s.line_time = mode->line_time;
        if (app.count("--lines-per-row") == 0) s.lines_per_row = mode->lines_per_row;
        if (app.count("--rows") == 0) {
            s.rows = mode->lines / s.lines_per_row;
            if (s.rows > KEVRA_MAX_ROWS)
                bad("--lines-per-row", "the " + std::string(mode->name) + " mode needs " +
                                           std::to_string((mode->lines + KEVRA_MAX_ROWS - 1) / KEVRA_MAX_ROWS) +
                                           " or more lines per row (at most 256 rows)");
        }
    }
    if (app.count("--exposure-change") > 0) {
        const size_t colon = o.exposure_change.find(':');
        try {
            size_t used = 0;
            if (colon == std::string::npos) throw std::invalid_argument("no colon");
            o.sequence.exposure_change_frame = std::stoi(o.exposure_change.substr(0, colon), &used);
            if (used != colon) throw std::invalid_argument("frame");
            const std::string us = o.exposure_change.substr(colon + 1);
            o.sequence.exposure_after = std::stof(us, &used);
            if (used != us.size()) throw std::invalid_argument("time");
        } catch (const std::logic_error&) {
            bad("--exposure-change", "expected FRAME:US, e.g. 10:8000");
        }
    }
    if (app.count("--timestamp") > 0 && o.sequence.first_timestamp_ns < 0)
        bad("--timestamp", "expected a time >= 0 ns");
    finish_confounder_options(app, o.confounders, s, o.sequence);
    check_scene(s);
    if (o.picture.empty()) {
        check_sequence(s, o.sequence);
        return;
    }
    s.picture = std::make_shared<const Picture>(read_picture(o.picture));
    check_sequence(s, o.sequence);
}

std::vector<SynthFrame> synth_from_arguments(const std::vector<std::string>& args) {
    CLI::App app{"kevra synth"};
    app.name("synth");
    SynthOptions o;
    add_synth_options(app, o, false);
    std::vector<std::string> reversed(args.rbegin(), args.rend());  // CLI11 takes them last first
    try {
        app.parse(reversed);
    } catch (const CLI::ParseError& e) {
        throw InputError("synth", "", e.what());
    }
    finish_synth_options(app, o);
    return synthesize_sequence(o.scene, o.sequence);
}

}  // namespace kevra_tool
