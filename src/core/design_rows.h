// The design rows of one fit iteration: the model's derivatives for the seven
// unknowns and the residual, for every row of every eight-row block that
// starts below row_num. Cosines and sines come from three start angles carried
// along the rows by the lane tables and four-row rotations.
#ifndef KEVRA_CORE_DESIGN_ROWS_H
#define KEVRA_CORE_DESIGN_ROWS_H

#include <math.h>

#include "confidence/cos_to_sin.h"
#include "core/fit_settings.h"
#include "core/fit_state.h"
#include "simd/vec4.h"

namespace kevra {

// What one iteration's design rows depend on besides the tables.
struct ModelTerms {
    float offset;
    float amplitude[3];
    float factor[3];     // derivative scale of each phase: -rate * amplitude
    float start_cos[3];  // cosine and sine of each harmonic's angle at row 0
    float start_sin[3];
};

inline ModelTerms model_terms(const FitSettings& s, const ChannelParams& p) {
    ModelTerms m;
    m.offset = p.offset;
    for (int h = 0; h < 3; ++h) {
        m.amplitude[h] = p.amplitude[h];
        m.factor[h] = s.neg_rate[h] * p.amplitude[h];
        const float angle = s.exposure_angle[h] + s.rate[h] * (s.start_time + p.phase[h]);
        m.start_cos[h] = cosf(angle);
        m.start_sin[h] = sine_from_cosine(angle, m.start_cos[h]);
    }
    return m;
}

// Columns written per iteration: whole blocks of eight rows.
inline int design_columns(int row_num) { return row_num <= 0 ? 0 : (row_num + 7) / 8 * 8; }

// Row 0 (the offset derivative) is the same in every iteration.
inline void write_offset_row(float (*design)[256], int row_num) {
    for (int i = 0; i < design_columns(row_num); ++i) design[0][i] = -1.0f;
}

// Writes rows 1..7 of `design` for columns 0..design_columns(row_num)-1 from
// level[] (same columns). With `range`, also folds every model value into it.
template <class V>
void build_design_rows(const HarmonicTable table[3], const ModelTerms& m, const float* level, int row_num,
                       float (*design)[256], ModelRange* range) {
    using F = typename V::F;
    F cos[3], sin[3], rot_cos[3], rot_sin[3], amplitude[3], factor[3];
    for (int h = 0; h < 3; ++h) {
        const F cl = V::load(table[h].cos_lane);
        const F sl = V::load(table[h].sin_lane);
        const F c0 = V::dup(m.start_cos[h]);
        const F s0 = V::dup(m.start_sin[h]);
        cos[h] = V::fms(V::mul(cl, c0), sl, s0);
        sin[h] = V::fma(V::mul(cl, s0), sl, c0);
        rot_cos[h] = V::dup(table[h].rot_cos);
        rot_sin[h] = V::dup(table[h].rot_sin);
        amplitude[h] = V::dup(m.amplitude[h]);
        factor[h] = V::dup(m.factor[h]);
    }
    const F offset = V::dup(m.offset);
    F hi = V::dup(range ? range->max : 0.0f);
    F lo = V::dup(range ? range->min : 0.0f);
    const int end = design_columns(row_num);
    for (int i = 0; i < end; i += 4) {
        F model = offset;
        for (int h = 0; h < 3; ++h) {
            V::store(design[1 + 2 * h] + i, cos[h]);
            V::store(design[2 + 2 * h] + i, V::mul(factor[h], sin[h]));
            model = V::fms(model, amplitude[h], cos[h]);
        }
        V::store(design[7] + i, V::sub(model, V::load(level + i)));
        if (range) {
            hi = V::max(hi, model);
            lo = V::min(lo, model);
        }
        for (int h = 0; h < 3; ++h) {
            const F c = cos[h];
            cos[h] = V::fms(V::mul(c, rot_cos[h]), sin[h], rot_sin[h]);
            sin[h] = V::fma(V::mul(sin[h], rot_cos[h]), c, rot_sin[h]);
        }
    }
    if (range) {
        for (int k = 0; k < 4; ++k) {
            range->max = simd::max_nan(range->max, V::get(hi, k));
            range->min = simd::min_nan(range->min, V::get(lo, k));
        }
    }
}

}  // namespace kevra

#endif  // KEVRA_CORE_DESIGN_ROWS_H
