#include "scene/row_shift.h"

#include <cmath>
#include <limits>

#include "kevra.h"
#include "scene/scene_math.h"

namespace kevra_scene {

namespace {

constexpr int kStepsPerRow = 8;
constexpr int kBasis = 5;  // 1, cos and sin of both ripples

double at(const double* v, int rows, double x) {
    if (!(x >= 0.0) || x > double(rows - 1)) return std::numeric_limits<double>::quiet_NaN();
    const int i = int(x);
    if (i == rows - 1) return v[i];
    const double f = x - double(i);
    return v[i] + f * (v[i + 1] - v[i]);
}

struct Basis {
    double value[kBasis][KEVRA_MAX_ROWS];
};

// Energy of d left after its least-squares fit by the basis, over the rows
// where d is a number, per row; infinite with too few rows.
double residual_energy(const double* d, int rows, const Basis& basis) {
    double gram[kBasis][kBasis] = {}, b[kBasis] = {}, energy = 0.0;
    int n = 0;
    for (int r = 0; r < rows; ++r) {
        if (d[r] != d[r]) continue;
        ++n;
        energy += d[r] * d[r];
        for (int i = 0; i < kBasis; ++i) {
            b[i] += basis.value[i][r] * d[r];
            for (int j = i; j < kBasis; ++j) gram[i][j] += basis.value[i][r] * basis.value[j][r];
        }
    }
    if (n < rows / 2) return HUGE_VAL;
    // Cholesky: energy minus b' G^-1 b.
    double l[kBasis][kBasis] = {}, y[kBasis] = {};
    for (int i = 0; i < kBasis; ++i) {
        for (int j = 0; j <= i; ++j) {
            double s = gram[j][i];
            for (int k = 0; k < j; ++k) s -= l[i][k] * l[j][k];
            if (i == j) {
                if (!(s > 1e-12 * double(n))) return energy / double(n);
                l[i][i] = std::sqrt(s);
            } else {
                l[i][j] = s / l[j][j];
            }
        }
        double s = b[i];
        for (int k = 0; k < i; ++k) s -= l[i][k] * y[k];
        y[i] = s / l[i][i];
        energy -= y[i] * y[i];
    }
    return energy / double(n);
}

double mismatch(const double* now, const double* before, int rows, double shift, const Basis& basis) {
    double d[KEVRA_MAX_ROWS];
    shifted_change(now, before, rows, shift, d);
    return residual_energy(d, rows, basis);
}

}  // namespace

double estimate_row_shift(const double* now, const double* before, int rows, const double (&ripple_rates)[2]) {
    Basis basis;
    for (int r = 0; r < rows; ++r) {
        basis.value[0][r] = 1.0;
        for (int h = 0; h < 2; ++h) {
            const SinCos sc = scene_sincos(ripple_rates[h] * double(r));
            basis.value[1 + 2 * h][r] = sc.cos;
            basis.value[2 + 2 * h][r] = sc.sin;
        }
    }
    const double still = mismatch(now, before, rows, 0.0, basis);
    // Whole rows first, then eighths around the best.
    double best = still, shift = 0.0;
    for (int k = -int(kLargestRowShift); k <= int(kLargestRowShift); ++k) {
        const double m = mismatch(now, before, rows, double(k), basis);
        if (m < best) {
            best = m;
            shift = double(k);
        }
    }
    const double coarse = shift;
    for (int k = -kStepsPerRow + 1; k < kStepsPerRow; ++k) {
        const double s = coarse + double(k) / kStepsPerRow;
        if (k == 0 || s < -kLargestRowShift || s > kLargestRowShift) continue;
        const double m = mismatch(now, before, rows, s, basis);
        if (m < best) {
            best = m;
            shift = s;
        }
    }
    return best < 0.5 * still && std::fabs(shift) >= kSmallestRowShift ? shift : 0.0;
}

void shifted_change(const double* now, const double* before, int rows, double shift, double* out) {
    for (int r = 0; r < rows; ++r) out[r] = now[r] - at(before, rows, double(r) - shift);
}

}  // namespace kevra_scene
