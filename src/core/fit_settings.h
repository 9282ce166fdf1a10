// Everything the curve fit needs that does not change during one call: the
// harmonic periods and angular rates, the row step and its multiple-angle
// tables, the convergence threshold and the configured step factors.
#ifndef KEVRA_CORE_FIT_SETTINGS_H
#define KEVRA_CORE_FIT_SETTINGS_H

#include <cstdint>

#include "kevra.h"

namespace kevra {

// Per harmonic: the lane factors that turn the start angle's cosine and sine
// into those of rows 0..3 (k harmonic steps for lane k), and the rotation by
// four rows that carries one group of four rows to the next.
struct HarmonicTable {
    float cos_lane[4];
    float sin_lane[4];
    float rot_cos;
    float rot_sin;
};

struct FitSettings {
    int32_t row_num;
    float period[3];          // us, harmonics 1..3
    float half_period[3];
    float w;                  // pi * mains * 1e-6, per us
    float rate[3];            // 4w, 8w, 12w
    float neg_rate[3];        // -4w, -8w, -12w
    float exposure_angle[3];  // half the exposure, as an angle per harmonic
    float row_step;           // harmonic-1 angle between two statistic rows
    float start_time;
    float line_time;
    float epsilon;            // convergence threshold; >= 255 or NaN skips every fit
    float offset_step;
    float phase_step;
    float amplitude_step;
    int32_t max_iterations;
    HarmonicTable harmonic[3];
};

// Lane factors and rotations of the three harmonics for a row step delta.
void make_harmonic_tables(float delta, HarmonicTable out[3]);

FitSettings make_fit_settings(const kevra_parameter* param, const kevra_config* config);

}  // namespace kevra

#endif  // KEVRA_CORE_FIT_SETTINGS_H
