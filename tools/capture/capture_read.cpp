// Reading a capture file: every problem is reported once, naming the file and
// the field, before anything runs.
#include <cmath>
#include <cstring>
#include <filesystem>

#include "capture.h"
#include "capture_fields.h"
#include "default_tuning.h"
#include "file_io.h"
#include "input_error.h"
#include "json_values.h"

namespace kevra_tool {
namespace {

namespace fs = std::filesystem;

struct Reader {
    const std::string& file;
    const std::string& base_dir;

    [[noreturn]] void fail(const std::string& field, const std::string& problem) const {
        throw InputError(file, field, problem);
    }

    static std::string type_name(const Json& v) {
        if (v.is_null()) return "null";
        if (v.is_boolean()) return "a boolean";
        if (v.is_string()) return "a string";
        if (v.is_array()) return "an array";
        if (v.is_object()) return "an object";
        return "the number " + v.dump();
    }

    int32_t int32(const Json& v, const std::string& field) const {
        const std::optional<int32_t> x = int32_from_json(v);
        if (!x) fail(field, "expected a 32-bit integer, got " + type_name(v));
        return *x;
    }

    float real(const Json& v, const std::string& field) const {
        if (!v.is_number()) fail(field, "expected a number, got " + type_name(v));
        const double d = v.get<double>();
        const float f = static_cast<float>(d);
        if (!std::isfinite(f)) fail(field, "the number " + v.dump() + " is outside the range of a float");
        return f;
    }

    void store(const FieldDef& def, const Json& v, const std::string& field, void* record, int index) const {
        unsigned char* at = static_cast<unsigned char*>(record) + def.offset + 4 * size_t(index);
        if (def.kind == FieldKind::Int32) {
            const int32_t x = int32(v, field);
            std::memcpy(at, &x, 4);
        } else {
            const float x = real(v, field);
            std::memcpy(at, &x, 4);
        }
    }

    template <size_t N>
    void section(const Json& doc, const char* name, const FieldDef (&defs)[N], void* record,
                 const char* extra_scalar = nullptr, float* extra = nullptr) const {
        const auto it = doc.find(name);
        if (it == doc.end()) return;
        if (!it->is_object()) fail(name, "expected an object, got " + type_name(*it));
        for (const auto& [key, value] : it->items()) {
            const std::string field = std::string(name) + "." + key;
            if (extra_scalar != nullptr && key == extra_scalar) {
                *extra = real(value, field);
                continue;
            }
            const FieldDef* def = nullptr;
            for (const FieldDef& s : defs)
                if (key == s.name) def = &s;
            if (def == nullptr) fail(field, "unknown field");
            if (def->count == 1) {
                store(*def, value, field, record, 0);
                continue;
            }
            if (!value.is_array() || value.size() != size_t(def->count))
                fail(field, "expected an array of " + std::to_string(def->count) + " numbers, got " +
                                (value.is_array() ? std::to_string(value.size()) + " elements" : type_name(value)));
            for (int i = 0; i < def->count; ++i)
                store(*def, value[size_t(i)], field + "[" + std::to_string(i) + "]", record, i);
        }
    }

    void require(const Json& doc, const char* section_name, const char* key) const {
        const auto it = doc.find(section_name);
        if (it == doc.end() || !it->contains(key))
            fail(std::string(section_name) + "." + key, "missing (it has no default)");
    }

    void in_range(int32_t value, int32_t lo, int32_t hi, const std::string& field) const {
        if (value < lo || value > hi)
            fail(field, "expected an integer in " + std::to_string(lo) + ".." + std::to_string(hi) + ", got " +
                            std::to_string(value));
    }

    std::vector<uint32_t> stream(const Json& doc, const char* name, size_t words) const {
        const auto it = doc.find(name);
        if (it == doc.end()) fail(name, "missing (an array of words or the path of a binary dump)");
        std::vector<uint32_t> out;
        if (it->is_string()) {
            out = binary_stream(*it, name);
        } else if (it->is_array()) {
            out.reserve(it->size());
            for (size_t i = 0; i < it->size(); ++i) {
                const Json& w = (*it)[i];
                if (!w.is_number_unsigned() || w.get<uint64_t>() > UINT32_MAX)
                    fail(std::string(name) + "[" + std::to_string(i) + "]",
                         "expected an integer in 0..4294967295, got " + type_name(w));
                out.push_back(static_cast<uint32_t>(w.get<uint64_t>()));
            }
        } else {
            fail(name, "expected an array of words or a file path, got " + type_name(*it));
        }
        if (out.size() != words)
            fail(name, "expected " + std::to_string(words) + " words (row_num x 24), got " + std::to_string(out.size()));
        return out;
    }

