// Synthetic rolling-shutter scenes under a mains-powered lamp, turned into the
// raw statistics streams the image-signal hardware would produce.
#ifndef KEVRA_TOOLS_SCENE_SYNTHESIS_H
#define KEVRA_TOOLS_SCENE_SYNTHESIS_H

#include <array>
#include <cstdint>
#include <vector>

#include "capture.h"

namespace kevra_tool {

struct Scene {
    // Lamp.
    double mains_frequency = 50.0;  // Hz; the light ripples at twice this
    double mains_phase = 0.0;       // us: a zero crossing of the supply voltage
    double depth = 0.25;            // share of the light that follows the supply; 0 = steady light
    std::vector<double> harmonics;  // empty: rectified sine; else amplitudes at 2, 4 and 6 x mains

    // Sensor timing and statistics geometry.
    float exposure_time = 4000.0f;  // us
    float line_time = 10.0f;        // us per sensor line
    float start_time = 0.0f;        // us: start of line 0's exposure
    int lines_per_row = 12;
    int rows = 256;
    int zone_width = 128;  // pixel columns of one zone that the statistics sample

    // Scene and sensor.
    double level = 400.0;  // mean pixel value under the lamp's mean light
    std::array<double, 6> zone_gain{0.85, 1.0, 1.15, 1.1, 0.95, 0.8};
    std::array<double, 4> channel_gain{0.55, 1.0, 1.0, 0.7};
    int bit_depth = 10;
    double noise = 3.0;  // standard deviation of each pixel, in pixel values
    std::vector<int> empty_zones;
    uint64_t seed = 1;
};

// Throws InputError naming the offending option.
void check_scene(const Scene& scene);

// Mean lamp brightness over [start, start + duration] us, relative to the
// lamp's long-run mean (which is 1).
double lamp_mean(const Scene& scene, double start, double duration);

// The capture a camera would hand the detector for this scene: default tuning
// with the scene's mains frequency and lines per row.
Capture synthesize(const Scene& scene);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_SCENE_SYNTHESIS_H
