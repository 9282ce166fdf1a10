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

int reach_of(int rows) {
    return rows / kLargestRowShiftShare > kLeastRowShiftReach ? rows / kLargestRowShiftShare : kLeastRowShiftReach;
}

// Sum of u[r] v[r] over n rows, in four interleaved parts so that a vector
// unit may take them together with the same roundings on every build.
double dot(const double* u, const double* v, int n) {
    double part[4] = {};
    int r = 0;
    for (; r + 3 < n; r += 4)
        for (int k = 0; k < 4; ++k) part[k] += u[r + k] * v[r + k];
    for (; r < n; ++r) part[0] += u[r] * v[r];
    return (part[0] + part[1]) + (part[2] + part[3]);
}

void prepare(RowShiftWork& m, int rows, const double (&rates)[2]) {
    constexpr int kWaves = 2 * kShiftHarmonics;
    SinCos at_row[kWaves], turn[kWaves];
    for (int k = 0; k < kWaves; ++k) {
        at_row[k] = {0.0, 1.0};
        turn[k] = scene_sincos(double(k % kShiftHarmonics + 1) * rates[k / kShiftHarmonics]);
    }
    for (ShiftFactor& f : m.factors) f.rank = -1;
    for (int r = 0; r < rows; ++r) {
        m.basis[0][r] = 1.0;
        for (int k = 0; k < kWaves; ++k) {
            m.basis[1 + 2 * k][r] = at_row[k].cos;
            m.basis[2 + 2 * k][r] = at_row[k].sin;
            at_row[k] = {at_row[k].sin * turn[k].cos + at_row[k].cos * turn[k].sin,
                         at_row[k].cos * turn[k].cos - at_row[k].sin * turn[k].sin};
        }
    }
    // The factors are only wanted over the first rows, up to the reach
    // short of all of them.
    const int edge = reach_of(rows) < rows ? reach_of(rows) : rows;
    for (int i = 0, k = 0; i < kBasis; ++i)
        for (int j = i; j < kBasis; ++j, ++k) {
            const double* u = m.basis[i];
            const double* v = m.basis[j];
            double tail = 0.0;
            m.gram_tail[0][k] = 0.0;
            for (int r = 0; r < edge; ++r) m.gram_tail[r + 1][k] = tail += u[rows - 1 - r] * v[rows - 1 - r];
            m.gram_total[k] = dot(u, v, rows);
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

// The running sums of the earlier profile, against the basis, itself and its
// next row.
void prepare_before(RowShiftWork& m, const double* before, int rows) {
    for (int i = 0; i < kBasis; ++i) m.before_basis[i][0] = 0.0;
    m.before_squares[0] = m.before_pairs[0] = 0.0;
    for (int r = 0; r < rows; ++r) {
        for (int i = 0; i < kBasis; ++i) m.before_basis[i][r + 1] = m.before_basis[i][r] + m.basis[i][r] * before[r];
        m.before_squares[r + 1] = m.before_squares[r] + before[r] * before[r];
        m.before_pairs[r + 1] = m.before_pairs[r] + (r + 1 < rows ? before[r] * before[r + 1] : 0.0);
    }
}

// Rows lo..hi of the stretch where the earlier profile, moved by shift, exists.
struct Stretch {
    int lo, hi, n, cut;  // cut: rows after hi
};

Stretch stretch(int rows, double shift) {
    const int lo = shift > 0.0 ? int(std::ceil(shift)) : 0;
    const int hi = shift < 0.0 ? int(std::floor(double(rows - 1) + shift)) : rows - 1;  // inclusive
    return {lo, hi, hi - lo + 1, rows - 1 - hi};
}

// Half the rows at least, and no more left out than the reach, whose ends
// the products of the basis and the factors are kept for.
bool searched(Stretch s, int rows) {
    return s.n >= rows / 2 && s.lo + s.cut <= reach_of(rows);
}

// The Cholesky factor of the basis products over the first n rows, packed by
// rows, as far as they are positive definite; kept for every length searched.
const ShiftFactor& factor(RowShiftWork& m, int rows, int n) {
    ShiftFactor& f = m.factors[rows - n];
    if (f.rank >= 0) return f;
    const double* tail = m.gram_tail[rows - n];
    double* l = f.l;
    f.rank = kBasis;
    for (int i = 0; i < kBasis; ++i) {
        double* li = l + i * (i + 1) / 2;
        for (int j = 0, k = i; j <= i; k += kBasis - 1 - j, ++j) {  // k: the product of terms j and i
            const double* lj = l + j * (j + 1) / 2;
            double t = m.gram_total[k] - tail[k];
            for (int c = 0; c < j; ++c) t -= li[c] * lj[c];
            if (i == j) {
                if (!(t > 1e-9 * double(n))) {
                    f.rank = i;
                    return f;
                }
                li[i] = std::sqrt(t);
            } else {
                li[j] = t / lj[j];
            }
        }
    }
    return f;
}

// Energy per row of a difference over the stretch, of total energy and
// products b with the basis, less its least-squares fit, b' G^-1 b. A stretch
// from row lo is the one from row 0 with each wave turned by lo rows, so b is
// turned back and the factor shared by every stretch of its length.
double unfitted(RowShiftWork& m, Stretch s, int rows, double energy, double (&b)[kBasis]) {
    for (int i = 1; i < kBasis && s.lo > 0; i += 2) {
        const double c = m.basis[i][s.lo], sn = m.basis[i + 1][s.lo], u = b[i];
        b[i] = c * u + sn * b[i + 1];
        b[i + 1] = c * b[i + 1] - sn * u;
    }
    const ShiftFactor& f = factor(m, rows, s.n);
    double y[kBasis];
    for (int i = 0; i < f.rank; ++i) {
        const double* li = f.l + i * (i + 1) / 2;
        double t = b[i];
        for (int k = 0; k < i; ++k) t -= li[k] * y[k];
        y[i] = t / li[i];
        energy -= y[i] * y[i];
    }
    return energy / double(s.n);
}

// before[r - shift] = before[r - whole] + part * (before[r - whole + 1] - before[r - whole]);
// within the stretch both indices are rows, the second only read when part > 0.
struct Split {
    int whole;
    double part;
};

Split split(double shift) {
    const int whole = int(std::ceil(shift));
    return {whole, double(whole) - shift};
}

// Energy per row of now[r] - before[r - shift] left after its least-squares
// fit by the basis, over the rows where before[r - shift] exists: one pass.
double mismatch(RowShiftWork& m, const double* now, const double* before, int rows, double shift) {
    const Stretch s = stretch(rows, shift);
    if (!searched(s, rows)) return HUGE_VAL;
    const Split at = split(shift);
    double* d = m.change;
    for (int r = s.lo; r <= s.hi; ++r) {
        const double* q = before + (r - at.whole);
        d[r] = now[r] - (at.part > 0.0 ? q[0] + at.part * (q[1] - q[0]) : q[0]);
    }
    double b[kBasis];
    for (int i = 0; i < kBasis; ++i) b[i] = dot(m.basis[i] + s.lo, d + s.lo, s.n);
    const double energy = dot(d + s.lo, d + s.lo, s.n);
    return unfitted(m, s, rows, energy, b);
}

// Sums over the stretch of the basis times before[r - lag], from the running
// sums: a wave at row r is the wave at r - lag turned by lag rows, and the
// basis at row |lag| holds that turn (|lag| < rows wherever the stretch is
// searched).
void lagged_basis(const RowShiftWork& m, Stretch s, int lag, double (&out)[kBasis]) {
    const int at = lag < 0 ? -lag : lag;
    const double sign = lag < 0 ? -1.0 : 1.0;
    const int from = s.lo - lag, to = s.hi - lag + 1;
    out[0] = m.before_basis[0][to] - m.before_basis[0][from];
    for (int i = 1; i < kBasis; i += 2) {
        const double c = m.before_basis[i][to] - m.before_basis[i][from];
        const double sn = m.before_basis[i + 1][to] - m.before_basis[i + 1][from];
        const double tc = m.basis[i][at], ts = sign * m.basis[i + 1][at];
        out[i] = c * tc - sn * ts;
        out[i + 1] = c * ts + sn * tc;
    }
}

// As mismatch, from the running sums of both profiles: only the cross
// product of the profiles takes a pass over the rows.
double quick_mismatch(RowShiftWork& m, const double* now, const double* before, int rows, double shift) {
    const Stretch s = stretch(rows, shift);
    if (!searched(s, rows)) return HUGE_VAL;
    const Split at = split(shift);
    const int from = s.lo - at.whole, to = s.hi - at.whole + 1;
    double lagged[kBasis], b[kBasis], cross = 0.0;
    lagged_basis(m, s, at.whole, lagged);
    double before_squares = m.before_squares[to] - m.before_squares[from];
    if (at.part > 0.0) {
        double next[kBasis];
        lagged_basis(m, s, at.whole - 1, next);
        for (int i = 0; i < kBasis; ++i) lagged[i] += at.part * (next[i] - lagged[i]);
        const double keep = 1.0 - at.part;
        before_squares = keep * keep * before_squares +
                         2.0 * at.part * keep * (m.before_pairs[to] - m.before_pairs[from]) +
                         at.part * at.part * (m.before_squares[to + 1] - m.before_squares[from + 1]);
        for (int r = s.lo; r <= s.hi; ++r) {
            const double* q = before + (r - at.whole);
            cross += now[r] * (q[0] + at.part * (q[1] - q[0]));
        }
    } else {
        for (int r = s.lo; r <= s.hi; ++r) cross += now[r] * before[r - at.whole];
    }
    for (int i = 0; i < kBasis; ++i) b[i] = m.now_basis[i][s.hi + 1] - m.now_basis[i][s.lo] - lagged[i];
    const double energy = (m.now_squares[s.hi + 1] - m.now_squares[s.lo]) - 2.0 * cross + before_squares;
    return unfitted(m, s, rows, energy, b);
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
    const double still = mismatch(m, now, before, rows, 0.0);
    if (!(still > kLeastMismatch)) return 0.0;
    prepare_now(m, now, rows);
    prepare_before(m, before, rows);
    const int reach = reach_of(rows);
    double best = still, shift = 0.0;
    auto consider = [&](double s) {
        if (s < -double(reach) || s > double(reach)) return;
        const double e = quick_mismatch(m, now, before, rows, s);
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

double row_shift_mismatch(const double* now, const double* before, int rows, const double (&ripple_rates)[2],
                          double shift, bool from_running_sums, RowShiftWork& m) {
    prepare(m, rows, ripple_rates);
    if (!from_running_sums) return mismatch(m, now, before, rows, shift);
    prepare_now(m, now, rows);
    prepare_before(m, before, rows);
    return quick_mismatch(m, now, before, rows, shift);
}

bool shift_is_global(const double (*now)[KEVRA_MAX_ROWS], const double (*before)[KEVRA_MAX_ROWS], int zones,
                     int rows, double shift, RowShiftWork& m) {
    int helped = 0;
    for (int z = 0; z < zones; ++z) {
        if (!complete(now[z], rows) || !complete(before[z], rows)) return false;
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
