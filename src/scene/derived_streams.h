// Statistics made from the frames rather than measured: the detector fits
// whatever levels its streams carry, so a signal derived from consecutive
// frames is handed to it as the sums and counts that give those levels.
#ifndef KEVRA_SCENE_DERIVED_STREAMS_H
#define KEVRA_SCENE_DERIVED_STREAMS_H

#include <cstdint>

namespace kevra_scene {

// Level every encoded signal is raised by: the detector treats a negative row
// level as missing, and log differences are signed.
constexpr double kDerivedLevelBase = 8.0;

// Writes channel `channel` of rows 0..row_num-1 in the hardware's zone-major
// order so that every zone of a row has the level kDerivedLevelBase + value[r]
// (at a resolution of 2^-20); a NaN value becomes a row without data.
void encode_channel(uint32_t* sum_stream, uint32_t* count_stream, int row_num, int channel, const double* value);

// Channel `channel` at the constant level kDerivedLevelBase.
void encode_flat_channel(uint32_t* sum_stream, uint32_t* count_stream, int row_num, int channel);

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_DERIVED_STREAMS_H
