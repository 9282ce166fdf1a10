#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "capture.h"
#include "input_error.h"
#include "tool_targets.h"

namespace kevra_fuzz {
namespace {

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "check failed: %s\n", what);
    std::abort();
}

template <class T>
bool same_bytes(const T& a, const T& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

}  // namespace

void capture_reader_target(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (text.find_first_of("/\\") != std::string::npos) return;
    kevra_tool::Capture capture;
    try {
        capture = kevra_tool::parse_capture(text, "fuzz", KEVRA_FUZZ_STREAMS);
    } catch (const kevra_tool::InputError&) {
        return;
    }
    const kevra_tool::Capture again = kevra_tool::parse_capture(kevra_tool::capture_to_json_text(capture), "again", "");
    if (!same_bytes(capture.parameter, again.parameter) || !same_bytes(capture.config, again.config) ||
        !same_bytes(capture.confidence_input, again.confidence_input) ||
        !same_bytes(capture.start_time, again.start_time) || capture.timestamp_ns != again.timestamp_ns ||
        capture.sum_stream != again.sum_stream || capture.count_stream != again.count_stream)
        fail("a capture read back differs from the one written");
}

}  // namespace kevra_fuzz
