// The row statistics an image-signal processor forms from one camera frame:
// six equal zones across the width, four Bayer channels, statistic rows of
// lines_per_row sensor lines, 24-bit sums and counts.
#ifndef KEVRA_TOOLS_FRAME_STATISTICS_H
#define KEVRA_TOOLS_FRAME_STATISTICS_H

#include <cstdint>
#include <optional>
#include <string>

#include "capture.h"
#include "picture.h"

namespace kevra_tool {

struct StatisticsSettings {
    // 0: derived from the picture's height (rows = min(256, height /
    // lines_per_row); lines_per_row = height / rows when only rows is given).
    int lines_per_row = 0;
    int rows = 0;
    // Where a raw mosaic's red photosite sits: "RGGB", "BGGR", "GRBG" or
    // "GBRG"; empty: the file's own pattern, else RGGB.
    std::string bayer;
    int bit_depth = 0;  // processed pictures' integer depth; 0: 10 bits
    // A raw picture's levels, in place of the file's (a PGM or TIFF has none:
    // black 0, white its largest code).
    std::optional<double> black_level, white_level;
    int mains_frequency = 50;
};

struct FrameTiming {
    double line_time_us = 0.0;
    double exposure_us = 0.0;
    int64_t timestamp_ns = 0;  // start of line 0's exposure
};

struct FrameStatistics {
    Capture capture;
    int shift = 0;  // bits the pixel values were shifted down to keep sums in 24 bits
    uint32_t full_scale = 0;
};

// Throws InputError(picture.path, field, problem) when the picture cannot hold
// the geometry or a statistic count would pass 24 bits, and
// InputError("stats", option, problem) for a bad setting.
FrameStatistics frame_statistics(const Picture& picture, const StatisticsSettings& settings,
                                 const FrameTiming& timing);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_FRAME_STATISTICS_H
