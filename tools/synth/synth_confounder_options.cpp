#include "synth_confounder_options.h"

#include <CLI/CLI.hpp>

#include "input_error.h"

namespace kevra_tool {
namespace {

[[noreturn]] void bad(const std::string& option, const std::string& problem) {
    throw InputError("synth", option, problem);
}

// FRAME:VALUE, as --exposure-change and --brightness-step take it.
std::pair<int, double> frame_and_value(const std::string& text, const std::string& option, const std::string& example) {
    const size_t colon = text.find(':');
    try {
        size_t used = 0;
        if (colon == std::string::npos) throw std::invalid_argument("no colon");
        const int frame = std::stoi(text.substr(0, colon), &used);
        if (used != colon) throw std::invalid_argument("frame");
        const std::string value = text.substr(colon + 1);
        const double v = std::stod(value, &used);
        if (used != value.size()) throw std::invalid_argument("value");
        return {frame, v};
    } catch (const std::logic_error&) {
        bad(option, "expected FRAME:" + example);
    }
}

ObjectLook object_look(const std::string& look) {
    if (look == "bright") return ObjectLook::Bright;
    if (look == "dark") return ObjectLook::Dark;
    return ObjectLook::Picture;
}

}  // namespace

void add_confounder_options(CLI::App& synth, ConfounderOptions& o, SequenceOptions& q) {
    synth.add_option("--lamp-columns", o.lamp_columns,
                     "LEFT,RIGHT[,EDGE[,OUTSIDE]]: the lamp lights only these columns (fractions of the width), "
                     "fading over EDGE, with OUTSIDE of its light elsewhere; steady light of the same mean fills the rest")
        ->delimiter(',');
    synth.add_option("--object", o.object, "X,Y,WIDTH,HEIGHT: a rectangle in front of the scene at frame 0 (fractions of the frame)")
        ->delimiter(',');
    synth.add_option("--object-motion", o.object_motion, "LINES[,COLUMNS]: the object moves down and right this much per frame")
        ->delimiter(',');
    synth.add_option("--object-look", o.object_look,
                     "bright, dark, or a picture file spread over the frame, of which the object shows its piece")
        ->capture_default_str();
    synth.add_option("--jitter", o.jitter,
                     "LINES[,COLUMNS]: handheld shake, each frame displaced from frame 0 by up to this much either way (seeded)")
        ->delimiter(',');
    synth.add_option("--exposure-ramp", q.exposure_ramp,
                     "Frame n's exposure is FACTOR^n times frame 0's (auto-exposure creeping; level kept by gain)")
        ->capture_default_str();
    synth.add_option("--brightness-step", o.brightness_step, "FRAME:FACTOR: from that frame on all light is FACTOR times brighter");
}

void finish_confounder_options(const CLI::App& app, const ConfounderOptions& o, Scene& s, SequenceOptions& q) {
    if (!o.lamp_columns.empty()) {
        if (o.lamp_columns.size() < 2 || o.lamp_columns.size() > 4) bad("--lamp-columns", "expected LEFT,RIGHT[,EDGE[,OUTSIDE]]");
        LampCoverage c;
        c.left = o.lamp_columns[0];
        c.right = o.lamp_columns[1];
        if (o.lamp_columns.size() > 2) c.edge = o.lamp_columns[2];
        if (o.lamp_columns.size() > 3) c.outside = o.lamp_columns[3];
        s.lamp_coverage = c;
    }
    if (o.object.empty()) {
        if (app.count("--object-motion") + app.count("--object-look") > 0) bad("--object-motion", "moves an object: give --object");
    } else {
        if (o.object.size() != 4) bad("--object", "expected X,Y,WIDTH,HEIGHT");
        MovingObject m;
        std::copy(o.object.begin(), o.object.end(), m.box.begin());
        if (o.object_motion.size() > 2) bad("--object-motion", "expected LINES[,COLUMNS]");
        if (!o.object_motion.empty()) m.lines_per_frame = o.object_motion[0];
        if (o.object_motion.size() > 1) m.columns_per_frame = o.object_motion[1];
        m.look = object_look(o.object_look);
        if (m.look == ObjectLook::Picture) m.picture = std::make_shared<const Picture>(read_picture(o.object_look));
        s.object = m;
    }
    if (o.jitter.size() > 2) bad("--jitter", "expected LINES[,COLUMNS]");
    if (!o.jitter.empty()) q.jitter_lines = o.jitter[0];
    if (o.jitter.size() > 1) q.jitter_columns = o.jitter[1];
    if (!o.brightness_step.empty())
        std::tie(q.brightness_step_frame, q.brightness_step) = frame_and_value(o.brightness_step, "--brightness-step", "FACTOR, e.g. 3:1.5");
}

}  // namespace kevra_tool
