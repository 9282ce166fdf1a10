// Logarithm, sine and cosine from basic double operations only, so that the
// scene answer is the same on every build: libm's results may differ in the
// last bit between processors, and a decision must never hang on that.
#ifndef KEVRA_SCENE_SCENE_MATH_H
#define KEVRA_SCENE_SCENE_MATH_H

#include <cmath>
#include <cstdint>
#include <cstring>

namespace kevra_scene {

constexpr double kPi = 3.14159265358979323846;
constexpr double kLn2 = 0.69314718055994530942;

// Natural logarithm of a positive, finite, normal x.
inline double scene_log(double x) {
    // x = m * 2^e, m in [0.5, 1), read from the bits (exact, as frexp, for
    // the normal numbers a statistic's mean is).
    uint64_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    int e = int((bits >> 52) & 0x7FF) - 1022;
    bits = (bits & ~(UINT64_C(0x7FF) << 52)) | (UINT64_C(1022) << 52);
    double m;
    std::memcpy(&m, &bits, sizeof m);
    if (m < 0.70710678118654752440) {
        m *= 2.0;
        e -= 1;
    }
    // log m = 2 atanh(u) with |u| <= 0.172: the series has converged to
    // double precision by u^21.
    const double u = (m - 1.0) / (m + 1.0);
    const double u2 = u * u;
    double term = u, sum = 0.0;
    for (int k = 1; k <= 21; k += 2) {
        sum += term / double(k);
        term *= u2;
    }
    return double(e) * kLn2 + 2.0 * sum;
}

// A complex amplitude.
struct Phasor {
    double re = 0.0, im = 0.0;
};

struct SinCos {
    double sin, cos;
};

// Sine and cosine of an angle (radians) of modest size (|x| below 1e6).
inline SinCos scene_sincos(double x) {
    const double turns = std::floor(x / (2.0 * kPi) + 0.5);
    double r = x - turns * (2.0 * kPi);  // [-pi, pi]
    // Quarter-turn folding keeps the series short: |r| <= pi/4 after it.
    int quadrant = 0;
    if (r > 0.25 * kPi) {
        quadrant = r > 0.75 * kPi ? 2 : 1;
    } else if (r < -0.25 * kPi) {
        quadrant = r < -0.75 * kPi ? 2 : 3;
    }
    r -= double(quadrant == 3 ? -1 : quadrant) * 0.5 * kPi;
    if (quadrant == 2 && r < -0.25 * kPi) r += 2.0 * kPi;  // r was near -pi
    const double r2 = r * r;
    double s = 0.0, c = 0.0, ts = r, tc = 1.0;
    for (int k = 0; k < 10; ++k) {
        s += ts;
        c += tc;
        ts *= -r2 / double((2 * k + 2) * (2 * k + 3));
        tc *= -r2 / double((2 * k + 1) * (2 * k + 2));
    }
    switch (quadrant) {
        case 1: return {c, -s};
        case 2: return {-s, -c};
        case 3: return {-c, s};
        default: return {s, c};
    }
}

// Angle of (x, y) in (-pi, pi]; 0 for the origin.
inline double scene_atan2(double y, double x) {
    if (x == 0.0 && y == 0.0) return 0.0;
    const double ax = std::fabs(x), ay = std::fabs(y);
    const bool swap = ay > ax;
    double t = swap ? ax / ay : ay / ax;  // in [0, 1]
    // atan t = 2 atan(t / (1 + sqrt(1 + t^2))) brings t below 0.42, then the
    // series converges to double precision within 20 terms.
    t = t / (1.0 + std::sqrt(1.0 + t * t));
    const double t2 = t * t;
    double term = t, sum = 0.0;
    for (int k = 1; k <= 41; k += 2) {
        sum += term / double(k);
        term *= -t2;
    }
    double a = 2.0 * sum;
    if (swap) a = 0.5 * kPi - a;
    if (x < 0.0) a = kPi - a;
    return y < 0.0 ? -a : a;
}

// sin(x) / x, 1 at 0.
inline double scene_sinc(double x) {
    if (std::fabs(x) < 1e-8) return 1.0;
    return scene_sincos(x).sin / x;
}

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_SCENE_MATH_H
