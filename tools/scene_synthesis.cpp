#include "scene_synthesis.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <string>

#include "default_tuning.h"
#include "input_error.h"

namespace kevra_tool {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr uint32_t kMax24 = 0x00FFFFFF;

[[noreturn]] void bad(const std::string& option, const std::string& problem) {
    throw InputError("synth", option, problem);
}

// Antiderivative of |sin x|: continuous, rising by 2 per half turn.
double rectified_integral(double x) {
    const double turns = std::floor(x / kPi);
    return 2.0 * turns + 1.0 - std::cos(x - kPi * turns);
}

// Ripple of the lamp, mean 1 and minimum 0 at the supply's zero crossings;
// returns its mean over [start, start + duration].
double ripple_mean(const Scene& s, double start, double duration) {
    const double k = 2.0 * kPi * s.mains_frequency * 1e-6;  // supply phase per us
    const double a = k * (start - s.mains_phase);
    const double b = k * (start + duration - s.mains_phase);
    if (s.harmonics.empty()) {
        // (pi/2)|sin| has mean 1.
        if (duration <= 0.0) return kPi / 2.0 * std::fabs(std::sin(a));
        return kPi / 2.0 * (rectified_integral(b) - rectified_integral(a)) / (b - a);
    }
    double norm = 0.0, sum = 0.0;
    for (size_t h = 0; h < s.harmonics.size(); ++h) {
        const double m = 2.0 * double(h + 1);  // harmonic h+1 is at 2(h+1) x mains
        norm += std::fabs(s.harmonics[h]);
        sum += s.harmonics[h] *
               (duration <= 0.0 ? std::cos(m * a) : (std::sin(m * b) - std::sin(m * a)) / (m * (b - a)));
    }
    return 1.0 - sum / norm;
}

// Box-Muller over a 64-bit Mersenne Twister: the same pixels for the same
// seed with any standard library.
class Gaussian {
public:
    explicit Gaussian(uint64_t seed) : rng_(seed) {}
    double operator()() {
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

private:
    std::mt19937_64 rng_;
    double spare_ = 0.0;
    bool has_spare_ = false;
};

}  // namespace

void check_scene(const Scene& s) {
    if (!(s.mains_frequency > 0.0 && s.mains_frequency < 1000.0)) bad("--mains", "expected a frequency in (0, 1000) Hz");
    if (!std::isfinite(s.mains_phase)) bad("--mains-phase", "expected a finite time");
    if (!(s.depth >= 0.0 && s.depth <= 1.0)) bad("--depth", "expected a share in 0..1");
    if (!s.harmonics.empty()) {
        if (s.harmonics.size() != 3) bad("--harmonics", "expected three amplitudes (2, 4 and 6 x mains)");
        double norm = 0.0;
        for (double a : s.harmonics) norm += std::fabs(a);
        if (!(norm > 0.0 && std::isfinite(norm))) bad("--harmonics", "expected finite amplitudes, not all 0");
    }
    if (!(s.exposure_time >= 0.0f && std::isfinite(s.exposure_time))) bad("--exposure", "expected a time >= 0 us");
    if (!(s.line_time > 0.0f && std::isfinite(s.line_time))) bad("--line-time", "expected a time > 0 us");
    if (!std::isfinite(s.start_time)) bad("--start-time", "expected a finite time");
    if (s.rows < 0 || s.rows > KEVRA_MAX_ROWS) bad("--rows", "expected 0..256");
    if (s.lines_per_row < 1 || s.lines_per_row > 4096) bad("--lines-per-row", "expected 1..4096");
    if (s.zone_width < 1 || s.zone_width > 8192) bad("--zone-width", "expected 1..8192");
    if (s.bit_depth < 1 || s.bit_depth > 16) bad("--bit-depth", "expected 1..16");
    if (!(s.level >= 0.0 && std::isfinite(s.level))) bad("--level", "expected a value >= 0");
    if (!(s.noise >= 0.0 && std::isfinite(s.noise))) bad("--noise", "expected a value >= 0");
    for (double g : s.zone_gain)
        if (!(g >= 0.0 && std::isfinite(g))) bad("--zone-gain", "expected six values >= 0");
    for (double g : s.channel_gain)
        if (!(g >= 0.0 && std::isfinite(g))) bad("--channel-gain", "expected four values >= 0");
    for (int z : s.empty_zones)
        if (z < 0 || z > 5) bad("--empty-zones", "expected zone numbers 0..5");
    // Channels alternate by line and by column (a 2x2 colour pattern), so one
    // sample holds at most ceil(lines/2) x ceil(width/2) pixels.
    const uint64_t pixels = uint64_t(s.lines_per_row + 1) / 2 * (uint64_t(s.zone_width + 1) / 2);
    const uint64_t largest = pixels * ((uint64_t(1) << s.bit_depth) - 1);
    if (largest > kMax24)
        bad("--zone-width", "a zone sum could reach " + std::to_string(largest) +
                                ", beyond 24 bits; use fewer lines per row, a narrower zone or fewer bits");
}

double lamp_mean(const Scene& s, double start, double duration) {
    return (1.0 - s.depth) + s.depth * ripple_mean(s, start, duration);
}

Capture synthesize(const Scene& s) {
    check_scene(s);
    Capture c;
    c.parameter = default_parameter();
    c.parameter.row_num = s.rows;
    c.parameter.ratio_table[0] = float((1 << s.bit_depth) - 1);  // levels as fractions of full scale
    c.parameter.exposure_time = s.exposure_time;
    c.parameter.line_time = s.line_time;
    c.start_time = s.start_time;
    c.config = default_config();
    c.config.mains_frequency = int32_t(std::lround(s.mains_frequency));
    c.config.lines_per_row = s.lines_per_row;
    c.confidence_input = default_confidence_input(c.parameter, c.start_time, c.config);

    const double full_scale = double((1 << s.bit_depth) - 1);
    bool empty[6] = {};
    for (int z : s.empty_zones) empty[z] = true;
    Gaussian gaussian(s.seed);
    c.sum_stream.assign(size_t(s.rows) * 24, 0);
    c.count_stream.assign(size_t(s.rows) * 24, 0);
    for (int r = 0; r < s.rows; ++r) {
        uint32_t sum[24] = {}, count[24] = {}, clipped[24] = {};  // word 4 * zone + channel
        for (int l = 0; l < s.lines_per_row; ++l) {
            const int line = r * s.lines_per_row + l;
            const double light =
                lamp_mean(s, double(s.start_time) + double(line) * double(s.line_time), double(s.exposure_time));
            for (int z = 0; z < 6; ++z) {
                if (empty[z]) continue;
                for (int x = 0; x < s.zone_width; ++x) {
                    const int channel = 2 * (line & 1) + (x & 1);
                    const double mean = s.level * s.zone_gain[size_t(z)] * s.channel_gain[size_t(channel)] * light;
                    const double value = std::clamp(std::floor(mean + s.noise * gaussian() + 0.5), 0.0, full_scale);
                    const int w = 4 * z + channel;
                    sum[w] += uint32_t(value);
                    count[w] += 1;
                    clipped[w] += value == full_scale ? 1 : 0;
                }
            }
        }
        for (int w = 0; w < 24; ++w) {
            c.sum_stream[size_t(r) * 24 + size_t(w)] = sum[w];
            c.count_stream[size_t(r) * 24 + size_t(w)] = std::min<uint32_t>(clipped[w], 255) << 24 | count[w];
        }
    }
    return c;
}

}  // namespace kevra_tool
