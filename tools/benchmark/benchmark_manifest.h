// The manifest of a labelled benchmark: one record per frame sequence with its
// label, how it was made and where its captures are.
#ifndef KEVRA_TOOLS_BENCHMARK_MANIFEST_H
#define KEVRA_TOOLS_BENCHMARK_MANIFEST_H

#include <cstdint>
#include <string>
#include <vector>

#include "labelling.h"

namespace kevra_tool {

struct SequenceRecord {
    std::string id;
    Truth label = Truth::None;
    std::string lamp;
    int mains = 50;
    double drift_hz = 0.0;
    std::string picture;
    std::string brightness;
    double level = 0.0;
    double exposure_us = 0.0;       // of the first frame
    double last_exposure_us = 0.0;  // of the last frame, the one the answer follows
    int exposure_change_frame = -1;
    double fps = 0.0;
    double ripple_shift = 0.0;      // between consecutive frames, fraction of a period, 0..0.5
    double motion_lines = 0.0;
    double daylight = 0.0;
    std::string confounder = "none";  // one of confounder_kinds()
    std::string confounder_detail;
    double visible_ripple = 0.0;    // the largest of its frames'
    std::vector<double> frame_ripple;
    std::vector<std::string> frames;  // capture paths, relative to the manifest's directory

    bool moving() const { return motion_lines != 0.0; }
};

struct Manifest {
    uint64_t seed = 0;
    double visibility_limit = kVisibilityLimit;
    double ambiguity_factor = kAmbiguityFactor;
    std::vector<SequenceRecord> sequences;
    std::string directory;  // where it was read from; frames resolve against it
};

std::string manifest_to_json_text(const Manifest& manifest);

// Throws InputError naming the file and the field.
Manifest read_manifest(const std::string& path);

// Whether sequence i belongs to the held-out share (a fixed interleaving, so
// every kind of sequence lands on both sides).
bool is_held_out(size_t index, double share);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_BENCHMARK_MANIFEST_H
