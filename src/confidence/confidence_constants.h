// Per-call constants of the confidence index: the fixed-point model's phase
// steps, phases, amplitudes and offset, and the band limits and weight scale.
#ifndef KEVRA_CONFIDENCE_CONFIDENCE_CONSTANTS_H
#define KEVRA_CONFIDENCE_CONFIDENCE_CONSTANTS_H

#include <cstdint>

#include "kevra.h"

namespace kevra {

struct ConfidenceConstants {
    int32_t step[3];   // per harmonic: Q10 degrees per line pair
    int32_t phase[3];  // per harmonic: 1/128 degree at line 0
    int32_t amp[3];    // per harmonic: Q10 amplitude
    int32_t off;       // Q10 offset
    float a1;          // half-width of the band before clamping
    float lo_min, lo_max, hi_min, hi_max;
    float inv_norm;    // scales a zone sum into the root of its weight
    int32_t y_step;    // line pairs per statistic row
    int32_t y0;        // line pair of row 0
};

// Reads channel 1 of the fit; 32-bit integer sums and products wrap.
ConfidenceConstants confidence_constants(const kevra_confidence_idx_input& input,
                                         const kevra_fitting_result& result);

}  // namespace kevra

#endif  // KEVRA_CONFIDENCE_CONFIDENCE_CONSTANTS_H
