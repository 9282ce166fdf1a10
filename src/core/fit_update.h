// The damped Gauss-Newton update of one channel and its convergence measure.
#ifndef KEVRA_CORE_FIT_UPDATE_H
#define KEVRA_CORE_FIT_UPDATE_H

#include "core/fit_settings.h"
#include "core/fit_state.h"

namespace kevra {

// Applies the step factors to delta[0..6] (solver order), then folds negative
// amplitudes into their phase and wraps every phase into (-period, period).
void apply_update(const FitSettings& s, const float delta[7], ChannelParams& p);

// Squared step size, phases weighted by 1e-6; harmonics 2 and 3 count only
// while their (updated) amplitude exceeds 0.001.
float convergence_measure(const float delta[7], const ChannelParams& p);

inline bool has_converged(float measure, float epsilon) { return measure <= epsilon || measure != measure; }

}  // namespace kevra

#endif  // KEVRA_CORE_FIT_UPDATE_H
