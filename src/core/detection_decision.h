// The flicker decision from channel 1's model range and the local flicker
// counters, and the writing of the fit into the caller's records.
#ifndef KEVRA_CORE_DETECTION_DECISION_H
#define KEVRA_CORE_DETECTION_DECISION_H

#include <cstdint>

#include "core/fit_state.h"
#include "kevra.h"

namespace kevra {

// 1 when the largest counter exceeds the share of row_num that the band of
// model_range allows; 0 below the lowest band; 1 for a NaN range.
uint32_t detection_decision(float model_range, const uint32_t local_flicker_count[6],
                            const float range_threshold[5], const float detect_ratio[5], int32_t row_num);

void write_fitting_result(const FitState& f, uint32_t flicker_detected, kevra_fitting_result* result,
                          kevra_parameter* param);

}  // namespace kevra

#endif  // KEVRA_CORE_DETECTION_DECISION_H
