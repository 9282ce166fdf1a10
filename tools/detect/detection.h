// One detection run on a capture and what the tool shows of it.
#ifndef KEVRA_TOOLS_DETECTION_H
#define KEVRA_TOOLS_DETECTION_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "capture.h"
#include "kevra.h"

namespace kevra_tool {

struct ChannelReport {
    float offset = 0.0f;
    std::array<float, 3> amplitude{};  // harmonics at 2, 4 and 6 x mains
    std::array<float, 3> phase{};      // us
    int32_t iterations = 0;
    // Per row: frame_ratio x (sum of the six zone sums) / (sum of the six
    // counts), not a number where the row has no data.
    std::vector<float> row_level;
    std::vector<float> model;  // the fitted model evaluated at each row
};

// Where channel 1's model range fell among the configured bands.
enum class RangeBand : int32_t {
    BelowThreshold = -1,  // below range_threshold[0]: never flicker
    // 0..4: band k, range_threshold[k] <= range < range_threshold[k + 1]
    NotANumber = 5,       // flicker is reported without the run test
};

struct DetectionReport {
    std::string capture;
    int32_t row_num = 0;
    int32_t mains_frequency = 0;
    int32_t lines_per_row = 0;
    float exposure_time = 0.0f;
    float line_time = 0.0f;
    std::array<ChannelReport, 4> channels;

    // Channel 1's model over the rows, recomputed from the fitted parameters;
    // like the detector, the maximum starts at 0 and the minimum at 10.
    float model_min = 0.0f;
    float model_max = 0.0f;
    float model_range = 0.0f;
    int32_t band = int32_t(RangeBand::BelowThreshold);
    float band_low = 0.0f;      // the band's limits (band 4 has no upper one)
    float band_high = 0.0f;
    float detect_ratio = 0.0f;  // the band's ratio
    // Flicker needs a zone's longest flat run to exceed this many rows.
    int32_t rows_required = 0;

    bool flicker_detected = false;
    float confidence_index = 0.0f;
    kevra_confidence_idx_debug_output confidence_debug{};
};

// Runs KevrMain and ConfidenceIndex on the capture; throws InputError if the
// detector refuses it.
DetectionReport detect(QORKEVRA& detector, const Capture& capture, const std::string& name);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_DETECTION_H
