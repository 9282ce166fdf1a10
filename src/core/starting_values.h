// Where each channel's fit starts: data estimates for all four channels, then,
// stage by stage, values carried over from the channels fitted before or taken
// from the configuration.
#ifndef KEVRA_CORE_STARTING_VALUES_H
#define KEVRA_CORE_STARTING_VALUES_H

#include "core/fit_settings.h"
#include "core/fit_state.h"
#include "kevra.h"
#include "simd/vec4.h"

namespace kevra {

// Channels in fitting order: stage k fits kStageChannel[k].
constexpr int kStageChannel[4] = {1, 2, 0, 3};

// Offset = mean level, amplitude 1 = the larger excursion from the mean, per
// channel (the four channels are the four lanes of a row); everything else 0.
template <class V>
FitState initial_fit_state(const float (*row_level)[4], int row_num) {
    using F = typename V::F;
    F sum = V::dup(0.0f);
    F hi = V::dup(0.0f);
    F lo = V::dup(65535.0f);
    for (int i = 0; i < row_num; ++i) {
        const F x = V::load(row_level[i]);
        sum = V::add(sum, x);
        hi = V::max(hi, x);
        lo = V::min(lo, x);
    }
    const F mean = V::div(sum, V::dup(static_cast<float>(row_num)));
    const F excursion = V::max(V::sub(hi, mean), V::sub(mean, lo));
    FitState f{};
    for (int c = 0; c < 4; ++c) {
        f.channel[c].offset = V::get(mean, c);
        f.channel[c].amplitude[0] = V::get(excursion, c);
    }
    f.range = kUntouchedRange;
    return f;
}

// Sets the starting values of the channel that `stage` fits.
void set_starting_values(int stage, const FitSettings& s, const kevra_config* config, FitState& f);

}  // namespace kevra

#endif  // KEVRA_CORE_STARTING_VALUES_H
