// Writing a capture file: parameters in full, tuning only where it differs
// from the default, streams one statistic row (24 words) per line.
#include <cstring>
#include <filesystem>
#include <sstream>

#include "capture.h"
#include "capture_fields.h"
#include "default_tuning.h"
#include "file_io.h"
#include "json_values.h"

namespace kevra_tool {
namespace {

Json field_value(const FieldDef& def, const void* record, int index) {
    const unsigned char* at = static_cast<const unsigned char*>(record) + def.offset + 4 * size_t(index);
    if (def.kind == FieldKind::Int32) {
        int32_t x;
        std::memcpy(&x, at, 4);
        return x;
    }
    float x;
    std::memcpy(&x, at, 4);
    return float_to_json(x);
}

// Fields whose bytes equal those of `defaults` are left out (all when defaults is null).
template <size_t N>
Json section(const FieldDef (&defs)[N], const void* record, const void* defaults) {
    Json out = Json::object();
    for (const FieldDef& def : defs) {
        const size_t bytes = 4 * size_t(def.count);
        if (defaults != nullptr &&
            std::memcmp(static_cast<const char*>(record) + def.offset,
                        static_cast<const char*>(defaults) + def.offset, bytes) == 0)
            continue;
        if (def.count == 1) {
            out[def.name] = field_value(def, record, 0);
        } else {
            Json array = Json::array();
            for (int i = 0; i < def.count; ++i) array.push_back(field_value(def, record, i));
            out[def.name] = array;
        }
    }
    return out;
}

std::string indented(const Json& value) {
    std::string text = value.dump(2);
    std::string out;
    for (char c : text) {
        out += c;
        if (c == '\n') out += "  ";
    }
    return out;
}

std::string stream_text(const std::vector<uint32_t>& words) {
    if (words.empty()) return "[]";
    std::ostringstream s;
    s << "[";
    for (size_t i = 0; i < words.size(); ++i) {
        s << (i % 24 == 0 ? "\n    " : " ") << words[i] << (i + 1 < words.size() ? "," : "");
    }
    s << "\n  ]";
    return s.str();
}

std::string document(const Capture& c, const std::string& sum, const std::string& count) {
    Json parameter = section(kParameterFields, &c.parameter, nullptr);
    parameter["start_time"] = float_to_json(c.start_time);
    const kevra_config config_defaults = default_config();
    const kevra_confidence_idx_input confidence_defaults =
        default_confidence_input(c.parameter, c.start_time, c.config);
    const Json config = section(kConfigFields, &c.config, &config_defaults);
    const Json confidence = section(kConfidenceInputFields, &c.confidence_input, &confidence_defaults);

    std::ostringstream s;
    s << "{\n  \"" << kFormatKey << "\": \"" << kFormatName << "\",\n  \"" << kVersionKey << "\": " << kFormatVersion
      << ",\n";
    if (c.timestamp_ns) s << "  \"" << kTimestampKey << "\": " << *c.timestamp_ns << ",\n";
    s << "  \"" << kParameterKey << "\": " << indented(parameter);
    if (!config.empty()) s << ",\n  \"" << kConfigKey << "\": " << indented(config);
    if (!confidence.empty()) s << ",\n  \"" << kConfidenceInputKey << "\": " << indented(confidence);
    s << ",\n  \"" << kSumStreamKey << "\": " << sum << ",\n  \"" << kCountStreamKey << "\": " << count << "\n}\n";
    return s.str();
}

std::string little_endian_bytes(const std::vector<uint32_t>& words) {
    std::string bytes(words.size() * 4, '\0');
    for (size_t i = 0; i < words.size(); ++i)
        for (int b = 0; b < 4; ++b) bytes[4 * i + size_t(b)] = char((words[i] >> (8 * b)) & 0xFF);
    return bytes;
}

}  // namespace

std::string capture_to_json_text(const Capture& capture) {
    return document(capture, stream_text(capture.sum_stream), stream_text(capture.count_stream));
}

void write_capture(const std::string& path, const Capture& capture, StreamStorage storage) {
    if (storage == StreamStorage::Inline) {
        write_file_atomically(path, capture_to_json_text(capture));
        return;
    }
    namespace fs = std::filesystem;
    const fs::path json_path(path);
    const std::string stem = json_path.stem().string();
    const fs::path sum_path = json_path.parent_path() / (stem + ".sum.bin");
    const fs::path count_path = json_path.parent_path() / (stem + ".count.bin");
    write_file_atomically(sum_path.string(), little_endian_bytes(capture.sum_stream));
    try {
        write_file_atomically(count_path.string(), little_endian_bytes(capture.count_stream));
        write_file_atomically(path, document(capture, Json(sum_path.filename().string()).dump(),
                                             Json(count_path.filename().string()).dump()));
    } catch (...) {
        std::error_code ignored;
        fs::remove(sum_path, ignored);
        fs::remove(count_path, ignored);
        throw;
    }
}

}  // namespace kevra_tool
