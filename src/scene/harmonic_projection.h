// Linear least squares of an offset and three harmonics of the ripple on row
// signals. The rows of a frame share their times, so the normal equations are
// solved once per hypothesis and frame, and each signal then costs one pass.
#ifndef KEVRA_SCENE_HARMONIC_PROJECTION_H
#define KEVRA_SCENE_HARMONIC_PROJECTION_H

#include "kevra.h"
#include "scene/scene_math.h"

namespace kevra_scene {

constexpr int kHarmonicTerms = 7;  // 1, then cos and sin of each harmonic

// The basis at each row's time t0 + r * step (us), for the ripple's angular
// frequency `rate` (radians per us).
struct HarmonicRows {
    int rows = 0;
    double basis[kHarmonicTerms][KEVRA_MAX_ROWS];
};
void harmonic_rows(HarmonicRows& out, int rows, double t0, double step, double rate);

// The inverse of the normal equations over the rows where `pattern` has data
// (is not NaN); invalid when they are singular.
struct HarmonicNormal {
    bool valid = false;
    bool used[KEVRA_MAX_ROWS];
    double inverse[kHarmonicTerms][kHarmonicTerms];
};
void harmonic_normal(HarmonicNormal& out, const HarmonicRows& rows, const double* pattern);

struct HarmonicFit {
    bool valid = false;
    Phasor fundamental;     // X in Re[X e^{iWt}]: absolute-time phase
    double power = 0.0;     // of the fitted harmonics: sum A_h^2 / 2
    double variance = 0.0;  // of the signal about its mean, per row
    double residual = 0.0;  // per row, left after the fit
    int used = 0;           // rows with data
};

// The fit of value[0..rows) (NaN rows left out), through `normal` when the
// signal has data on exactly its rows, else through normal equations of its own.
HarmonicFit project_harmonics(const HarmonicRows& rows, const HarmonicNormal& normal, const double* value);

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_HARMONIC_PROJECTION_H
