// The damped Gauss-Newton fit of the flicker model to the row levels, channel
// by channel in the order 1, 2, 0, 3. The solver step is passed in: it must
// turn `design` into `fit_delta` (the library passes matrix_multiplication).
#ifndef KEVRA_CORE_CHANNEL_FIT_H
#define KEVRA_CORE_CHANNEL_FIT_H

#include <cstdint>

#include "core/design_rows.h"
#include "core/fit_settings.h"
#include "core/fit_state.h"
#include "core/fit_update.h"
#include "core/starting_values.h"
#include "kevra.h"

namespace kevra {

// Iterates one channel from p; returns the number of iterations run. With
// `range`, it holds the model's extremes over the last iteration run.
template <class V, class Solve>
int32_t fit_channel(const FitSettings& s, ChannelParams& p, const float* level, float (*design)[256],
                    const float* fit_delta, Solve& solve, ModelRange* range) {
    int64_t n = 0;  // cannot wrap, whatever max_iterations holds
    while (n <= s.max_iterations) {
        if (range) *range = kUntouchedRange;
        if (s.row_num >= 1) build_design_rows<V>(s.harmonic, model_terms(s, p), level, s.row_num, design, range);
        solve();
        float delta[7];
        for (int u = 0; u < 7; ++u) delta[u] = fit_delta[u];
        apply_update(s, delta, p);
        ++n;
        if (has_converged(convergence_measure(delta, p), s.epsilon)) break;
    }
    return static_cast<int32_t>(n);
}

// Fits all four channels of row_level[0..row_num) (rows up to the end of the
// last eight-row block are read too) and returns their fit and channel 1's
// model range.
template <class V, class Solve>
FitState fit_channels(const FitSettings& s, const kevra_config* config, const float (*row_level)[4],
                      float (*design)[256], const float* fit_delta, Solve solve) {
    FitState f = initial_fit_state<V>(row_level, s.row_num);
    const bool fits_run = s.epsilon < 255.0f;
    if (fits_run && s.max_iterations >= 0) write_offset_row(design, s.row_num);
    alignas(16) float level[256];
    for (int stage = 0; stage < 4; ++stage) {
        const int c = kStageChannel[stage];
        set_starting_values(stage, s, config, f);
        if (!fits_run) continue;
        for (int i = 0; i < design_columns(s.row_num); ++i) level[i] = row_level[i][c];
        f.iterations[c] =
            fit_channel<V>(s, f.channel[c], level, design, fit_delta, solve, stage == 0 ? &f.range : nullptr);
    }
    return f;
}

}  // namespace kevra

#endif  // KEVRA_CORE_CHANNEL_FIT_H
