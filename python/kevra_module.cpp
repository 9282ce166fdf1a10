// kevra._kevra: the tool's capture, detection and synthesis code and the scene
// classifier, for the Python package around it (python/kevra/__init__.py).
// Captures cross as dictionaries of plain values with NumPy streams.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "builtin_sample.h"
#include "capture.h"
#include "capture_fields.h"
#include "default_tuning.h"
#include "detection.h"
#include "input_error.h"
#include "json_values.h"
#include "kevra_scene.h"
#include "scene_answer.h"
#include "scene_synthesis.h"
#include "synth_options.h"

namespace py = pybind11;

namespace kevra_tool {
namespace {

std::string type_name(py::handle v) { return py::str(py::type::handle_of(v).attr("__name__")); }

// Python values as JSON, so that dictionaries go through the capture reader
// itself: the same defaults, checks and messages as a capture file.
Json to_json(py::handle v, const std::string& name, const std::string& field) {
    static const py::object np_bool = py::module_::import("numpy").attr("bool_");
    static const py::object np_floating = py::module_::import("numpy").attr("floating");
    if (v.is_none()) return nullptr;
    if (PyBool_Check(v.ptr()) || py::isinstance(v, np_bool)) return v.cast<bool>();
    // Before the integers: an array offers __index__ too.
    if (py::isinstance<py::array>(v)) return to_json(v.attr("tolist")(), name, field);
    if (PyIndex_Check(v.ptr())) {
        const py::int_ i = py::reinterpret_steal<py::int_>(PyNumber_Index(v.ptr()));
        if (!i) throw py::error_already_set();
        int overflow = 0;
        const long long s = PyLong_AsLongLongAndOverflow(i.ptr(), &overflow);
        if (overflow == 0) return int64_t(s);
        if (overflow > 0) {
            const unsigned long long u = PyLong_AsUnsignedLongLong(i.ptr());
            if (!PyErr_Occurred()) return uint64_t(u);
            PyErr_Clear();
        }
        // Beyond 64 bits: as a double, which the reader names out of range.
        const double d = PyLong_AsDouble(i.ptr());
        if (PyErr_Occurred()) throw py::error_already_set();
        return d;
    }
    if (PyFloat_Check(v.ptr()) || py::isinstance(v, np_floating)) return v.cast<double>();
    if (PyUnicode_Check(v.ptr())) return v.cast<std::string>();
    if (py::isinstance<py::dict>(v)) {
        Json out = Json::object();
        for (const auto& [key, value] : v.cast<py::dict>()) {
            if (!PyUnicode_Check(key.ptr()))
                throw InputError(name, field, "keys must be strings, got an object of type " + type_name(key));
            const std::string k = key.cast<std::string>();
            out[k] = to_json(value, name, field + "." + k);
        }
        return out;
    }
    if (py::isinstance<py::list>(v) || py::isinstance<py::tuple>(v)) {
        Json out = Json::array();
        size_t i = 0;
        for (py::handle item : v) out.push_back(to_json(item, name, field + "[" + std::to_string(i++) + "]"));
        return out;
    }
    throw InputError(name, field, "expected a number, got an object of type " + type_name(v));
}

// A raw stream: uint32, (row_num, 24), C order. Nothing is converted silently.
py::array checked_stream(py::handle v, const std::string& name, const char* field) {
    if (!py::isinstance<py::array>(v))
        throw InputError(name, field, "expected a NumPy array of uint32 words, got an object of type " + type_name(v));
    const py::array a = py::reinterpret_borrow<py::array>(v);
    if (!py::isinstance<py::array_t<uint32_t>>(a))
        throw InputError(name, field, "expected dtype uint32, got " + std::string(py::str(a.dtype())));
    if (a.ndim() != 2 || a.shape(1) != 24) {
        std::string shape = "(";
        for (py::ssize_t i = 0; i < a.ndim(); ++i) shape += (i ? ", " : "") + std::to_string(a.shape(i));
        throw InputError(name, field, "expected shape (row_num, 24), got " + shape + (a.ndim() == 1 ? ",)" : ")"));
    }
    if (!(a.flags() & py::array::c_style))
        throw InputError(name, field, "expected a C-contiguous array (numpy.ascontiguousarray makes one)");
    return a;
}

void append_words(std::string& text, const py::array& a) {
    const auto* w = static_cast<const uint32_t*>(a.data());
    const size_t n = size_t(a.size());
    text += '[';
    char digits[16];
    for (size_t i = 0; i < n; ++i) {
        if (i) text += ',';
        text.append(digits, std::to_chars(digits, digits + sizeof digits, w[i]).ptr);
    }
    text += ']';
}

Capture capture_from_python(const py::dict& d, const std::string& name) {
    const py::array sum = checked_stream(d[kSumStreamKey], name, kSumStreamKey);
    const py::array count = checked_stream(d[kCountStreamKey], name, kCountStreamKey);
    Json doc = {{kFormatKey, kFormatName}, {kVersionKey, kFormatVersion}};
    const py::object parameter = d[kParameterKey];
    if (!parameter.is_none()) {
        Json p = to_json(parameter, name, kParameterKey);
        if (p.is_object() && !p.contains("row_num")) p["row_num"] = int64_t(sum.shape(0));
        doc[kParameterKey] = p;
    }
    for (const char* key : {kConfigKey, kConfidenceInputKey, kTimestampKey}) {
        const py::object v = d[key];
        if (!v.is_none()) doc[key] = to_json(v, name, key);
    }
    std::string text = doc.dump();
    text.pop_back();  // the closing brace: the streams follow as text, not as JSON values
    text += std::string(",\"") + kSumStreamKey + "\":";
    append_words(text, sum);
    text += std::string(",\"") + kCountStreamKey + "\":";
    append_words(text, count);
    text += '}';
    return parse_capture(text, name, "");
}

py::object field_value(const FieldDef& def, const void* record, int index) {
    const unsigned char* at = static_cast<const unsigned char*>(record) + def.offset + 4 * size_t(index);
    if (def.kind == FieldKind::Int32) {
        int32_t x;
        std::memcpy(&x, at, 4);
        return py::int_(x);
    }
    float x;
    std::memcpy(&x, at, 4);
    return py::float_(double(x));
}

// Fields whose bytes equal those of `defaults` are left out (none when it is null),
// as a capture file leaves them out.
template <size_t N>
py::dict section(const FieldDef (&defs)[N], const void* record, const void* defaults) {
    py::dict out;
    for (const FieldDef& def : defs) {
        if (defaults != nullptr &&
            std::memcmp(static_cast<const char*>(record) + def.offset,
                        static_cast<const char*>(defaults) + def.offset, 4 * size_t(def.count)) == 0)
            continue;
        if (def.count == 1) {
            out[def.name] = field_value(def, record, 0);
        } else {
            py::list values;
            for (int i = 0; i < def.count; ++i) values.append(field_value(def, record, i));
            out[def.name] = values;
        }
    }
    return out;
}

py::array_t<uint32_t> stream_array(const std::vector<uint32_t>& words) {
    py::array_t<uint32_t> a({py::ssize_t(words.size() / 24), py::ssize_t(24)});
    if (!words.empty()) std::memcpy(a.mutable_data(), words.data(), words.size() * 4);
    return a;
}

py::dict capture_to_python(const Capture& c) {
    py::dict d;
    py::dict parameter = section(kParameterFields, &c.parameter, nullptr);
    parameter["start_time"] = double(c.start_time);
    const kevra_config config_defaults = default_config();
    const kevra_confidence_idx_input confidence_defaults =
        default_confidence_input(c.parameter, c.start_time, c.config);
    d[kParameterKey] = parameter;
    d[kConfigKey] = section(kConfigFields, &c.config, &config_defaults);
    d[kConfidenceInputKey] = section(kConfidenceInputFields, &c.confidence_input, &confidence_defaults);
    d[kTimestampKey] = c.timestamp_ns ? py::object(py::int_(*c.timestamp_ns)) : py::object(py::none());
    d[kSumStreamKey] = stream_array(c.sum_stream);
    d[kCountStreamKey] = stream_array(c.count_stream);
    return d;
}

py::array_t<float> float_array(const std::vector<float>& values) {
    py::array_t<float> a(py::ssize_t(values.size()));
    if (!values.empty()) std::memcpy(a.mutable_data(), values.data(), values.size() * 4);
    return a;
}

py::list floats(const std::array<float, 3>& values) {
    py::list out;
    for (float v : values) out.append(double(v));
    return out;
}

// The keys and nesting of `kevra detect --json`; floats keep their exact value
// (NaN where the JSON has null), row data are float32 arrays.
py::dict report_to_python(const DetectionReport& r) {
    py::list channels;
    for (size_t c = 0; c < 4; ++c) {
        const ChannelReport& ch = r.channels[c];
        py::dict channel;
        channel["channel"] = c;
        channel["offset"] = double(ch.offset);
        channel["amplitude"] = floats(ch.amplitude);
        channel["phase"] = floats(ch.phase);
        channel["iterations"] = ch.iterations;
        channel["row_level"] = float_array(ch.row_level);
        channel["model"] = float_array(ch.model);
        channels.append(channel);
    }
    py::dict range, decision, confidence, out;
    range["min"] = double(r.model_min);
    range["max"] = double(r.model_max);
    range["range"] = double(r.model_range);
    decision["flicker_detected"] = r.flicker_detected;
    decision["band"] = r.band;
    decision["band_low"] = double(r.band_low);
    decision["band_high"] = double(r.band_high);
    decision["detect_ratio"] = double(r.detect_ratio);
    decision["rows_required"] = r.rows_required;
    const kevra_confidence_idx_debug_output& d = r.confidence_debug;
    confidence["index"] = double(r.confidence_index);
    confidence["peak_error"] = double(d.peak_error);
    confidence["peak_row"] = d.peak_row;
    confidence["peak_zone"] = d.peak_zone;
    confidence["mean_error"] = double(d.mean_error);
    confidence["mean_zone"] = d.mean_zone;
    out["capture"] = r.capture;
    out["row_num"] = r.row_num;
    out["mains_frequency"] = r.mains_frequency;
    out["lines_per_row"] = r.lines_per_row;
    out["exposure_time"] = double(r.exposure_time);
    out["line_time"] = double(r.line_time);
    out["channels"] = channels;
    out["model_range"] = range;
    out["decision"] = decision;
    out["confidence"] = confidence;
    return out;
}

class Detector {
public:
    Detector() : detector_(QORKEVRA::createInstance()) {}

