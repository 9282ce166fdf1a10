// The confounder of a benchmark sequence: which one it meets (none, a pan,
// shake, an object moving down or across, a lamp over part of the frame, an
// auto-exposure ramp, a brightness step) and how strong, drawn from its own
// stream so that the rest of the sequence is drawn as before.
#ifndef KEVRA_TOOLS_BENCHMARK_CONFOUNDERS_H
#define KEVRA_TOOLS_BENCHMARK_CONFOUNDERS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "scene_confounders.h"

namespace kevra_tool {

struct ConfounderPlan {
    std::string kind = "none";  // one of confounder_kinds()
    double pan_lines = 0.0;     // per frame
    double jitter_lines = 0.0, jitter_columns = 0.0;
    std::optional<MovingObject> object;  // its picture, if any, is object_picture
    std::string object_picture;
    std::optional<LampCoverage> coverage;
    double exposure_ramp = 1.0;
    int step_frame = -1;
    double step = 1.0;
};

// In the order the reports list them.
const std::vector<std::string>& confounder_kinds();

// What the sequence is otherwise made of.
struct SequenceBasics {
    std::string picture;                // "uniform": none
    const std::vector<std::string>* pictures;  // "uniform" first
    double exposure_us, fps;
    int frames, lines;
};

// Sequence stream `seed`'s confounder. Pans and shake need a picture: on a
// uniform scene they bring one (returned through basics.picture).
ConfounderPlan draw_confounder(uint64_t seed, SequenceBasics& basics);

// One line for the manifest, e.g. "dark object 0.17 x 0.31 moving 212 lines a frame".
std::string confounder_detail(const ConfounderPlan& plan, int lines, int columns);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_BENCHMARK_CONFOUNDERS_H
