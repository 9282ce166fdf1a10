// Named lamps: the light of common lamp types over one supply cycle, with the
// measurements they were modelled on (docs/lamps.md).
#ifndef KEVRA_TOOLS_LAMP_CATALOGUE_H
#define KEVRA_TOOLS_LAMP_CATALOGUE_H

#include <string>
#include <vector>

namespace kevra_tool {

// Light relative to its long-run mean, as a function of the supply phase x
// (radians, 0 at a zero crossing of the supply voltage):
//   light(x) = 1 - sum_k amplitude[k] cos(2 (k + 1) x - phase[k])
// Only even multiples of the supply occur: the light follows the power, which
// repeats every half cycle.
struct Lamp {
    std::string name;         // what --lamp takes
    std::string description;  // one line for --help and docs
    std::vector<double> amplitude;
    std::vector<double> phase;  // radians
    double percent_flicker = 0.0;  // (max - min) / (max + min) x 100 of the waveform above
    double flicker_index = 0.0;    // area above the mean / total area over a cycle
};

const std::vector<Lamp>& lamp_catalogue();

// nullptr when no lamp has that name.
const Lamp* find_lamp(const std::string& name);

// Mean of light(x) over [x0, x1] (light(x0) when x1 == x0), in closed form.
double lamp_light_mean(const Lamp& lamp, double x0, double x1);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_LAMP_CATALOGUE_H
