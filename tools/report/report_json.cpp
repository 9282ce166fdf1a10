#include <stdexcept>

#include "input_error.h"
#include "report.h"

namespace kevra_tool {
namespace {

Json floats(const std::vector<float>& values) {
    Json out = Json::array();
    for (float v : values) out.push_back(float_to_json(v));
    return out;
}

template <size_t N>
Json floats(const std::array<float, N>& values) {
    return floats(std::vector<float>(values.begin(), values.end()));
}

struct Fields {
    const Json& json;
    const std::string& name;
    std::string path;

    const Json& at(const char* key) const {
        if (!json.is_object() || !json.contains(key)) throw InputError(name, path + key, "missing");
        return json[key];
    }
    Fields child(const char* key) const { return {at(key), name, path + key + "."}; }

    float real(const char* key) const { return real_value(at(key), path + key); }
    float real_value(const Json& v, const std::string& field) const {
        try {
            return float_from_json(v);
        } catch (const std::invalid_argument& e) {
            throw InputError(name, field, e.what());
        }
    }
    int32_t integer(const char* key) const {
        const std::optional<int32_t> v = int32_from_json(at(key));
        if (!v) throw InputError(name, path + key, "expected a 32-bit integer");
        return *v;
    }
    bool boolean(const char* key) const {
        const Json& v = at(key);
        if (!v.is_boolean()) throw InputError(name, path + key, "expected true or false");
        return v.get<bool>();
    }
    std::vector<float> reals(const char* key, size_t expected) const {
        const Json& v = at(key);
        if (!v.is_array() || v.size() != expected)
            throw InputError(name, path + key, "expected an array of " + std::to_string(expected) + " numbers");
        std::vector<float> out;
        for (size_t i = 0; i < v.size(); ++i)
            out.push_back(real_value(v[i], path + key + "[" + std::to_string(i) + "]"));
        return out;
    }
};

}  // namespace

Json report_to_json(const DetectionReport& r) {
    Json channels = Json::array();
    for (size_t c = 0; c < 4; ++c) {
        const ChannelReport& ch = r.channels[c];
        channels.push_back({{"channel", c},
                            {"offset", float_to_json(ch.offset)},
                            {"amplitude", floats(ch.amplitude)},
                            {"phase", floats(ch.phase)},
                            {"iterations", ch.iterations},
                            {"row_level", floats(ch.row_level)},
                            {"model", floats(ch.model)}});
    }
    const kevra_confidence_idx_debug_output& d = r.confidence_debug;
    return {{"capture", r.capture},
            {"row_num", r.row_num},
            {"mains_frequency", r.mains_frequency},
            {"lines_per_row", r.lines_per_row},
            {"exposure_time", float_to_json(r.exposure_time)},
            {"line_time", float_to_json(r.line_time)},
            {"channels", channels},
            {"model_range",
             {{"min", float_to_json(r.model_min)},
              {"max", float_to_json(r.model_max)},
              {"range", float_to_json(r.model_range)}}},
            {"decision",
             {{"flicker_detected", r.flicker_detected},
              {"band", r.band},
              {"band_low", float_to_json(r.band_low)},
              {"band_high", float_to_json(r.band_high)},
              {"detect_ratio", float_to_json(r.detect_ratio)},
              {"rows_required", r.rows_required}}},
            {"confidence",
             {{"index", float_to_json(r.confidence_index)},
              {"peak_error", float_to_json(d.peak_error)},
              {"peak_row", d.peak_row},
              {"peak_zone", d.peak_zone},
              {"mean_error", float_to_json(d.mean_error)},
              {"mean_zone", d.mean_zone}}}};
}

DetectionReport report_from_json(const Json& json, const std::string& name) {
    const Fields top{json, name, ""};
    DetectionReport r;
    const Json& capture = top.at("capture");
    if (!capture.is_string()) throw InputError(name, "capture", "expected a string");
    r.capture = capture.get<std::string>();
    r.row_num = top.integer("row_num");
    if (r.row_num < 0 || r.row_num > KEVRA_MAX_ROWS) throw InputError(name, "row_num", "expected 0..256");
    r.mains_frequency = top.integer("mains_frequency");
    r.lines_per_row = top.integer("lines_per_row");
    r.exposure_time = top.real("exposure_time");
    r.line_time = top.real("line_time");
    const Json& channels = top.at("channels");
    if (!channels.is_array() || channels.size() != 4) throw InputError(name, "channels", "expected four channels");
    for (size_t c = 0; c < 4; ++c) {
        const Fields f{channels[c], name, "channels[" + std::to_string(c) + "]."};
        ChannelReport& ch = r.channels[c];
        ch.offset = f.real("offset");
        const std::vector<float> amplitude = f.reals("amplitude", 3), phase = f.reals("phase", 3);
        std::copy(amplitude.begin(), amplitude.end(), ch.amplitude.begin());
        std::copy(phase.begin(), phase.end(), ch.phase.begin());
        ch.iterations = f.integer("iterations");
        ch.row_level = f.reals("row_level", size_t(r.row_num));
        ch.model = f.reals("model", size_t(r.row_num));
    }
    const Fields range = top.child("model_range");
    r.model_min = range.real("min");
    r.model_max = range.real("max");
    r.model_range = range.real("range");
    const Fields decision = top.child("decision");
    r.flicker_detected = decision.boolean("flicker_detected");
    r.band = decision.integer("band");
    r.band_low = decision.real("band_low");
    r.band_high = decision.real("band_high");
    r.detect_ratio = decision.real("detect_ratio");
    r.rows_required = decision.integer("rows_required");
    const Fields confidence = top.child("confidence");
    r.confidence_index = confidence.real("index");
    kevra_confidence_idx_debug_output& d = r.confidence_debug;
    d.enable = 1;
    d.valid = 1;
    d.peak_error = confidence.real("peak_error");
    d.peak_row = confidence.integer("peak_row");
    d.peak_zone = confidence.integer("peak_zone");
    d.mean_error = confidence.real("mean_error");
    d.mean_zone = confidence.integer("mean_zone");
    return r;
}

}  // namespace kevra_tool
