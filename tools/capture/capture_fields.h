// The record fields a capture file names, by their names in kevra.h.
#ifndef KEVRA_TOOLS_CAPTURE_FIELDS_H
#define KEVRA_TOOLS_CAPTURE_FIELDS_H

#include <cstddef>
#include <string>

#include "kevra.h"

namespace kevra_tool {

enum class FieldKind { Int32, Float };

struct FieldDef {
    const char* name;
    FieldKind kind;
    size_t offset;  // within its record
    int count;      // 1 for a scalar, else the array length
};

#define KEVRA_FIELD(record, name, kind, count) {#name, FieldKind::kind, offsetof(record, name), count}

// start_time is a pointer in the record; the capture holds its one element.
inline constexpr FieldDef kParameterFields[] = {
    KEVRA_FIELD(kevra_parameter, ratio_index, Int32, 1),
    KEVRA_FIELD(kevra_parameter, ratio_table, Float, 4),
    KEVRA_FIELD(kevra_parameter, row_num, Int32, 1),
    KEVRA_FIELD(kevra_parameter, tolerance_ref, Float, 1),
    KEVRA_FIELD(kevra_parameter, exposure_time, Float, 1),
    KEVRA_FIELD(kevra_parameter, line_time, Float, 1),
};

inline constexpr FieldDef kConfigFields[] = {
    KEVRA_FIELD(kevra_config, high_full_scale, Int32, 1),
    KEVRA_FIELD(kevra_config, mains_frequency, Int32, 1),
    KEVRA_FIELD(kevra_config, outlier_threshold, Int32, 1),
    KEVRA_FIELD(kevra_config, local_tolerance_gain, Float, 1),
    KEVRA_FIELD(kevra_config, local_tolerance_exponent, Float, 1),
    KEVRA_FIELD(kevra_config, local_flicker_level, Int32, 1),
    KEVRA_FIELD(kevra_config, detect_ratio, Float, 5),
    KEVRA_FIELD(kevra_config, range_threshold, Float, 5),
    KEVRA_FIELD(kevra_config, weight_enable, Int32, 1),
    KEVRA_FIELD(kevra_config, weight_fixed, Int32, 1),
    KEVRA_FIELD(kevra_config, fixed_weight, Float, 6),
    KEVRA_FIELD(kevra_config, lines_per_row, Int32, 1),
    KEVRA_FIELD(kevra_config, weight_base_x10, Int32, 1),
    KEVRA_FIELD(kevra_config, weight_exponent_x10, Int32, 1),
    KEVRA_FIELD(kevra_config, use_initial_values, Int32, 1),
    KEVRA_FIELD(kevra_config, init_offset, Float, 4),
    KEVRA_FIELD(kevra_config, init_phase1, Float, 4),
    KEVRA_FIELD(kevra_config, init_phase2, Float, 4),
    KEVRA_FIELD(kevra_config, init_phase3, Float, 4),
    KEVRA_FIELD(kevra_config, init_amplitude1, Float, 4),
    KEVRA_FIELD(kevra_config, init_amplitude2, Float, 4),
    KEVRA_FIELD(kevra_config, init_amplitude3, Float, 4),
    KEVRA_FIELD(kevra_config, offset_step, Float, 1),
    KEVRA_FIELD(kevra_config, phase_step, Float, 1),
    KEVRA_FIELD(kevra_config, amplitude_step, Float, 1),
    KEVRA_FIELD(kevra_config, convergence_exponent, Int32, 1),
    KEVRA_FIELD(kevra_config, max_iterations, Int32, 1),
};

inline constexpr FieldDef kConfidenceInputFields[] = {
    KEVRA_FIELD(kevra_confidence_idx_input, angle_offset, Float, 3),
    KEVRA_FIELD(kevra_confidence_idx_input, angle_rate, Float, 3),
    KEVRA_FIELD(kevra_confidence_idx_input, line_time, Float, 1),
    KEVRA_FIELD(kevra_confidence_idx_input, row_num, Int32, 1),
    KEVRA_FIELD(kevra_confidence_idx_input, sum_norm_a, Int32, 1),
    KEVRA_FIELD(kevra_confidence_idx_input, lines_per_row, Int32, 1),
    KEVRA_FIELD(kevra_confidence_idx_input, line_offset, Int32, 1),
    KEVRA_FIELD(kevra_confidence_idx_input, sum_norm_b, Int32, 1),
    KEVRA_FIELD(kevra_confidence_idx_input, band_margin, Float, 1),
};

#undef KEVRA_FIELD

// Top-level keys of a capture file.
inline constexpr const char* kFormatKey = "format";
inline constexpr const char* kVersionKey = "version";
inline constexpr const char* kParameterKey = "parameter";
inline constexpr const char* kConfigKey = "config";
inline constexpr const char* kConfidenceInputKey = "confidence_input";
inline constexpr const char* kSumStreamKey = "sum_stream";
inline constexpr const char* kCountStreamKey = "count_stream";
inline constexpr const char* kTimestampKey = "timestamp_ns";

inline constexpr const char* kFormatName = "kevra-capture";
// Version 2 added timestamp_ns; version 1 files still read.
inline constexpr int kFormatVersion = 2;

inline bool is_capture_key(const std::string& key) {
    for (const char* k : {kFormatKey, kVersionKey, kParameterKey, kConfigKey, kConfidenceInputKey, kSumStreamKey,
                          kCountStreamKey, kTimestampKey})
        if (key == k) return true;
    return false;
}

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_CAPTURE_FIELDS_H
