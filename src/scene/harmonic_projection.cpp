#include "scene/harmonic_projection.h"

#include <cmath>
#include <utility>

namespace kevra_scene {

namespace {

constexpr int kTerms = kHarmonicTerms;

// Inverts a by Gauss-Jordan elimination with partial pivoting; false when it
// is singular.
bool invert(double (&a)[kTerms][kTerms], double (&inv)[kTerms][kTerms]) {
    for (int i = 0; i < kTerms; ++i)
        for (int j = 0; j < kTerms; ++j) inv[i][j] = i == j ? 1.0 : 0.0;
    for (int k = 0; k < kTerms; ++k) {
        int p = k;
        for (int i = k + 1; i < kTerms; ++i)
            if (std::fabs(a[i][k]) > std::fabs(a[p][k])) p = i;
        if (!(std::fabs(a[p][k]) > 1e-12 * (1.0 + std::fabs(a[0][0])))) return false;
        if (p != k)
            for (int j = 0; j < kTerms; ++j) {
                std::swap(a[k][j], a[p][j]);
                std::swap(inv[k][j], inv[p][j]);
            }
        const double pivot = a[k][k];
        for (int j = 0; j < kTerms; ++j) {
            a[k][j] /= pivot;
            inv[k][j] /= pivot;
        }
        for (int i = 0; i < kTerms; ++i) {
            if (i == k) continue;
            const double f = a[i][k];
            for (int j = 0; j < kTerms; ++j) {
                a[i][j] -= f * a[k][j];
                inv[i][j] -= f * inv[k][j];
            }
        }
    }
    return true;
}

}  // namespace

void harmonic_rows(HarmonicRows& out, int rows, double t0, double step, double rate) {
    // Rows advance every harmonic by a fixed angle: rotate instead of
    // evaluating sines per row.
    SinCos at[3], turn[3];
    for (int h = 0; h < 3; ++h) {
        at[h] = scene_sincos(double(h + 1) * rate * t0);
        turn[h] = scene_sincos(double(h + 1) * rate * step);
    }
    out.rows = rows;
    for (int r = 0; r < rows; ++r) {
        out.basis[0][r] = 1.0;
        for (int h = 0; h < 3; ++h) {
            out.basis[1 + 2 * h][r] = at[h].cos;
            out.basis[2 + 2 * h][r] = at[h].sin;
            at[h] = {at[h].sin * turn[h].cos + at[h].cos * turn[h].sin, at[h].cos * turn[h].cos - at[h].sin * turn[h].sin};
        }
    }
}

void harmonic_normal(HarmonicNormal& out, const HarmonicRows& rows, const double* pattern) {
    double a[kTerms][kTerms] = {};
    for (int r = 0; r < rows.rows; ++r) {
        out.used[r] = pattern[r] == pattern[r];
        if (!out.used[r]) continue;
        for (int i = 0; i < kTerms; ++i)
            for (int j = i; j < kTerms; ++j) a[i][j] += rows.basis[i][r] * rows.basis[j][r];
    }
    for (int i = 0; i < kTerms; ++i)
        for (int j = 0; j < i; ++j) a[i][j] = a[j][i];
    out.valid = invert(a, out.inverse);
}

HarmonicFit project_harmonics(const HarmonicRows& rows, const HarmonicNormal& normal, const double* value) {
    double b[kTerms] = {}, sum = 0.0, squares = 0.0;
    int used = 0;
    bool same_rows = true;
    for (int r = 0; r < rows.rows; ++r) {
        const bool has = value[r] == value[r];
        same_rows = same_rows && has == normal.used[r];
        used += has;
    }
    // Rows without data add nothing; the branch-free pass is the common one.
    for (int r = 0; r < rows.rows; ++r) {
        const double v = value[r] == value[r] ? value[r] : 0.0;
        for (int i = 0; i < kTerms; ++i) b[i] += rows.basis[i][r] * v;
        sum += v;
        squares += v * v;
    }
    HarmonicNormal own;
    if (!same_rows) harmonic_normal(own, rows, value);
    const HarmonicNormal& n = same_rows ? normal : own;
    HarmonicFit fit;
    if (!n.valid || used == 0) return fit;
    double x[kTerms] = {}, explained = 0.0;
    for (int i = 0; i < kTerms; ++i) {
        for (int j = 0; j < kTerms; ++j) x[i] += n.inverse[i][j] * b[j];
        explained += x[i] * b[i];
    }
    const double mean = sum / double(used);
    fit.fundamental = {x[1], -x[2]};
    for (int h = 0; h < 3; ++h) fit.power += 0.5 * (x[1 + 2 * h] * x[1 + 2 * h] + x[2 + 2 * h] * x[2 + 2 * h]);
    fit.variance = squares / double(used) - mean * mean;
    fit.residual = std::fmax(0.0, (squares - explained) / double(used));
    fit.used = used;
    fit.valid = std::isfinite(fit.power) && std::isfinite(fit.variance);
    return fit;
}

}  // namespace kevra_scene
