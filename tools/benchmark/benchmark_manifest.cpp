#include "benchmark_manifest.h"

#include <cmath>
#include <filesystem>

#include "file_io.h"
#include "input_error.h"
#include "json_values.h"

namespace kevra_tool {
namespace {

constexpr const char* kFormat = "kevra-benchmark";

Json record_to_json(const SequenceRecord& r) {
    Json j;
    j["id"] = r.id;
    j["label"] = truth_name(r.label);
    j["lamp"] = r.lamp;
    j["mains"] = r.mains;
    j["drift_hz"] = r.drift_hz;
    j["picture"] = r.picture;
    j["brightness"] = r.brightness;
    j["level"] = r.level;
    j["exposure_us"] = r.exposure_us;
    j["last_exposure_us"] = r.last_exposure_us;
    j["exposure_change_frame"] = r.exposure_change_frame;
    j["fps"] = r.fps;
    j["ripple_shift"] = r.ripple_shift;
    j["moving"] = r.moving();
    j["motion_lines"] = r.motion_lines;
    j["daylight"] = r.daylight;
    j["confounder"] = r.confounder;
    j["confounder_detail"] = r.confounder_detail;
    j["visible_ripple"] = r.visible_ripple;
    j["frame_ripple"] = r.frame_ripple;
    j["frames"] = r.frames;
    return j;
}

template <typename T>
T field(const Json& j, const char* key, const std::string& file, const std::string& where) {
    try {
        return j.at(key).get<T>();
    } catch (const std::exception&) {
        throw InputError(file, where + "." + key, "missing or of the wrong type");
    }
}

}  // namespace

std::string manifest_to_json_text(const Manifest& m) {
    Json j;
    j["format"] = kFormat;
    j["version"] = 1;
    j["seed"] = m.seed;
    j["visibility_limit"] = m.visibility_limit;
    j["ambiguity_factor"] = m.ambiguity_factor;
    j["sequences"] = Json::array();
    for (const SequenceRecord& r : m.sequences) j["sequences"].push_back(record_to_json(r));
    return j.dump(1) + "\n";
}

Manifest read_manifest(const std::string& path) {
    std::string text, reason;
    if (!read_file(path, text, reason)) throw InputError(path, "", "cannot read: " + reason);
    Json j;
    try {
        j = Json::parse(text);
    } catch (const std::exception& e) {
        throw InputError(path, "", std::string("not valid JSON (") + e.what() + ")");
    }
    if (!j.is_object() || j.value("format", "") != kFormat) throw InputError(path, "format", "not a kevra-benchmark manifest");
    Manifest m;
    m.directory = std::filesystem::path(path).parent_path().string();
    m.seed = field<uint64_t>(j, "seed", path, "");
    m.visibility_limit = field<double>(j, "visibility_limit", path, "");
    m.ambiguity_factor = field<double>(j, "ambiguity_factor", path, "");
    if (!j.contains("sequences") || !j["sequences"].is_array()) throw InputError(path, "sequences", "expected an array");
    for (size_t i = 0; i < j["sequences"].size(); ++i) {
        const Json& s = j["sequences"][i];
        const std::string where = "sequences[" + std::to_string(i) + "]";
        SequenceRecord r;
        r.id = field<std::string>(s, "id", path, where);
        try {
            r.label = truth_from_name(field<std::string>(s, "label", path, where));
        } catch (const std::invalid_argument& e) {
            throw InputError(path, where + ".label", e.what());
        }
        r.lamp = field<std::string>(s, "lamp", path, where);
        r.mains = field<int>(s, "mains", path, where);
        r.drift_hz = field<double>(s, "drift_hz", path, where);
        r.picture = field<std::string>(s, "picture", path, where);
        r.brightness = field<std::string>(s, "brightness", path, where);
        r.level = field<double>(s, "level", path, where);
        r.exposure_us = field<double>(s, "exposure_us", path, where);
        r.last_exposure_us = field<double>(s, "last_exposure_us", path, where);
        r.exposure_change_frame = field<int>(s, "exposure_change_frame", path, where);
        r.fps = field<double>(s, "fps", path, where);
        r.ripple_shift = field<double>(s, "ripple_shift", path, where);
        r.motion_lines = field<double>(s, "motion_lines", path, where);
        r.daylight = field<double>(s, "daylight", path, where);
        // Manifests from before confounders have none.
        if (s.contains("confounder")) r.confounder = field<std::string>(s, "confounder", path, where);
        if (s.contains("confounder_detail")) r.confounder_detail = field<std::string>(s, "confounder_detail", path, where);
        r.visible_ripple = field<double>(s, "visible_ripple", path, where);
        r.frame_ripple = field<std::vector<double>>(s, "frame_ripple", path, where);
        r.frames = field<std::vector<std::string>>(s, "frames", path, where);
        if (r.frames.empty()) throw InputError(path, where + ".frames", "expected at least one capture");
        m.sequences.push_back(std::move(r));
    }
    return m;
}

bool is_held_out(size_t index, double share) {
    // Golden-ratio interleaving: any share splits every stretch of the recipe evenly.
    const double x = double(index) * 0.6180339887498949;
    return x - std::floor(x) < share;
}

}  // namespace kevra_tool
