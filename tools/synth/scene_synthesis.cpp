#include "scene_synthesis.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "default_tuning.h"
#include "input_error.h"
#include "picture_sampling.h"
#include "sensor_noise.h"

namespace kevra_tool {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr uint32_t kMax24 = 0x00FFFFFF;
constexpr uint64_t kFrameSeedStep = 0x9E3779B97F4A7C15ull;

[[noreturn]] void bad(const std::string& option, const std::string& problem) {
    throw InputError("synth", option, problem);
}

// Antiderivative of |sin x|: continuous, rising by 2 per half turn.
double rectified_integral(double x) {
    const double turns = std::floor(x / kPi);
    return 2.0 * turns + 1.0 - std::cos(x - kPi * turns);
}

// Ripple of the --depth/--harmonics lamp, mean 1 and minimum 0 at the
// supply's zero crossings; returns its mean over [start, start + duration].
double ripple_mean(const Scene& s, double start, double duration) {
    const double k = 2.0 * kPi * (s.mains_frequency * (1.0 + s.mains_drift)) * 1e-6;  // supply phase per us
    const double a = k * (start - s.mains_phase);
    const double b = k * (start + duration - s.mains_phase);
    if (s.lamp) return lamp_light_mean(*s.lamp, a, duration <= 0.0 ? a : b);
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

const std::vector<SensorMode> kSensorModes = {
    {"4000-line", "full-resolution readout: 4000 lines of 7.5 us, 16 lines per row (250 rows)", 4000, 7.5f, 16},
    {"2000-line", "2 x 2 binned readout: 2000 lines of 7.5 us, 8 lines per row (250 rows)", 2000, 7.5f, 8},
    {"1000-line", "video readout: 1000 lines of 15 us, 4 lines per row (250 rows)", 1000, 15.0f, 4},
    {"3072-line", "the default geometry: 3072 lines of 10 us, 12 lines per row (256 rows)", 3072, 10.0f, 12},
};

// Everything that changes from one frame of a sequence to the next.
struct FrameState {
    double time_offset = 0.0;  // us since frame 0
    double shift = 0.0;        // lines the picture has moved down
    float exposure_time = 0.0f;
    double electrons_scale = 1.0;  // gain making up for a shorter exposure
    uint64_t seed = 0;
    int column_shift = 0;      // the picture's, right
    double light_scale = 1.0;  // all light, after a brightness step
    double object_top = 0.0, object_left = 0.0;
};

// What draws a scene's content, made once per scene.
struct SceneContent {
    std::unique_ptr<PictureSampler> picture;
    std::unique_ptr<ObjectPainter> object;
    std::vector<double> lamp_weights;  // empty: the lamp lights every column

    explicit SceneContent(const Scene& s) {
        const int lines = s.rows * s.lines_per_row;
        if (s.picture) picture = std::make_unique<PictureSampler>(*s.picture, s.window, lines, 6, s.zone_width);
        if (s.object) object = std::make_unique<ObjectPainter>(*s.object, lines, 6, s.zone_width);
        if (s.lamp_coverage) lamp_weights = kevra_tool::lamp_weights(*s.lamp_coverage, 6 * s.zone_width);
    }
};

bool confounded(const Scene& s, const FrameState& f) {
    return s.object || s.lamp_coverage || f.column_shift != 0 || f.light_scale != 1.0;
}

// One zone's pixels of one line: draw each, round, clip, and add to the
// words of its two channels (even columns first).
template <class Draw>
void accumulate(const double* mean, int width, double full_scale, Draw draw, uint32_t* sum, uint32_t* count,
                uint32_t* clipped) {
    for (int x = 0; x < width; ++x) {
        const double value = std::clamp(std::floor(draw(mean[x]) + 0.5), 0.0, full_scale);
        const int k = x & 1;
        sum[k] += uint32_t(value);
        count[k] += 1;
        clipped[k] += value == full_scale ? 1 : 0;
    }
}

double line_light(const Scene& s, const FrameState& f, int line) {
    return lamp_mean(s, double(s.start_time) + f.time_offset + double(line) * double(s.line_time),
                     double(f.exposure_time));
}

// One line's pixel means under the confounders: the picture (or the zone
// gains) shifted, the object over it, the lamp's light weighted per column.
void confounded_means(const Scene& s, const SceneContent& sc, const FrameState& f, int line, double light,
                      const double* channel_level, std::vector<float>& content, std::vector<float>& scratch,
                      std::vector<double>& mean) {
    if (sc.picture) sc.picture->line(line, f.shift, content.data());
    else
        for (size_t i = 0; i < content.size(); ++i) content[i] = float(s.zone_gain[i / size_t(s.zone_width)]);
    shift_line(content, f.column_shift, scratch);
    if (sc.object) sc.object->paint(line, f.object_top, f.object_left, content);
    const int parity = line & 1;
    for (size_t i = 0; i < content.size(); ++i) {
        const int channel = 2 * parity + int((i % size_t(s.zone_width)) & 1);
        const double lit = sc.lamp_weights.empty() ? light : 1.0 + sc.lamp_weights[i] * (light - 1.0);
        mean[i] = channel_level[channel] * double(content[i]) * lit * f.light_scale;
    }
}

Capture synthesize_frame(const Scene& s, const SceneContent& sc, const FrameState& f) {
    const PictureSampler* sampler = sc.picture.get();
    Capture c;
    c.parameter = default_parameter();
    c.parameter.row_num = s.rows;
    c.parameter.ratio_table[0] = float((1 << s.bit_depth) - 1);  // levels as fractions of full scale
    c.parameter.exposure_time = f.exposure_time;
    c.parameter.line_time = s.line_time;
    c.start_time = s.start_time;
    c.config = default_config();
    c.config.mains_frequency = int32_t(std::lround(s.mains_frequency));
    c.config.lines_per_row = s.lines_per_row;
    c.confidence_input = default_confidence_input(c.parameter, c.start_time, c.config);

    const double full_scale = double((1 << s.bit_depth) - 1);
    bool empty[6] = {};
    for (int z : s.empty_zones) empty[z] = true;
    // Scenes made only of the first synthetic captures' options keep their
    // generator, and with it their pixels.
    const bool legacy = sampler == nullptr && s.full_well == 0.0 && !s.lamp && s.daylight == 0.0 && s.mains_drift == 0.0;
    BoxMullerNormal legacy_normal(f.seed);
    FastNoise noise(f.seed);
    const double electrons_per_value = s.full_well / full_scale * f.electrons_scale;  // 0: no shot noise
    const double read_variance = s.noise * s.noise;
    // Below this many electrons the normal approximation of Poisson is poor.
    constexpr double kExactPoisson = 16.0;
    const auto legacy_draw = [&](double mean) { return mean + s.noise * legacy_normal(); };
    const auto read_draw = [&](double mean) { return mean + s.noise * noise.normal(); };
    const auto shot_draw = [&](double mean) {
        if (mean * electrons_per_value < kExactPoisson)
            return noise.poisson(std::max(mean, 0.0) * electrons_per_value) / electrons_per_value + s.noise * noise.normal();
        return mean + std::sqrt(mean / electrons_per_value + read_variance) * noise.normal();
    };

    double zone_level[6][4];  // level x zone gain x channel gain, without a picture
    double channel_level[4];  // level x channel gain, times the picture's content
    for (int ch = 0; ch < 4; ++ch) {
        channel_level[ch] = s.level * s.channel_gain[size_t(ch)];
        for (int z = 0; z < 6; ++z) zone_level[z][ch] = s.level * s.zone_gain[size_t(z)] * s.channel_gain[size_t(ch)];
    }
    const size_t columns = size_t(6 * s.zone_width);
    const bool confounders = confounded(s, f);
    std::vector<float> content(sampler || confounders ? columns : 0), scratch;
    std::vector<double> mean(columns);

    c.sum_stream.assign(size_t(s.rows) * 24, 0);
    c.count_stream.assign(size_t(s.rows) * 24, 0);
    for (int r = 0; r < s.rows; ++r) {
        uint32_t sum[24] = {}, count[24] = {}, clipped[24] = {};  // word 4 * zone + channel
        for (int l = 0; l < s.lines_per_row; ++l) {
            const int line = r * s.lines_per_row + l;
            const int parity = line & 1;
            const double light = line_light(s, f, line);
            if (confounders) {
                confounded_means(s, sc, f, line, light, channel_level, content, scratch, mean);
            } else {
                if (sampler) sampler->line(line, f.shift, content.data());
                for (int z = 0; z < 6; ++z) {
                    for (int x = 0; x < s.zone_width; ++x) {
                        const int channel = 2 * parity + (x & 1);
                        const size_t i = size_t(z * s.zone_width + x);
                        mean[i] = sampler ? channel_level[channel] * double(content[i]) * light : zone_level[z][channel] * light;
                    }
                }
            }
            for (int z = 0; z < 6; ++z) {
                if (empty[z]) continue;
                const double* m = &mean[size_t(z * s.zone_width)];
                const int w = 4 * z + 2 * parity;
                if (legacy)
                    accumulate(m, s.zone_width, full_scale, legacy_draw, &sum[w], &count[w], &clipped[w]);
                else if (electrons_per_value == 0.0)
                    accumulate(m, s.zone_width, full_scale, read_draw, &sum[w], &count[w], &clipped[w]);
                else
                    accumulate(m, s.zone_width, full_scale, shot_draw, &sum[w], &count[w], &clipped[w]);
            }
        }
        for (int w = 0; w < 24; ++w) {
            c.sum_stream[size_t(r) * 24 + size_t(w)] = sum[w];
            c.count_stream[size_t(r) * 24 + size_t(w)] = std::min<uint32_t>(clipped[w], 255) << 24 | count[w];
        }
    }
    return c;
}

double visible_ripple(const Scene& s, const SceneContent& sc, const FrameState& f) {
    const int lines = s.rows * s.lines_per_row;
    if (lines == 0) return 0.0;
    double lo = std::numeric_limits<double>::infinity(), hi = -lo, total = 0.0;
    for (int line = 0; line < lines; ++line) {
        const double light = line_light(s, f, line);
        lo = std::min(lo, light);
        hi = std::max(hi, light);
        total += light;
    }
    const double mean = total / lines;
    if (!sc.lamp_weights.empty()) return partial_lamp_ripple(sc.lamp_weights, s.zone_width, lo, hi, mean);
    return mean > 0.0 ? (hi - lo) / mean : 0.0;
}

// Frame n's start, ns after frame 0's.
int64_t frame_offset_ns(int n, double fps) { return int64_t(std::llround(double(n) * 1e9 / fps)); }

// Frame n's shake, brightness and object position.
void place_confounders(const Scene& s, const SequenceOptions& o, const SceneContent& content, int n, FrameState& f) {
    Displacement shake;
    if (o.jitter_lines > 0.0 || o.jitter_columns > 0.0) {
        shake = jitter(s.seed, n, o.jitter_lines, o.jitter_columns);
        f.shift += shake.lines;
        f.column_shift = shake.columns;
    }
    if (o.brightness_step_frame >= 0 && n >= o.brightness_step_frame) f.light_scale = o.brightness_step;
    if (content.object) {
        f.object_top = content.object->top0() + s.object->lines_per_frame * n + shake.lines;
        f.object_left = content.object->left0() + s.object->columns_per_frame * n + shake.columns;
    }
}

}  // namespace

const std::vector<SensorMode>& sensor_modes() { return kSensorModes; }

const SensorMode* find_sensor_mode(const std::string& name) {
    for (const SensorMode& m : kSensorModes)
        if (name == m.name) return &m;
    return nullptr;
}

void check_scene(const Scene& s) {
    if (!(s.mains_frequency > 0.0 && s.mains_frequency < 1000.0)) bad("--mains", "expected a frequency in (0, 1000) Hz");
    if (!(std::fabs(s.mains_drift) <= 0.05)) bad("--mains-drift", "expected a fraction in -0.05..0.05");
    if (!std::isfinite(s.mains_phase)) bad("--mains-phase", "expected a finite time");
    if (!(s.depth >= 0.0 && s.depth <= 1.0)) bad("--depth", "expected a share in 0..1");
    if (!s.harmonics.empty()) {
        if (s.harmonics.size() != 3) bad("--harmonics", "expected three amplitudes (2, 4 and 6 x mains)");
        double norm = 0.0;
        for (double a : s.harmonics) norm += std::fabs(a);
        if (!(norm > 0.0 && std::isfinite(norm))) bad("--harmonics", "expected finite amplitudes, not all 0");
    }
    if (s.lamp && s.lamp->amplitude.size() != s.lamp->phase.size()) bad("--lamp", "malformed lamp");
    if (!(s.daylight >= 0.0 && s.daylight <= 1.0)) bad("--daylight", "expected a share in 0..1");
    if (!(s.exposure_time >= 0.0f && std::isfinite(s.exposure_time))) bad("--exposure", "expected a time >= 0 us");
    if (!(s.line_time > 0.0f && std::isfinite(s.line_time))) bad("--line-time", "expected a time > 0 us");
    if (!std::isfinite(s.start_time)) bad("--start-time", "expected a finite time");
    if (s.rows < 0 || s.rows > KEVRA_MAX_ROWS) bad("--rows", "expected 0..256");
    if (s.lines_per_row < 1 || s.lines_per_row > 4096) bad("--lines-per-row", "expected 1..4096");
    if (s.zone_width < 1 || s.zone_width > 8192) bad("--zone-width", "expected 1..8192");
    if (s.bit_depth < 1 || s.bit_depth > 16) bad("--bit-depth", "expected 1..16");
    if (!(s.level >= 0.0 && std::isfinite(s.level))) bad("--level", "expected a value >= 0");
    if (!(s.noise >= 0.0 && std::isfinite(s.noise))) bad("--noise", "expected a value >= 0");
    if (!(s.full_well >= 0.0 && s.full_well <= 1e9)) bad("--full-well", "expected 0..1e9 electrons");
    const auto [wx, wy, ww, wh] = s.window;
    const double slack = 1e-9;
    if (!(wx >= 0.0 && wy >= 0.0 && ww > 0.0 && wh > 0.0 && wx + ww <= 1.0 + slack && wy + wh <= 1.0 + slack))
        bad("--window", "expected x,y,width,height as fractions of the picture, inside it");
    for (double g : s.zone_gain)
        if (!(g >= 0.0 && std::isfinite(g))) bad("--zone-gain", "expected six values >= 0");
    for (double g : s.channel_gain)
        if (!(g >= 0.0 && std::isfinite(g))) bad("--channel-gain", "expected four values >= 0");
    for (int z : s.empty_zones)
        if (z < 0 || z > 5) bad("--empty-zones", "expected zone numbers 0..5");
    if (s.lamp_coverage) check_lamp_coverage(*s.lamp_coverage);
    if (s.object) check_object(*s.object);
    // Channels alternate by line and by column (a 2x2 colour pattern), so one
    // sample holds at most ceil(lines/2) x ceil(width/2) pixels.
    const uint64_t pixels = uint64_t(s.lines_per_row + 1) / 2 * (uint64_t(s.zone_width + 1) / 2);
    const uint64_t largest = pixels * ((uint64_t(1) << s.bit_depth) - 1);
    if (largest > kMax24)
        bad("--zone-width", "a zone sum could reach " + std::to_string(largest) +
                                ", beyond 24 bits; use fewer lines per row, a narrower zone or fewer bits");
}

void check_sequence(const Scene& s, const SequenceOptions& o) {
    if (o.frames < 1 || o.frames > 1000000) bad("--frames", "expected 1..1000000");
    if (!(o.fps > 0.0 && o.fps <= 100000.0)) bad("--fps", "expected a rate in (0, 100000] frames per second");
    if (!std::isfinite(o.motion_lines)) bad("--motion", "expected a finite number of lines per frame");
    if (o.motion_lines != 0.0 && !s.picture) bad("--motion", "moves a picture: give one with --scene");
    if (o.exposure_change_frame != -1) {
        if (o.exposure_change_frame < 0 || o.exposure_change_frame >= o.frames)
            bad("--exposure-change", "expected a frame 0.." + std::to_string(o.frames - 1));
        if (!(o.exposure_after >= 0.0f && std::isfinite(o.exposure_after)))
            bad("--exposure-change", "expected a time >= 0 us");
        if (s.full_well > 0.0 && s.exposure_time > 0.0f && o.exposure_after == 0.0f)
            bad("--exposure-change", "a zero exposure collects no electrons");
    }
    if (!(o.exposure_ramp >= 0.5 && o.exposure_ramp <= 2.0)) bad("--exposure-ramp", "expected a factor per frame in 0.5..2");
    if (o.exposure_ramp != 1.0 && o.exposure_change_frame != -1)
        bad("--exposure-ramp", "give either a ramp or --exposure-change, not both");
    if (o.brightness_step_frame != -1) {
        if (o.brightness_step_frame < 1 || o.brightness_step_frame >= o.frames)
            bad("--brightness-step", "expected a frame 1.." + std::to_string(o.frames - 1));
        if (!(o.brightness_step > 0.0 && o.brightness_step <= 100.0)) bad("--brightness-step", "expected a factor in (0, 100]");
    }
    if (!(o.jitter_lines >= 0.0 && o.jitter_lines <= 1e5 && o.jitter_columns >= 0.0 && o.jitter_columns <= 1e5))
        bad("--jitter", "expected LINES,COLUMNS in 0..100000");
    if ((o.jitter_lines > 0.0 || o.jitter_columns > 0.0) && !s.picture && !s.object)
        bad("--jitter", "shakes a picture or an object: give --scene or --object");
    const double span_ns = double(o.frames - 1) * 1e9 / o.fps;
    if (o.first_timestamp_ns >= 0 && double(o.first_timestamp_ns) + span_ns > 9.2e18)
        bad("--timestamp", "the last frame's timestamp would overflow");
}

double lamp_mean(const Scene& s, double start, double duration) {
    const double lamp = s.lamp ? ripple_mean(s, start, duration) : (1.0 - s.depth) + s.depth * ripple_mean(s, start, duration);
    return s.daylight > 0.0 ? (1.0 - s.daylight) * lamp + s.daylight : lamp;
}

Capture synthesize(const Scene& s) {
    check_scene(s);
    const SceneContent content(s);
    FrameState f;
    f.exposure_time = s.exposure_time;
    f.seed = s.seed;
    if (content.object) f.object_top = content.object->top0(), f.object_left = content.object->left0();
    return synthesize_frame(s, content, f);
}

void synthesize_sequence(const Scene& s, const SequenceOptions& o, const std::function<void(int, SynthFrame&&)>& each) {
    check_scene(s);
    check_sequence(s, o);
    const SceneContent content(s);
    int64_t first = o.first_timestamp_ns;
    if (first < 0) {
        // Somewhere between 1000 s and 12 days into the clock, to the ns.
        const uint64_t h = mix64(s.seed);
        first = int64_t(1000 + h % 1000000) * 1000000000 + int64_t((h >> 32) % 1000000000);
    }
    double ramp = 1.0;  // exposure_ramp^n
    for (int n = 0; n < o.frames; ++n, ramp *= o.exposure_ramp) {
        FrameState f;
        const int64_t offset = frame_offset_ns(n, o.fps);
        f.time_offset = double(offset) * 1e-3;
        f.shift = o.motion_lines * n;
        const bool changed = o.exposure_change_frame >= 0 && n >= o.exposure_change_frame;
        f.exposure_time = changed ? o.exposure_after : s.exposure_time;
        if (changed && s.exposure_time > 0.0f) f.electrons_scale = double(o.exposure_after) / double(s.exposure_time);
        if (o.exposure_ramp != 1.0) {
            f.exposure_time = float(double(s.exposure_time) * ramp);
            f.electrons_scale = ramp;
        }
        f.seed = s.seed + uint64_t(n) * kFrameSeedStep;
        place_confounders(s, o, content, n, f);
        SynthFrame frame{synthesize_frame(s, content, f), visible_ripple(s, content, f)};
        frame.capture.timestamp_ns = first + offset;
        each(n, std::move(frame));
    }
}

std::vector<SynthFrame> synthesize_sequence(const Scene& s, const SequenceOptions& o) {
    std::vector<SynthFrame> frames;
    synthesize_sequence(s, o, [&](int, SynthFrame&& frame) { frames.push_back(std::move(frame)); });
    return frames;
}

}  // namespace kevra_tool
