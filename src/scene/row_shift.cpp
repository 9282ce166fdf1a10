#include "scene/row_shift.h"

#include <cmath>
#include <initializer_list>
#include <limits>

#include "kevra.h"
#include "scene/scene_math.h"

namespace kevra_scene {

namespace {

constexpr int kBasis = kShiftBasis;
constexpr int kPairs = kBasis * (kBasis + 1) / 2;
// Below this energy per row (0.5 % rms) the change at rest holds nothing a
// motion need explain; there a shift could only line up the ripple's own
// higher harmonics, whose roll is itself a shift of the profile.
constexpr double kLeastMismatch = 2.5e-5;

double interpolated(const double* v, int rows, double x) {
    if (!(x >= 0.0) || x > double(rows - 1)) return std::numeric_limits<double>::quiet_NaN();
    const int i = int(x);
    if (i == rows - 1) return v[i];
    const double f = x - double(i);
    return v[i] + f * (v[i + 1] - v[i]);
}

void prepare(RowShiftWork& m, int rows, const double (&rates)[2]) {
    constexpr int kWaves = 2 * kShiftHarmonics;
    SinCos at_row[kWaves], turn[kWaves];
    for (int k = 0; k < kWaves; ++k) {
        at_row[k] = {0.0, 1.0};
        turn[k] = scene_sincos(double(k % kShiftHarmonics + 1) * rates[k / kShiftHarmonics]);
    }
    for (int i = 0; i < kPairs; ++i) m.gram[i][0] = 0.0;
    for (int r = 0; r < rows; ++r) {
        m.basis[0][r] = 1.0;
        for (int k = 0; k < kWaves; ++k) {
            m.basis[1 + 2 * k][r] = at_row[k].cos;
            m.basis[2 + 2 * k][r] = at_row[k].sin;
            at_row[k] = {at_row[k].sin * turn[k].cos + at_row[k].cos * turn[k].sin,
                         at_row[k].cos * turn[k].cos - at_row[k].sin * turn[k].sin};
        }
        for (int i = 0, k = 0; i < kBasis; ++i)
            for (int j = i; j < kBasis; ++j, ++k) m.gram[k][r + 1] = m.gram[k][r] + m.basis[i][r] * m.basis[j][r];
    }
}

// The running sums of the later profile.
void prepare_now(RowShiftWork& m, const double* now, int rows) {
    for (int i = 0; i < kBasis; ++i) m.now_basis[i][0] = 0.0;
    m.now_squares[0] = 0.0;
    for (int r = 0; r < rows; ++r) {
        for (int i = 0; i < kBasis; ++i) m.now_basis[i][r + 1] = m.now_basis[i][r] + m.basis[i][r] * now[r];
        m.now_squares[r + 1] = m.now_squares[r] + now[r] * now[r];
    }
}

// Energy per row of now[r] - before[r - shift] left after its least-squares
// fit by the basis, over the rows where before[r - shift] exists.
double mismatch(const RowShiftWork& m, const double* now, const double* before, int rows, double shift) {
    const int lo = shift > 0.0 ? int(std::ceil(shift)) : 0;
    const int hi = shift < 0.0 ? int(std::floor(double(rows - 1) + shift)) : rows - 1;  // inclusive
    const int n = hi - lo + 1;
    if (n < rows / 2) return HUGE_VAL;
    // before[r - shift] = before[r - whole] + part * (before[r - whole + 1] - before[r - whole]);
    // within lo..hi both indices are rows, the second only read when part > 0.
    const int whole = int(std::ceil(shift));
    const double part = double(whole) - shift;
    double b[kBasis], cross = 0.0, before_squares = 0.0;
    for (int i = 0; i < kBasis; ++i) b[i] = m.now_basis[i][hi + 1] - m.now_basis[i][lo];
    for (int r = lo; r <= hi; ++r) {
        const double* q = before + (r - whole);
        const double p = part > 0.0 ? q[0] + part * (q[1] - q[0]) : q[0];
        cross += now[r] * p;
        before_squares += p * p;
        for (int i = 0; i < kBasis; ++i) b[i] -= m.basis[i][r] * p;
    }
    double energy = (m.now_squares[hi + 1] - m.now_squares[lo]) - 2.0 * cross + before_squares;
    // Less the fitted part, b' G^-1 b, by Cholesky.
    double g[kBasis][kBasis];
    for (int i = 0, k = 0; i < kBasis; ++i)
        for (int j = i; j < kBasis; ++j, ++k) g[i][j] = g[j][i] = m.gram[k][hi + 1] - m.gram[k][lo];
    double l[kBasis][kBasis] = {}, y[kBasis] = {};
    for (int i = 0; i < kBasis; ++i) {
        for (int j = 0; j <= i; ++j) {
            double s = g[i][j];
            for (int k = 0; k < j; ++k) s -= l[i][k] * l[j][k];
            if (i == j) {
                if (!(s > 1e-9 * double(n))) return energy / double(n);
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

bool complete(const double* v, int rows) {
    for (int r = 0; r < rows; ++r)
        if (v[r] != v[r]) return false;
    return true;
}

}  // namespace

double estimate_row_shift(const double* now, const double* before, int rows, const double (&ripple_rates)[2],
                          RowShiftWork& m) {
    // Rows without data would break the running sums; such frames are rare
    // enough to be left unshifted.
    if (rows < 2 || !complete(now, rows) || !complete(before, rows)) return 0.0;
    prepare(m, rows, ripple_rates);
    prepare_now(m, now, rows);
    const int reach = rows / kLargestRowShiftShare > kLeastRowShiftReach ? rows / kLargestRowShiftShare
                                                                          : kLeastRowShiftReach;
    const double still = mismatch(m, now, before, rows, 0.0);
    if (!(still > kLeastMismatch)) return 0.0;
    double best = still, shift = 0.0;
    auto consider = [&](double s) {
        if (s < -double(reach) || s > double(reach)) return;
        const double e = mismatch(m, now, before, rows, s);
        if (e < best) {
            best = e;
            shift = s;
        }
    };
    // Every second row first (a picture's mismatch varies little over one
    // row), then the rows, quarters and eighths around the best.
    for (int k = -reach; k <= reach; k += 2) consider(double(k));
    for (const double step : {1.0, 0.25, 0.125}) {
        const double centre = shift;
        const int around = step == 0.25 ? 3 : 1;
        for (int k = -around; k <= around; ++k)
            if (k != 0) consider(centre + double(k) * step);
    }
    return best < 0.5 * still && std::fabs(shift) >= kSmallestRowShift ? shift : 0.0;
}

bool shift_is_global(const double (*now)[KEVRA_MAX_ROWS], const double (*before)[KEVRA_MAX_ROWS], int zones,
                     int rows, double shift, RowShiftWork& m) {
    int helped = 0;
    for (int z = 0; z < zones; ++z) {
        if (!complete(now[z], rows) || !complete(before[z], rows)) return false;
        prepare_now(m, now[z], rows);
        const double still = mismatch(m, now[z], before[z], rows, 0.0);
        const double moved = mismatch(m, now[z], before[z], rows, shift);
        if (moved > 2.0 * still + kLeastMismatch) return false;
        helped += moved < 0.5 * still;
    }
    return 2 * helped >= zones;
}

void shifted_change(const double* now, const double* before, int rows, double shift, double* out) {
    for (int r = 0; r < rows; ++r) out[r] = now[r] - interpolated(before, rows, double(r) - shift);
}

}  // namespace kevra_scene
