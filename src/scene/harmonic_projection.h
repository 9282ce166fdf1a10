// Linear least squares of an offset and three cosine harmonics on a row
// signal: the detector's damped Gauss-Newton fit starts from this solution, so
// that it converges in a couple of iterations wherever the picture puts its
// structure instead of wandering from a start at phase 0.
#ifndef KEVRA_SCENE_HARMONIC_PROJECTION_H
#define KEVRA_SCENE_HARMONIC_PROJECTION_H

namespace kevra_scene {

// In the detector's form: offset - sum A_h cos(h W (t + phase_h)), t in us.
struct HarmonicModel {
    double offset = 0.0;
    double amplitude[3] = {};
    double phase[3] = {};  // us, in [0, period_h)
    bool valid = false;
};

// value[r] at time t0 + r * step (us); NaN rows are left out. rate: W, the
// ripple's angular frequency in radians per us.
HarmonicModel project_harmonics(const double* value, int rows, double t0, double step, double rate);

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_HARMONIC_PROJECTION_H