    py::dict run(const Capture& capture, const std::string& name) {
        return report_to_python(kevra_tool::detect(*detector_, capture, name));
    }

private:
    struct Destroy {
        void operator()(QORKEVRA* d) const { d->destroyInstance(d); }
    };
    std::unique_ptr<QORKEVRA, Destroy> detector_;
};

class SceneClassifier {
public:
    SceneClassifier() {
        classifier_.reset(QORKEVRASCENE::createInstance());
    }

    // The keys and nesting of `kevra classify --json` (the same conversion),
    // less the file and frame numbering; refusals raise the tool's message.
    py::dict process(const Capture& c, const std::string& name) {
        Json j = scene_result_to_json(classify_frame(*classifier_, c, name), name, 0);
        j.erase("capture");
        j.erase("frame");
        return py::module_::import("json").attr("loads")(j.dump());
    }

    void reset() { classifier_->Reset(); }

private:
    struct Destroy {
        void operator()(QORKEVRASCENE* s) const { s->destroyInstance(s); }
    };
    std::unique_ptr<QORKEVRASCENE, Destroy> classifier_;
};

// The frames `kevra synth ARGS` would write.
py::list synth(const std::vector<std::string>& args) {
    py::list frames;
    for (const SynthFrame& f : synth_from_arguments(args)) {
        py::dict frame = capture_to_python(f.capture);
        frame["visible_ripple"] = f.visible_ripple;
        frames.append(frame);
    }
    return frames;
}

}  // namespace
}  // namespace kevra_tool

