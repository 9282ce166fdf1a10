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

// The running state of one harmonic: cosine and sine of four consecutive rows,
// and the rotation that carries them four rows on.
template <class V>
struct HarmonicLanes {
    typename V::F cos, sin, rot_cos, rot_sin, amplitude, factor;

    HarmonicLanes(const HarmonicTable& t, float start_cos, float start_sin, float amp, float phase_factor) {
        const typename V::F cl = V::load(t.cos_lane), sl = V::load(t.sin_lane);
        const typename V::F c0 = V::dup(start_cos), s0 = V::dup(start_sin);
        cos = V::fms(V::mul(cl, c0), sl, s0);
        sin = V::fma(V::mul(cl, s0), sl, c0);
        rot_cos = V::dup(t.rot_cos);
        rot_sin = V::dup(t.rot_sin);
        amplitude = V::dup(amp);
        factor = V::dup(phase_factor);
    }

    void rotate() {
        const typename V::F c = cos;
        cos = V::fms(V::mul(c, rot_cos), sin, rot_sin);
        sin = V::fma(V::mul(sin, rot_cos), c, rot_sin);
    }
};

// Rows 1..7 of four columns from column i on; returns their model values.
template <class V>
inline typename V::F write_design_columns(HarmonicLanes<V> (&h)[3], typename V::F offset, const float* level,
                                          int i, float (*design)[256]) {
    typename V::F model = offset;
    for (int k = 0; k < 3; ++k) {
        V::store(design[1 + 2 * k] + i, h[k].cos);
        V::store(design[2 + 2 * k] + i, V::mul(h[k].factor, h[k].sin));
        model = V::fms(model, h[k].amplitude, h[k].cos);
        h[k].rotate();
    }
    V::store(design[7] + i, V::sub(model, V::load(level + i)));
    return model;
}

// Writes rows 1..7 of `design` for columns 0..design_columns(row_num)-1 from
// level[] (same columns). With `range`, also folds every model value into it.
// A block of eight columns per loop step, the range test outside the loop.
template <class V>
void build_design_rows(const HarmonicTable table[3], const ModelTerms& m, const float* level, int row_num,
                       float (*design)[256], ModelRange* range) {
    using F = typename V::F;
    HarmonicLanes<V> h[3] = {
        {table[0], m.start_cos[0], m.start_sin[0], m.amplitude[0], m.factor[0]},
        {table[1], m.start_cos[1], m.start_sin[1], m.amplitude[1], m.factor[1]},
        {table[2], m.start_cos[2], m.start_sin[2], m.amplitude[2], m.factor[2]},
    };
    const F offset = V::dup(m.offset);
    const int end = design_columns(row_num);
    if (range == nullptr) {
        for (int i = 0; i < end; i += 8) {
            write_design_columns<V>(h, offset, level, i, design);
            write_design_columns<V>(h, offset, level, i + 4, design);
        }
        return;
    }
    F hi = V::dup(range->max);
    F lo = V::dup(range->min);
    for (int i = 0; i < end; i += 8) {
        const F a = write_design_columns<V>(h, offset, level, i, design);
        const F b = write_design_columns<V>(h, offset, level, i + 4, design);
        hi = V::max(V::max(hi, a), b);
        lo = V::min(V::min(lo, a), b);
    }
    for (int k = 0; k < 4; ++k) {
        range->max = simd::max_nan(range->max, V::get(hi, k));
        range->min = simd::min_nan(range->min, V::get(lo, k));
    }
}

}  // namespace kevra

#endif  // KEVRA_CORE_DESIGN_ROWS_H
