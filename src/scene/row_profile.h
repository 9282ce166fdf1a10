// A frame's brightness profiles down the rows: the log of each statistic row's
// mean pixel value over all six zones and four channels, and per zone.
#ifndef KEVRA_SCENE_ROW_PROFILE_H
#define KEVRA_SCENE_ROW_PROFILE_H

#include <cstdint>

#include "kevra.h"

namespace kevra_scene {

// Logs, not levels: a lamp's ripple multiplies the picture, so in logs the two
// add, and the change between frames no longer depends on the picture at all.
// A row without data (no count or no light) is NaN. Returns the rows with data
// over the whole frame.
int row_log_levels(const uint32_t* sum_stream, const uint32_t* count_stream, int row_num, double* log_level);

// The same for each of the six zones (column bands) alone, four channels each.
void zone_log_levels(const uint32_t* sum_stream, const uint32_t* count_stream, int row_num,
                     double (*log_level)[KEVRA_MAX_ROWS]);

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_ROW_PROFILE_H
