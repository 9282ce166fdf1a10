#include "benchmark_confounders.h"

#include <cmath>
#include <cstdio>

#include "recipe_draw.h"

namespace kevra_tool {
namespace {

// Shares of the mix, in the order of confounder_kinds(): today's sequences
// keep the largest.
constexpr double kShares[] = {0.30, 0.10, 0.10, 0.10, 0.10, 0.10, 0.10, 0.10};

void draw_object(Draw& d, bool vertical, const SequenceBasics& b, ConfounderPlan& c) {
    MovingObject m;
    const double width = (d.chance(0.5) ? 1.0 : 2.0) / 6.0;  // one or two zones' worth
    const double height = vertical ? d.uniform(0.15, 0.5) : d.uniform(0.2, 0.8);
    m.box = {d.uniform(0.0, 1.0 - width), d.uniform(0.0, 1.0 - height), width, height};
    // Towards the larger room, so that it stays in view a few frames.
    const bool toward_end = vertical ? m.box[1] < 0.5 - height / 2 : m.box[0] < 0.5 - width / 2;
    const double speed = vertical ? d.uniform(30.0, 400.0) : d.uniform(20.0, 200.0);
    (vertical ? m.lines_per_frame : m.columns_per_frame) = toward_end ? speed : -speed;
    const double look = d.uniform(0.0, 3.0);
    m.look = look < 1.0 ? ObjectLook::Bright : look < 2.0 ? ObjectLook::Dark : ObjectLook::Picture;
    if (m.look == ObjectLook::Picture) {
        if (b.pictures->size() > 1) c.object_picture = (*b.pictures)[1 + size_t(d.uniform(0.0, double(b.pictures->size() - 1)))];
        else m.look = ObjectLook::Bright;
    }
    c.object = m;
}

void draw_coverage(Draw& d, ConfounderPlan& c) {
    LampCoverage l;
    const double lit = d.uniform(1.0 / 6.0, 0.5);  // one to three zones
    if (d.chance(0.5)) l.right = lit;
    else l.left = 1.0 - lit;
    l.edge = d.uniform(0.0, 0.1);
    l.outside = d.chance(0.5) ? d.uniform(0.0, 0.1) : 0.0;
    c.coverage = l;
}

void draw_ramp(Draw& d, const SequenceBasics& b, ConfounderPlan& c) {
    double r = d.uniform(1.02, 1.08);
    if (d.chance(0.5) || b.exposure_us * std::pow(r, b.frames - 1) > 0.95e6 / b.fps) r = 1.0 / r;
    c.exposure_ramp = r;
}

}  // namespace

const std::vector<std::string>& confounder_kinds() {
    static const std::vector<std::string> kinds = {"none", "pan", "jitter", "object-vertical", "object-horizontal",
                                                   "partial-lamp", "ae-ramp", "brightness-step"};
    return kinds;
}

ConfounderPlan draw_confounder(uint64_t seed, SequenceBasics& b) {
    Draw d(mix64(seed ^ 0xC0F0C0F0C0F0C0F0ull));
    ConfounderPlan c;
    double x = d.uniform(0.0, 1.0);
    size_t k = 0;
    while (k + 1 < confounder_kinds().size() && x >= kShares[k]) x -= kShares[k++];
    c.kind = confounder_kinds()[k];
    const bool needs_picture = c.kind == "pan" || c.kind == "jitter";
    if (needs_picture && b.picture == "uniform") {
        if (b.pictures->size() < 2) return ConfounderPlan{};
        b.picture = (*b.pictures)[1 + size_t(d.uniform(0.0, double(b.pictures->size() - 1)))];
    }
    if (c.kind == "pan") c.pan_lines = d.sign() * d.uniform(0.01, 0.1) * b.lines;
    if (c.kind == "jitter") c.jitter_lines = d.uniform(3.0, 40.0), c.jitter_columns = d.uniform(2.0, 40.0);
    if (c.kind == "object-vertical" || c.kind == "object-horizontal") draw_object(d, c.kind == "object-vertical", b, c);
    if (c.kind == "partial-lamp") draw_coverage(d, c);
    if (c.kind == "ae-ramp") draw_ramp(d, b, c);
    if (c.kind == "brightness-step") {
        c.step_frame = 1 + int(d.uniform(0.0, double(b.frames - 1)));
        c.step = d.chance(0.5) ? d.uniform(1.25, 2.0) : d.uniform(0.5, 0.8);
    }
    return c;
}

std::string confounder_detail(const ConfounderPlan& c, int lines, int columns) {
    char t[160] = "";
    if (c.kind == "pan") std::snprintf(t, sizeof t, "pan of %.0f lines a frame", c.pan_lines);
    if (c.kind == "jitter") std::snprintf(t, sizeof t, "shake of up to %.0f lines and %.0f columns", c.jitter_lines, c.jitter_columns);
    if (c.object) {
        static const char* looks[] = {"bright", "dark", "picture"};
        const bool vertical = c.object->lines_per_frame != 0.0;
        std::snprintf(t, sizeof t, "%s object of %.0f x %.0f columns x lines moving %.0f %s a frame%s%s",
                      looks[int(c.object->look)], c.object->box[2] * columns, c.object->box[3] * lines,
                      vertical ? c.object->lines_per_frame : c.object->columns_per_frame, vertical ? "lines" : "columns",
                      c.object_picture.empty() ? "" : ": ", c.object_picture.c_str());
    }
    if (c.coverage)
        std::snprintf(t, sizeof t, "lamp over columns %.2f..%.2f of the width, edge %.2f, %.2f of it outside",
                      c.coverage->left, c.coverage->right, c.coverage->edge, c.coverage->outside);
    if (c.kind == "ae-ramp") std::snprintf(t, sizeof t, "exposure x %.4f a frame", c.exposure_ramp);
    if (c.kind == "brightness-step") std::snprintf(t, sizeof t, "light x %.2f from frame %d", c.step, c.step_frame);
    return t;
}

}  // namespace kevra_tool
