#include "sensor_noise.h"

#include <cmath>
#include <vector>

namespace kevra_tool {
namespace {

constexpr double kPi = 3.14159265358979323846;

uint64_t splitmix64(uint64_t& x) {
    uint64_t z = (x += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

uint64_t rotl(uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }

// Inverse of the standard normal distribution (Acklam's rational
// approximation, relative error below 1.2e-9).
double normal_quantile(double p) {
    static const double a[] = {-3.969683028665376e+01, 2.209460984245205e+02, -2.759285104469687e+02,
                               1.383577518672690e+02,  -3.066479806614716e+01, 2.506628277459239e+00};
    static const double b[] = {-5.447609879822406e+01, 1.615858368580409e+02, -1.556989798598866e+02,
                               6.680131188771972e+01,  -1.328068155288572e+01};
    static const double c[] = {-7.784894002430293e-03, -3.223964580411365e-01, -2.400758277161838e+00,
                               -2.549732539343734e+00, 4.374664141464968e+00,  2.938163982698783e+00};
    static const double d[] = {7.784695709041462e-03, 3.224671290700398e-01, 2.445134137142996e+00,
                               3.754408661907416e+00};
    const double low = 0.02425;
    if (p < low) {
        const double q = std::sqrt(-2.0 * std::log(p));
        return (((((c[0] * q + c[1]) * q + c[2]) * q + c[3]) * q + c[4]) * q + c[5]) /
               ((((d[0] * q + d[1]) * q + d[2]) * q + d[3]) * q + 1.0);
    }
    if (p > 1.0 - low) return -normal_quantile(1.0 - p);
    const double q = p - 0.5, r = q * q;
    return (((((a[0] * r + a[1]) * r + a[2]) * r + a[3]) * r + a[4]) * r + a[5]) * q /
           (((((b[0] * r + b[1]) * r + b[2]) * r + b[3]) * r + b[4]) * r + 1.0);
}

}  // namespace

double BoxMullerNormal::operator()() {
    if (has_spare_) {
        has_spare_ = false;
        return spare_;
    }
    const double u1 = (double(rng_() >> 11) + 1.0) * 0x1.0p-53;  // (0, 1]
    const double u2 = double(rng_() >> 11) * 0x1.0p-53;
    const double r = std::sqrt(-2.0 * std::log(u1));
    spare_ = r * std::sin(2.0 * kPi * u2);
    has_spare_ = true;
    return r * std::cos(2.0 * kPi * u2);
}

FastNoise::FastNoise(uint64_t seed) {
    for (uint64_t& s : s_) s = splitmix64(seed);
}

uint64_t FastNoise::next() {
    const uint64_t result = rotl(s_[1] * 5, 7) * 9;
    const uint64_t t = s_[1] << 17;
    s_[2] ^= s_[0];
    s_[3] ^= s_[1];
    s_[1] ^= s_[2];
    s_[0] ^= s_[3];
    s_[2] ^= t;
    s_[3] = rotl(s_[3], 45);
    return result;
}

const double* FastNoise::quantiles() {
    static const std::vector<double> table = [] {
        std::vector<double> q(65536);
        for (size_t i = 0; i < q.size(); ++i) q[i] = normal_quantile((double(i) + 0.5) / 65536.0);
        return q;
    }();
    return table.data();
}

int FastNoise::poisson(double mean) {
    // Walk the cumulative distribution until it passes a uniform draw.
    const double u = uniform();
    double p = std::exp(-mean), cumulative = p;
    int k = 0;
    while (u > cumulative && k < 1000) {
        ++k;
        p *= mean / k;
        cumulative += p;
    }
    return k;
}

}  // namespace kevra_tool