PYBIND11_MODULE(_kevra, m) {
    using namespace kevra_tool;
    m.doc() = "Native part of the kevra package; use the package, not this module.";
    py::register_exception<InputError>(m, "InputError", PyExc_ValueError);

    m.attr("__version__") = std::to_string(KEVRA_VERSION_MAJOR) + "." + std::to_string(KEVRA_VERSION_MINOR) + "." +
                            std::to_string(KEVRA_VERSION_PATCH);
    m.attr("SAMPLE_NAME") = kBuiltinSampleName;
    m.attr("MAX_ROWS") = KEVRA_MAX_ROWS;

    m.def("read_capture", [](const std::string& path) { return capture_to_python(read_capture(path)); });
    m.def("write_capture", [](const std::string& path, const py::dict& capture, bool binary) {
        write_capture(path, capture_from_python(capture, path), binary ? StreamStorage::Binary : StreamStorage::Inline);
    });
    m.def("capture_json", [](const py::dict& capture, const std::string& name) {
        return capture_to_json_text(capture_from_python(capture, name));
    });
    // Checks and fills in the defaults, as reading the file would.
    m.def("normalize_capture", [](const py::dict& capture, const std::string& name) {
        return capture_to_python(capture_from_python(capture, name));
    });
    m.def("sample_capture", [] { return capture_to_python(synthesize(builtin_sample_scene())); });
    m.def("synth", &synth);

    py::class_<Detector>(m, "Detector")
        .def(py::init<>())
        .def("detect", [](Detector& d, const py::dict& capture, const std::string& name) {
            return d.run(capture_from_python(capture, name), name);
        })
        .def("detect_file", [](Detector& d, const std::string& path) { return d.run(read_capture(path), path); });

    py::class_<SceneClassifier>(m, "SceneClassifier")
        .def(py::init<>())
        .def("process", [](SceneClassifier& s, const py::dict& capture, const std::string& name) {
            return s.process(capture_from_python(capture, name), name);
        })
        .def("process_file", [](SceneClassifier& s, const std::string& path) {
            return s.process(read_capture(path), path);
        })
        .def("reset", &SceneClassifier::reset);
}
