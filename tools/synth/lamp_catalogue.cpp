#include "lamp_catalogue.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace kevra_tool {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kHarmonics = 12;  // up to 24 x mains: the waveforms' kinks need a few
constexpr int kSamples = 4096;  // per half cycle of the supply

using Waveform = std::function<double(double)>;  // light at supply phase x, one half cycle [0, pi)

// Fourier series of a waveform over the half cycle, scaled to mean 1, and the
// flicker metrics of that series (what the synthesis actually uses).
// abrupt: the waveform switches on from darkness, where the truncated series
// would ring below zero; Lanczos factors damp its upper harmonics.
Lamp make_lamp(const char* name, const char* description, const Waveform& waveform, bool abrupt = false) {
    Lamp lamp{name, description, {}, {}, 0.0, 0.0};
    std::vector<double> samples(kSamples);
    double mean = 0.0;
    for (int i = 0; i < kSamples; ++i) {
        samples[size_t(i)] = waveform(kPi * (i + 0.5) / kSamples);
        mean += samples[size_t(i)] / kSamples;
    }
    for (int k = 1; k <= kHarmonics; ++k) {
        double c = 0.0, s = 0.0;
        for (int i = 0; i < kSamples; ++i) {
            const double x = kPi * (i + 0.5) / kSamples;
            c += samples[size_t(i)] * std::cos(2.0 * k * x);
            s += samples[size_t(i)] * std::sin(2.0 * k * x);
        }
        const double t = kPi * k / (kHarmonics + 1);
        const double sigma = abrupt ? std::sin(t) / t : 1.0;
        c *= 2.0 / kSamples / mean * sigma;
        s *= 2.0 / kSamples / mean * sigma;
        const double amplitude = std::hypot(c, s);
        if (amplitude < 1e-9) continue;
        // light = 1 + c cos + s sin = 1 - A cos(2kx - phase) with A = |(c, s)|.
        lamp.amplitude.resize(size_t(k), 0.0);
        lamp.phase.resize(size_t(k), 0.0);
        lamp.amplitude[size_t(k - 1)] = amplitude;
        lamp.phase[size_t(k - 1)] = std::atan2(-s, -c);
    }
    double lo = 1e300, hi = -1e300, above = 0.0;
    for (int i = 0; i < kSamples; ++i) {
        const double light = lamp_light_mean(lamp, kPi * i / kSamples, kPi * i / kSamples);
        lo = std::min(lo, light);
        hi = std::max(hi, light);
        above += std::max(light - 1.0, 0.0) / kSamples;
    }
    lo = std::max(lo, 0.0);
    lamp.percent_flicker = hi + lo > 0.0 ? 100.0 * (hi - lo) / (hi + lo) : 0.0;
    lamp.flicker_index = above;  // the total area over a cycle is the mean, 1
    return lamp;
}

// Light between 1 - m and 1 + m: percent flicker 100 m. delay: how far the
// light's minimum trails the supply's zero crossing (supply radians).
Waveform sinusoid(double m, double delay) {
    return [=](double x) { return 1.0 - m * std::cos(2.0 * (x - delay)); };
}

// A share s of the light follows |sin| of the supply, the rest is steady.
Waveform partly_rectified(double s) {
    return [=](double x) { return 1.0 - s + s * kPi / 2.0 * std::fabs(std::sin(x)); };
}

// A string of LEDs on the rectified supply lights only while the supply
// exceeds the string's forward voltage (threshold, as a share of the peak).
Waveform led_string(double threshold) {
    return [=](double x) { return std::max(std::fabs(std::sin(x)) - threshold, 0.0); };
}

// Capacitor ripple: discharging linearly from each supply peak, recharged
// over the last fifth of the half cycle before the next; r peak to peak
// relative to the mean.
Waveform capacitor_ripple(double r) {
    return [=](double x) {
        const double t = std::fmod(x - kPi / 2.0 + kPi, kPi) / kPi;  // 0 at a peak
        return t < 0.8 ? 1.0 + r * (0.5 - t / 0.8) : 1.0 + r * (-0.5 + (t - 0.8) / 0.2);
    };
}

// The threshold of led_string whose flicker index is fi: the index falls
// monotonically from that of |sin| as the threshold drops, so bisect.
double threshold_for_flicker_index(double fi) {
    double lo = 0.0, hi = 0.99;
    for (int i = 0; i < 50; ++i) {
        const double mid = 0.5 * (lo + hi);
        double mean = 0.0, above = 0.0;
        std::vector<double> v(kSamples);
        for (int j = 0; j < kSamples; ++j) mean += (v[size_t(j)] = led_string(mid)(kPi * (j + 0.5) / kSamples)) / kSamples;
        for (double each : v) above += std::max(each - mean, 0.0) / kSamples;
        (above / mean < fi ? lo : hi) = mid;
    }
    return 0.5 * (lo + hi);
}

std::vector<Lamp> build_catalogue() {
    std::vector<Lamp> lamps;
    lamps.push_back(make_lamp("steady", "daylight, DC-driven LED: no ripple", [](double) { return 1.0; }));
    lamps.push_back(make_lamp("incandescent", "tungsten filament: 11% sinusoidal ripple, trailing the supply",
                              sinusoid(0.11, kPi / 4.0)));
    lamps.push_back(make_lamp("fluorescent-magnetic", "fluorescent tube on a choke ballast: 46% modulation",
                              partly_rectified(0.54)));
    lamps.push_back(make_lamp("fluorescent-electronic", "fluorescent tube or CFL on an electronic ballast: 5% ripple",
                              capacitor_ripple(0.10)));
    lamps.push_back(make_lamp("led-rectified", "LED string on the rectified supply: dark near each zero crossing",
                              led_string(threshold_for_flicker_index(0.32)), true));
    lamps.push_back(make_lamp("led-driver", "LED on a good constant-current driver: 2% ripple", sinusoid(0.02, 0.0)));
    return lamps;
}

}  // namespace

const std::vector<Lamp>& lamp_catalogue() {
    static const std::vector<Lamp> lamps = build_catalogue();
    return lamps;
}

const Lamp* find_lamp(const std::string& name) {
    for (const Lamp& lamp : lamp_catalogue())
        if (lamp.name == name) return &lamp;
    return nullptr;
}

double lamp_light_mean(const Lamp& lamp, double x0, double x1) {
    // Mean of cos(m x - p) over [x0, x1] is (sin(m x1 - p) - sin(m x0 - p)) / (m (x1 - x0)).
    double ripple = 0.0;
    const double width = x1 - x0;
    for (size_t k = 0; k < lamp.amplitude.size(); ++k) {
        if (lamp.amplitude[k] == 0.0) continue;
        const double m = 2.0 * double(k + 1);
        const double p = lamp.phase[k];
        ripple += lamp.amplitude[k] * (width == 0.0 ? std::cos(m * x0 - p)
                                                    : (std::sin(m * x1 - p) - std::sin(m * x0 - p)) / (m * width));
    }
    return 1.0 - ripple;
}

}  // namespace kevra_tool
