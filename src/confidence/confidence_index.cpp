// The confidence index: how well channel 1's fitted model, re-evaluated in
// fixed point, explains the measured levels near it.
#include <cmath>

#include "confidence/confidence_constants.h"
#include "confidence/confidence_rows.h"
#include "kevra.h"
#include "simd/vec4.h"

namespace {

// A call is refused, before anything is written, when a record it must read or
// write is missing. A null debug record only means that none is wanted.
bool call_is_valid(const kevra_confidence_idx_input* input, const kevra_fitting_result* result,
                   const kevra_confidence_idx_output* output) {
    if (input == nullptr || result == nullptr || output == nullptr) return false;
    return input->row_num < 1 || (result->stat_level != nullptr && result->stat_sum != nullptr);
}

// The zone with the largest value: a NaN is never chosen, zone 0 enters as at
// least 0, and a tie keeps the lower zone.
int32_t largest_zone(const float (&value)[6], float* largest) {
    float best = value[0] > 0.0f ? value[0] : 0.0f;
    int32_t zone = 0;
    for (int32_t z = 1; z < 6; ++z) {
        if (value[z] > best) {
            best = value[z];
            zone = z;
        }
    }
    *largest = best;
    return zone;
}

// amplitude * score * 40000, negatives raised to 0; a NaN stays NaN and -0.0
// stays -0.0. v < 0 is spelled out because clang 14 makes `v < 0 ? 0 : v` an
// Arm FMAX, which turns -0.0 into +0.0.
float scaled_index(float amplitude, float score) {
    const float v = (amplitude * score) * 40000.0f;
    const bool negative = std::signbit(v) && v != 0.0f && !std::isnan(v);
    return negative ? 0.0f : v;
}

}  // namespace

int32_t AppKEVRA::ConfidenceIndex(kevra_confidence_idx_input* input, kevra_fitting_result* result,
                                  kevra_confidence_idx_output* output, kevra_confidence_idx_debug_output* debug) {
    if (!call_is_valid(input, result, output)) return KEVRA_STATUS_INVALID_ARGUMENT;
    const kevra::ConfidenceConstants k = kevra::confidence_constants(*input, *result);
    kevra::ZoneTotals totals;
    kevra::accumulate_zone_rows<kevra::simd::Native>(k, input->row_num, result->stat_level, result->stat_sum,
                                                      &totals);
    float mean[6];
    for (int z = 0; z < 6; ++z) mean[z] = totals.sum[z] / static_cast<float>(totals.count[z]);
    float mean_error;
    float peak_error;
    const int32_t mean_zone = largest_zone(mean, &mean_error);
    const int32_t peak_zone = largest_zone(totals.peak, &peak_error);
    if (debug != nullptr && debug->enable != 0) {
        debug->valid = 1;
        debug->peak_row = totals.peak_row[peak_zone];
        debug->peak_zone = peak_zone;
        debug->mean_zone = mean_zone;
        debug->peak_error = peak_error;
        debug->mean_error = mean_error;
    }
    const float score = result->flicker_detected == 0 ? peak_error * (mean_error * 100.0f) : peak_error;
    const float index = scaled_index(result->amplitude1[1], score);
    output->confidence_idx[0] = index;
    output->confidence_idx[1] = index;
    return KEVRA_STATUS_OK;
}
