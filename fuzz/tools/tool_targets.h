// Fuzz targets of the kevra tool's input paths. Each takes arbitrary bytes and
// stops the process (abort) when the tool misbehaves in a way a sanitizer
// cannot see; a refusal must be an InputError, anything else escaping is a
// crash to libFuzzer.
//
// capture_reader_target: the bytes are a capture file's text, read by
//   parse_capture with stream files resolved in fuzz/tools/streams (inputs
//   that hold '/' or '\' are skipped, so no path leaves that folder). An
//   accepted capture must write out and read back to the same bytes.
//
// picture_stats_target: the bytes are a picture file, decoded by
//   decode_picture (at most 2^20 pixels) and, when accepted, formed into
//   statistics with the default geometry and with rows of 2 lines. Decoded
//   values must be in range; a zone's four counts must add up to its pixels,
//   and every statistic word hold a clipped count no larger than its count
//   and a sum within 24 bits and within count x full scale.
#ifndef KEVRA_FUZZ_TOOLS_TOOL_TARGETS_H
#define KEVRA_FUZZ_TOOLS_TOOL_TARGETS_H

#include <cstddef>
#include <cstdint>

namespace kevra_fuzz {

void capture_reader_target(const uint8_t* data, size_t size);
void picture_stats_target(const uint8_t* data, size_t size);

}  // namespace kevra_fuzz

#endif  // KEVRA_FUZZ_TOOLS_TOOL_TARGETS_H
