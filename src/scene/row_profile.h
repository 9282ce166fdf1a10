// A frame's brightness profile down the rows: the log of each statistic row's
// mean pixel value over all six zones and four channels.
#ifndef KEVRA_SCENE_ROW_PROFILE_H
#define KEVRA_SCENE_ROW_PROFILE_H

#include <cstdint>

namespace kevra_scene {

// Logs, not levels: a lamp's ripple multiplies the picture, so in logs the two
// add, and the change between frames no longer depends on the picture at all.
// A row without data (no count or no light) is NaN. Returns the rows with data.
int row_log_levels(const uint32_t* sum_stream, const uint32_t* count_stream, int row_num, double* log_level);

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_ROW_PROFILE_H
