// A capture: everything one detection run needs, as a camera stack hands it to
// the detector, and its file form (docs/capture-format.md).
#ifndef KEVRA_TOOLS_CAPTURE_H
#define KEVRA_TOOLS_CAPTURE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kevra.h"

namespace kevra_tool {

struct Capture {
    // parameter.start_time stays null here, so a Capture copies safely; a run
    // points it at start_time.
    kevra_parameter parameter{};
    float start_time = 0.0f;
    kevra_config config{};
    kevra_confidence_idx_input confidence_input{};
    std::vector<uint32_t> sum_stream;    // row_num x 24 raw words
    std::vector<uint32_t> count_stream;  // row_num x 24 raw words
    // Start of exposure of sensor line 0 on a monotonic clock, ns, as camera
    // stacks stamp frames; what orders and spaces the frames of a sequence.
    std::optional<int64_t> timestamp_ns;
};

// The frame's time in ns: timestamp_ns, or else start_time (us) read as one.
int64_t frame_time_ns(const Capture& capture);

enum class StreamStorage {
    Inline,  // arrays of numbers inside the JSON
    Binary,  // little-endian uint32 dumps beside the JSON file
};

// Reads and checks a capture file; throws InputError naming the file and field.
Capture read_capture(const std::string& path);

// Parses capture JSON text; base_dir resolves stream paths, name appears in errors.
Capture parse_capture(const std::string& text, const std::string& name, const std::string& base_dir);

// Writes the capture; fields equal to their defaults are left out. Every file
// appears complete or not at all. Binary streams go to <stem>.sum.bin and
// <stem>.count.bin beside path.
void write_capture(const std::string& path, const Capture& capture, StreamStorage storage);

// The capture's JSON text with inline streams (no files touched).
std::string capture_to_json_text(const Capture& capture);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_CAPTURE_H
