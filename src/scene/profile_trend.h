// A row profile less its least-squares quadratic: a picture's slow brightness
// change down the frame leaks into every harmonic of a fit over a few ripple
// periods, while a ripple of three or more periods hardly projects onto a
// quadratic.
#ifndef KEVRA_SCENE_PROFILE_TREND_H
#define KEVRA_SCENE_PROFILE_TREND_H

namespace kevra_scene {

// NaN rows stay NaN and are left out of the fit.
void remove_quadratic_trend(const double* v, int n, double* out);

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_PROFILE_TREND_H
