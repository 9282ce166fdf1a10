#include "eval_methods.h"

#include <cmath>
#include <array>
#include <complex>

#include "default_tuning.h"
#include "detection.h"
#include "kevra_scene.h"
#include "mains_auto.h"
#include "input_error.h"

namespace kevra_tool {
namespace {

constexpr double kPi = 3.14159265358979323846;

using DetectorPtr = std::unique_ptr<QORKEVRA, void (*)(QORKEVRA*)>;

DetectorPtr new_detector() {
    return DetectorPtr(QORKEVRA::createInstance(), [](QORKEVRA* d) { d->destroyInstance(d); });
}

class LibraryMethod : public Method {
public:
    LibraryMethod(std::optional<LibraryTuning> tuning, bool majority)
        : tuning_(tuning), majority_(majority), detector_(new_detector()) {}
    std::string name() const override { return majority_ ? "kevra-frame-majority" : "kevra-frame"; }
    MethodOutput run(const std::vector<Capture>& frames) override {
        // A camera stack runs it on every frame; the sequence reports the last
        // frame's answer, or the most frequent one.
        MethodOutput out;
        int votes[4] = {};
        for (const Capture& c : frames) {
            Answer answer = library_frame_answer(*detector_, c, tuning_);
            ++votes[int(answer)];
            if (majority_)
                for (int a = 0; a < 3; ++a)
                    if (votes[a] > votes[int(answer)]) answer = Answer(a);
            out.answer = answer;
            out.frames.push_back({answer, 0.0, Answer::None});
        }
        return out;
    }

private:
    std::optional<LibraryTuning> tuning_;
    bool majority_;
    DetectorPtr detector_;
};

// Mean level of each row over all zones and channels; a row without data
// takes the previous row's.
std::vector<double> row_profile(const Capture& c) {
    std::vector<double> p(size_t(c.parameter.row_num));
    double last = 0.0;
    for (size_t r = 0; r < p.size(); ++r) {
        double s = 0.0, n = 0.0;
        for (size_t w = 0; w < 24; ++w) {
            s += double(c.sum_stream[r * 24 + w] & 0xFFFFFFu);
            n += double(c.count_stream[r * 24 + w] & 0xFFFFFFu);
        }
        last = n > 0.0 ? s / n : last;
        p[r] = last;
    }
    return p;
}

// Amplitudes at 100 and 120 Hz of x (relative to its mean, linear trend
// removed), sampled at row r's time r x row_step us: 2 |DFT| / N.
std::array<double, 2> ripple_amplitudes(std::vector<double> x, double row_step_us) {
    const size_t n = x.size();
    std::array<double, 2> out{0.0, 0.0};
    if (n < 3) return out;
    double mean = 0.0;
    for (double v : x) mean += v;
    mean /= double(n);
    if (!(mean > 0.0)) return out;
    // Least-squares line through (i, x_i / mean - 1).
    double si = 0.0, sii = 0.0, sy = 0.0, siy = 0.0;
    for (size_t i = 0; i < n; ++i) {
        const double y = x[i] / mean - 1.0;
        si += double(i), sii += double(i) * double(i), sy += y, siy += double(i) * y;
    }
    const double slope = (double(n) * siy - si * sy) / (double(n) * sii - si * si);
    const double intercept = (sy - slope * si) / double(n);
    for (size_t i = 0; i < n; ++i) x[i] = x[i] / mean - 1.0 - (intercept + slope * double(i));
    for (int k = 0; k < 2; ++k) {
        const double ripple_hz = k == 0 ? 100.0 : 120.0;
        std::complex<double> sum = 0.0;
        for (size_t i = 0; i < n; ++i) sum += x[i] * std::polar(1.0, -2.0 * kPi * ripple_hz * double(i) * row_step_us * 1e-6);
        out[size_t(k)] = 2.0 * std::abs(sum) / double(n);
    }
    return out;
}

double row_step_us(const Capture& c) { return double(c.parameter.line_time) * double(c.config.lines_per_row); }

FrameOutput decide(const std::array<double, 2>& a) {
    FrameOutput out;
    out.frequency = a[1] > a[0] ? Answer::Hz60 : Answer::Hz50;
    out.score = std::max(a[0], a[1]);
    return out;
}

// The sequence's output is the last frame's.
MethodOutput sequence_output(std::vector<FrameOutput>&& frames) {
    MethodOutput out;
    if (!frames.empty()) out.score = frames.back().score, out.frequency = frames.back().frequency;
    out.frames = std::move(frames);
    return out;
}

class RowDftMethod : public Method {
public:
    std::string name() const override { return "row-dft"; }
    bool thresholded() const override { return true; }
    MethodOutput run(const std::vector<Capture>& frames) override {
        // Every frame, as a camera stack would run it (its cost is measured);
        // the sequence reports the last.
        std::vector<FrameOutput> out;
        for (const Capture& c : frames) out.push_back(decide(ripple_amplitudes(row_profile(c), row_step_us(c))));
        return sequence_output(std::move(out));
    }
};

class FrameRatioMethod : public Method {
public:
    std::string name() const override { return "frame-ratio"; }
    bool thresholded() const override { return true; }
    MethodOutput run(const std::vector<Capture>& frames) override {
        std::array<double, 2> energy{};
        std::vector<double> previous;
        std::vector<FrameOutput> out;
        int pairs = 0;
        for (const Capture& c : frames) {
            std::vector<double> p = row_profile(c);
            if (previous.size() == p.size()) {
                std::vector<double> ratio(p.size());
                for (size_t r = 0; r < p.size(); ++r) ratio[r] = previous[r] > 0.0 ? p[r] / previous[r] : 1.0;
                const std::array<double, 2> a = ripple_amplitudes(ratio, row_step_us(c));
                for (int k = 0; k < 2; ++k) energy[size_t(k)] += a[size_t(k)] * a[size_t(k)];
                ++pairs;
            }
            previous = std::move(p);
            std::array<double, 2> rms{};
            for (int k = 0; k < 2 && pairs > 0; ++k) rms[size_t(k)] = std::sqrt(energy[size_t(k)] / pairs);
            out.push_back(decide(rms));
        }
        return sequence_output(std::move(out));
    }
};

}  // namespace

std::string answer_name(Answer a) {
    switch (a) {
        case Answer::None: return "none";
        case Answer::Hz50: return "50";
        case Answer::Hz60: return "60";
        case Answer::Unknown: return "unknown";
    }
    return "unknown";
}

LibraryTuning tuning_of(const kevra_config& c) {
    LibraryTuning t{};
    for (int k = 0; k < 5; ++k) {
        t.range_threshold[k] = c.range_threshold[k];
        t.detect_ratio[k] = c.detect_ratio[k];
    }
    t.local_flicker_level = c.local_flicker_level;
    t.local_tolerance_gain = c.local_tolerance_gain;
    t.ratio_scale = 1.0f;
    t.weight_enable = c.weight_enable;
    t.weight_fixed = c.weight_fixed;
    return t;
}

void apply_tuning(const LibraryTuning& t, Capture& c) {
    for (int k = 0; k < 5; ++k) {
        c.config.range_threshold[k] = t.range_threshold[k];
        c.config.detect_ratio[k] = t.detect_ratio[k];
    }
    c.config.local_flicker_level = t.local_flicker_level;
    c.config.local_tolerance_gain = t.local_tolerance_gain;
    c.parameter.ratio_table[0] *= t.ratio_scale;
    c.config.weight_enable = t.weight_enable;
    c.config.weight_fixed = t.weight_fixed;
}

Json tuning_to_json(const LibraryTuning& t) {
    Json j;
    j["range_threshold"] = Json::array();
    j["detect_ratio"] = Json::array();
    for (int k = 0; k < 5; ++k) {
        j["range_threshold"].push_back(float_to_json(t.range_threshold[k]));
        j["detect_ratio"].push_back(float_to_json(t.detect_ratio[k]));
    }
    j["local_flicker_level"] = t.local_flicker_level;
    j["local_tolerance_gain"] = float_to_json(t.local_tolerance_gain);
    j["ratio_scale"] = float_to_json(t.ratio_scale);
    j["weight_enable"] = t.weight_enable;
    j["weight_fixed"] = t.weight_fixed;
    return j;
}

LibraryTuning tuning_from_json(const Json& j, const std::string& file) {
    LibraryTuning t = tuning_of(default_config());
    auto number = [&](const char* key) {
        if (!j.contains(key) || !j[key].is_number()) throw InputError(file, key, "expected a number");
        return j[key].get<double>();
    };
    for (const char* key : {"range_threshold", "detect_ratio"}) {
        if (!j.contains(key) || !j[key].is_array() || j[key].size() != 5)
            throw InputError(file, key, "expected an array of 5 numbers");
        for (size_t k = 0; k < 5; ++k) {
            if (!j[key][k].is_number()) throw InputError(file, key, "expected an array of 5 numbers");
            (std::string(key) == "range_threshold" ? t.range_threshold : t.detect_ratio)[k] = j[key][k].get<float>();
        }
    }
    t.local_flicker_level = int32_t(number("local_flicker_level"));
    t.local_tolerance_gain = float(number("local_tolerance_gain"));
    t.ratio_scale = float(number("ratio_scale"));
    t.weight_enable = int32_t(number("weight_enable"));
    t.weight_fixed = int32_t(number("weight_fixed"));
    return t;
}

Answer library_frame_answer(QORKEVRA& detector, const Capture& capture, const std::optional<LibraryTuning>& tuning) {
    Capture c = capture;
    if (tuning) apply_tuning(*tuning, c);
    switch (detect_auto_mains(detector, c, "").answer) {
        case KEVRA_SCENE_50HZ: return Answer::Hz50;
        case KEVRA_SCENE_60HZ: return Answer::Hz60;
        default: return Answer::None;
    }
}

std::unique_ptr<Method> make_library_method(std::optional<LibraryTuning> tuning, bool majority) {
    return std::make_unique<LibraryMethod>(tuning, majority);
}

std::unique_ptr<Method> make_row_dft_method() { return std::make_unique<RowDftMethod>(); }
std::unique_ptr<Method> make_frame_ratio_method() { return std::make_unique<FrameRatioMethod>(); }

}  // namespace kevra_tool
