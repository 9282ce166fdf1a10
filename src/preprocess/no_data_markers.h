// The exact values that stand for "no data" in the preprocessing's outputs.
#ifndef KEVRA_PREPROCESS_NO_DATA_MARKERS_H
#define KEVRA_PREPROCESS_NO_DATA_MARKERS_H

namespace kevra {

// A sample or zone level inside the preprocessing; a sample is valid strictly above it.
constexpr float kNoSampleLevel = -32767.0f;
// A sample level in the caller's stat_level buffer.
constexpr float kNoStatLevel = -32768.0f;
// A row level.
constexpr float kNoRowLevel = -1.0f;

}  // namespace kevra

#endif  // KEVRA_PREPROCESS_NO_DATA_MARKERS_H
