// The labelled benchmark: a fixed recipe of frame sequences, each drawn from
// its own seed so that any sequence regenerates alone and bit for bit.
#ifndef KEVRA_TOOLS_BENCHMARK_RECIPE_H
#define KEVRA_TOOLS_BENCHMARK_RECIPE_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "benchmark_confounders.h"
#include "scene_synthesis.h"

namespace kevra_tool {

constexpr int kBenchmarkFrames = 6;
constexpr int kBenchmarkRows = 256;
constexpr int kBenchmarkLinesPerRow = 12;

struct SequencePlan {
    int index = 0;
    uint64_t seed = 0;               // noise and content of this sequence
    std::string lamp;                // "steady" or a name from lamp_catalogue()
    int mains = 50;                  // nominal mains frequency, Hz
    double drift_hz = 0.0;           // actual mains = mains + drift
    double mains_phase_us = 0.0;
    std::string picture;             // file name in the picture directory; "uniform": none
    std::array<double, 4> window{0.0, 0.0, 1.0, 1.0};  // part of the picture seen (Scene::window)
    std::string brightness;          // dim, medium, bright
    double level = 0.0;              // mean pixel value (10-bit); an exposure change keeps it (gain)
    double exposure_us = 0.0;
    int exposure_change_frame = -1;  // first frame with exposure_after_us; -1: none
    double exposure_after_us = 0.0;
    double fps = 30.0;
    double daylight = 0.0;           // share of steady light in the mean
    double motion_lines = 0.0;       // picture shift per frame, sensor lines
    int64_t first_timestamp_ns = 0;
    ConfounderPlan confounder;
};

// Every lamp of the catalogue, once each, and "steady" if it has none by that name.
std::vector<std::string> benchmark_lamps();

// "uniform" and the picture files (by extension) of the directory, sorted by name.
std::vector<std::string> benchmark_pictures(const std::string& picture_dir);

// Sequence i of the benchmark with this seed over these pictures; independent
// of how many sequences are drawn.
SequencePlan recipe_sequence(uint64_t seed, int index, const std::vector<std::string>& pictures);

// The scene and frame timing of a sequence; picture_dir holds its picture.
Scene sequence_scene(const SequencePlan& plan, const std::string& picture_dir);
SequenceOptions sequence_options(const SequencePlan& plan);

// Sensor timing of the benchmark: 256 statistic rows of 12 lines, read out in
// at most 90 % of the frame interval and at most 10 us a line.
float benchmark_line_time(double fps);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_BENCHMARK_RECIPE_H
