#include "confidence/confidence_constants.h"

#include <cmath>
#include <cstring>

#include "simd/vec4_portable.h"

namespace kevra {

namespace {

int32_t wrap(uint32_t u) {
    int32_t s;
    std::memcpy(&s, &u, sizeof s);
    return s;
}

int32_t q10(float v) { return simd::to_int32_saturate(v * 1024.0f); }

// The harmonic's angle at line 0 in 1/128 degree. s is formed in single
// precision, the reduction and scaling in double.
int32_t phase_units(float angle_offset, float angle_rate, float fitted_phase) {
    const float product = angle_rate * fitted_phase;
    const float s = angle_offset + product;
    const double units = std::fmod(static_cast<double>(s), 360.0) * 128.0;
    // |fmod| < 360 keeps every finite result far inside int32; an infinite or
    // NaN s gives NaN, which converts to 0 as in the Q10 conversions.
    return std::isnan(units) ? 0 : static_cast<int32_t>(units);
}

}  // namespace

ConfidenceConstants confidence_constants(const kevra_confidence_idx_input& input,
                                         const kevra_fitting_result& result) {
    const float amplitude[3] = {result.amplitude1[1], result.amplitude2[1], result.amplitude3[1]};
    const float phase[3] = {result.phase1[1], result.phase2[1], result.phase3[1]};
    ConfidenceConstants k;
    for (int h = 0; h < 3; ++h) {
        const float per_line = input.line_time * input.angle_rate[h];
        k.step[h] = q10(std::fmod(2.0f * per_line, 360.0f));
        k.phase[h] = phase_units(input.angle_offset[h], input.angle_rate[h], phase[h]);
        k.amp[h] = q10(amplitude[h]);
    }
    k.off = q10(result.offset[1]);
    const uint32_t off = static_cast<uint32_t>(k.off);
    const uint32_t amp1 = static_cast<uint32_t>(k.amp[0]);
    const float centre = static_cast<float>(k.off) / 1024.0f;
    k.a1 = static_cast<float>(k.amp[0]) / 1024.0f;
    k.lo_min = static_cast<float>(wrap(off - amp1)) / 1024.0f - input.band_margin;
    k.lo_max = centre - input.band_margin;
    k.hi_min = centre + input.band_margin;
    k.hi_max = static_cast<float>(wrap(off + amp1)) / 1024.0f + input.band_margin;
    const uint32_t norm = static_cast<uint32_t>(input.sum_norm_a) * static_cast<uint32_t>(input.sum_norm_b);
    k.inv_norm = 1.0f / static_cast<float>(wrap(norm));
    k.y_step = input.lines_per_row / 2;
    k.y0 = input.line_offset / 2;
    return k;
}

}  // namespace kevra
