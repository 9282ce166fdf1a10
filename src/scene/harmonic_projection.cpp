#include "scene/harmonic_projection.h"

#include <cmath>

#include "scene/scene_math.h"

namespace kevra_scene {

namespace {

constexpr int kTerms = 7;  // 1, then cos and sin of each harmonic

// Solves a x = b by Gauss-Jordan elimination with partial pivoting; false
// when the system is singular.
bool solve(double (&a)[kTerms][kTerms], double (&b)[kTerms]) {
    for (int k = 0; k < kTerms; ++k) {
        int p = k;
        for (int i = k + 1; i < kTerms; ++i)
            if (std::fabs(a[i][k]) > std::fabs(a[p][k])) p = i;
        if (!(std::fabs(a[p][k]) > 1e-12 * (1.0 + std::fabs(a[0][0])))) return false;
        if (p != k) {
            for (int j = 0; j < kTerms; ++j) std::swap(a[k][j], a[p][j]);
            std::swap(b[k], b[p]);
        }
        for (int i = 0; i < kTerms; ++i) {
            if (i == k) continue;
            const double f = a[i][k] / a[k][k];
            for (int j = k; j < kTerms; ++j) a[i][j] -= f * a[k][j];
            b[i] -= f * b[k];
        }
    }
    for (int k = 0; k < kTerms; ++k) b[k] /= a[k][k];
    return true;
}

}  // namespace

HarmonicModel project_harmonics(const double* value, int rows, double t0, double step, double rate) {
    double a[kTerms][kTerms] = {};
    double b[kTerms] = {};
    // Rows advance every harmonic by a fixed angle: rotate instead of
    // evaluating cosines per row.
    SinCos at[3], turn[3];
    for (int h = 0; h < 3; ++h) {
        at[h] = scene_sincos(double(h + 1) * rate * t0);
        turn[h] = scene_sincos(double(h + 1) * rate * step);
    }
    for (int r = 0; r < rows; ++r) {
        if (value[r] == value[r]) {
            const double basis[kTerms] = {1.0, at[0].cos, at[0].sin, at[1].cos, at[1].sin, at[2].cos, at[2].sin};
            for (int i = 0; i < kTerms; ++i) {
                b[i] += basis[i] * value[r];
                for (int j = 0; j < kTerms; ++j) a[i][j] += basis[i] * basis[j];
            }
        }
        for (int h = 0; h < 3; ++h) {
            const SinCos next{at[h].sin * turn[h].cos + at[h].cos * turn[h].sin,
                              at[h].cos * turn[h].cos - at[h].sin * turn[h].sin};
            at[h] = next;
        }
    }
    HarmonicModel m;
    if (!solve(a, b)) return m;
    m.offset = b[0];
    for (int h = 0; h < 3; ++h) {
        // c cos x + s sin x = -A cos(x + p) with A cos p = -c, A sin p = s.
        const double c = b[1 + 2 * h], s = b[2 + 2 * h];
        m.amplitude[h] = std::sqrt(c * c + s * s);
        double angle = scene_atan2(s, -c);
        if (angle < 0.0) angle += 2.0 * kPi;
        m.phase[h] = angle / (double(h + 1) * rate);
    }
    m.valid = true;
    return m;
}

}  // namespace kevra_scene