    std::vector<uint32_t> binary_stream(const Json& value, const char* name) const {
        const fs::path relative = value.get<std::string>();
        const fs::path path = relative.is_absolute() ? relative : fs::path(base_dir) / relative;
        std::string bytes, reason;
        if (!read_file(path.string(), bytes, reason)) fail(name, "cannot read '" + path.string() + "': " + reason);
        if (bytes.size() % 4 != 0)
            fail(name, "'" + path.string() + "' holds " + std::to_string(bytes.size()) +
                           " bytes, not a whole number of 32-bit words");
        std::vector<uint32_t> out(bytes.size() / 4);
        for (size_t i = 0; i < out.size(); ++i) {
            const auto* b = reinterpret_cast<const unsigned char*>(bytes.data()) + 4 * i;
            out[i] = uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
        }
        return out;
    }
};

}  // namespace

Capture parse_capture(const std::string& text, const std::string& name, const std::string& base_dir) {
    const Reader r{name, base_dir};
    Json doc;
    try {
        doc = Json::parse(text);
    } catch (const Json::exception& e) {  // a syntax error, or a number beyond a double (out_of_range)
        r.fail("", std::string("not valid JSON (") + e.what() + ")");
    }
    if (!doc.is_object()) r.fail("", "expected a JSON object, got " + Reader::type_name(doc));
    for (const auto& [key, value] : doc.items()) {
        if (!is_capture_key(key)) r.fail(key, "unknown field");
    }
    if (doc.contains(kFormatKey) && doc[kFormatKey] != kFormatName)
        r.fail(kFormatKey, std::string("expected \"") + kFormatName + "\"");
    int version = kFormatVersion;
    if (doc.contains(kVersionKey)) {
        const Json& v = doc[kVersionKey];
        if (!v.is_number_integer() || (v != 1 && v != 2)) r.fail(kVersionKey, "expected 1 or 2, got " + v.dump());
        version = v.get<int>();
    }
    if (!doc.contains(kParameterKey)) r.fail(kParameterKey, "missing");

    Capture c;
    c.parameter = default_parameter();
    c.config = default_config();
    r.section(doc, kParameterKey, kParameterFields, &c.parameter, "start_time", &c.start_time);
    for (const char* key : {"row_num", "exposure_time", "line_time"}) r.require(doc, kParameterKey, key);
    r.in_range(c.parameter.row_num, 0, KEVRA_MAX_ROWS, "parameter.row_num");
    r.in_range(c.parameter.ratio_index, 0, 2, "parameter.ratio_index");
    r.section(doc, kConfigKey, kConfigFields, &c.config);
    c.confidence_input = default_confidence_input(c.parameter, c.start_time, c.config);
    r.section(doc, kConfidenceInputKey, kConfidenceInputFields, &c.confidence_input);

    if (doc.contains(kTimestampKey)) {
        const Json& t = doc[kTimestampKey];
        if (version < 2) r.fail(kTimestampKey, "needs \"version\": 2");
        if (!t.is_number_integer() || (t.is_number_unsigned() && t.get<uint64_t>() > uint64_t(INT64_MAX)))
            r.fail(kTimestampKey, "expected an integer number of nanoseconds, got " + Reader::type_name(t));
        c.timestamp_ns = t.get<int64_t>();
    }

    const size_t words = size_t(c.parameter.row_num) * 24;
    c.sum_stream = r.stream(doc, kSumStreamKey, words);
    c.count_stream = r.stream(doc, kCountStreamKey, words);
    return c;
}

int64_t frame_time_ns(const Capture& capture) {
    if (capture.timestamp_ns) return *capture.timestamp_ns;
    return std::llround(double(capture.start_time) * 1000.0);
}

Capture read_capture(const std::string& path) {
    std::string text, reason;
    if (!read_file(path, text, reason)) throw InputError(path, "", "cannot read: " + reason);
    return parse_capture(text, path, std::filesystem::path(path).parent_path().string());
}

}  // namespace kevra_tool
