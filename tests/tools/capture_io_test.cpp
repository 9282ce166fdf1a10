// Capture files: what is written reads back to the same run, defaults fill
// what a file leaves out, and every kind of bad file is refused by name.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "capture.h"
#include "default_tuning.h"
#include "detection.h"
#include "file_io.h"
#include "input_error.h"
#include "json_values.h"
#include "report.h"
#include "scene_synthesis.h"
#include "tool_test_support.h"

namespace {

using kevra_tool::Capture;
using kevra_tool::Json;
using kevra_tool_test::TempDir;

template <class T>
bool same_bytes(const T& a, const T& b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

void expect_same_capture(const Capture& want, const Capture& got) {
    EXPECT_TRUE(same_bytes(want.parameter, got.parameter));
    EXPECT_TRUE(same_bytes(want.start_time, got.start_time));
    EXPECT_TRUE(same_bytes(want.config, got.config));
    EXPECT_TRUE(same_bytes(want.confidence_input, got.confidence_input));
    EXPECT_EQ(want.sum_stream, got.sum_stream);
    EXPECT_EQ(want.count_stream, got.count_stream);
}

std::string report_of(const Capture& c) {
    QORKEVRA* detector = QORKEVRA::createInstance();
    Json json = kevra_tool::report_to_json(kevra_tool::detect(*detector, c, "scene"));
    detector->destroyInstance(detector);
    return json.dump();
}

Capture small_scene() {
    kevra_tool::Scene s;
    s.rows = 40;
    s.start_time = 123456.5f;
    s.mains_frequency = 60.0;
    return kevra_tool::synthesize(s);
}

class CaptureRoundTrip : public ::testing::TestWithParam<kevra_tool::StreamStorage> {};

TEST_P(CaptureRoundTrip, ReadsBackTheSameRecordsStreamsAndDetection) {
    TempDir dir;
    Capture c = small_scene();
    c.config.detect_ratio[2] = 0.123456789f;  // tuning that differs from the default
    c.config.max_iterations = 7;
    c.confidence_input.band_margin = 0.1f;
    c.parameter.ratio_table[1] = 1.1f;
    kevra_tool::write_capture(dir.file("scene.json"), c, GetParam());
    const Capture back = kevra_tool::read_capture(dir.file("scene.json"));
    expect_same_capture(c, back);
    EXPECT_EQ(report_of(c), report_of(back));
}

INSTANTIATE_TEST_SUITE_P(InlineAndBinary, CaptureRoundTrip,
                         ::testing::Values(kevra_tool::StreamStorage::Inline, kevra_tool::StreamStorage::Binary));

TEST(CaptureFile, BinaryStreamsAreLittleEndianWordsBesideTheCapture) {
    TempDir dir;
    Capture c = small_scene();
    c.parameter.row_num = 1;
    c.sum_stream.assign(24, 0);
    c.count_stream.assign(24, 0);
    c.sum_stream[0] = 0x12345678u;
    c.count_stream[23] = 0xFF000001u;
    kevra_tool::write_capture(dir.file("cap.json"), c, kevra_tool::StreamStorage::Binary);
    EXPECT_EQ(dir.entries(), (std::vector<std::string>{"cap.count.bin", "cap.json", "cap.sum.bin"}));
    std::string sum, count, reason;
    ASSERT_TRUE(kevra_tool::read_file(dir.file("cap.sum.bin"), sum, reason));
    ASSERT_TRUE(kevra_tool::read_file(dir.file("cap.count.bin"), count, reason));
    ASSERT_EQ(sum.size(), 96u);
    EXPECT_EQ(sum.substr(0, 4), std::string("\x78\x56\x34\x12", 4));
    EXPECT_EQ(count.substr(92, 4), std::string("\x01\x00\x00\xFF", 4));
}

TEST(CaptureFile, FieldsLeftOutTakeTheDefaultTuning) {
    const std::string text = R"({"parameter": {"row_num": 1, "exposure_time": 5000, "line_time": 12.5},
        "config": {"mains_frequency": 60},
        "sum_stream": [1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24],
        "count_stream": [1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1]})";
    const Capture c = kevra_tool::parse_capture(text, "minimal.json", ".");
    kevra_config want = kevra_tool::default_config();
    want.mains_frequency = 60;
    EXPECT_TRUE(same_bytes(want, c.config));
    kevra_parameter p = kevra_tool::default_parameter();
    p.row_num = 1;
    p.exposure_time = 5000.0f;
    p.line_time = 12.5f;
    EXPECT_TRUE(same_bytes(p, c.parameter));
    EXPECT_EQ(c.start_time, 0.0f);
    EXPECT_TRUE(same_bytes(kevra_tool::default_confidence_input(p, 0.0f, want), c.confidence_input));
    // The derived confidence input follows the fit: 240 Hz ripple harmonic 2,
    // and the middle of the first exposure (2500 us) as angle origin.
    EXPECT_FLOAT_EQ(c.confidence_input.angle_rate[1], 360.0f * 240.0f * 1e-6f);
    EXPECT_FLOAT_EQ(c.confidence_input.angle_offset[1], 216.0f);  // 0.0864 deg/us x 2500 us mod 360
}

struct BadCapture {
    const char* what;
    std::function<void(Json&)> spoil;  // null: `text` is the whole file
    const char* text;
    const char* field;
    const char* problem;
};

Json valid_capture_json() {
    Capture c = small_scene();
    c.parameter.row_num = 2;
    c.sum_stream.resize(48);
    c.count_stream.resize(48);
    return Json::parse(kevra_tool::capture_to_json_text(c));
}

class BadCaptureFile : public ::testing::TestWithParam<BadCapture> {};

TEST_P(BadCaptureFile, IsRefusedWithOneMessageNamingFileAndField) {
    const BadCapture& b = GetParam();
    TempDir dir;
    std::string text = b.text == nullptr ? "" : b.text;
    if (b.spoil) {
        Json doc = valid_capture_json();
        b.spoil(doc);
        text = doc.dump();
    }
    dir.write("bad.json", text);
    dir.write("six_bytes.bin", "abcdef");
    dir.write("one_row.bin", std::string(96, '\0'));
    try {
        kevra_tool::read_capture(dir.file("bad.json"));
        ADD_FAILURE() << b.what << ": accepted";
    } catch (const kevra_tool::InputError& e) {
        EXPECT_EQ(e.file(), dir.file("bad.json"));
        EXPECT_EQ(e.field(), b.field);
        EXPECT_NE(std::string(e.what()).find(b.problem), std::string::npos) << e.what();
        EXPECT_EQ(std::string(e.what()).find(dir.file("bad.json")), 0u) << e.what();
    }
}

INSTANTIATE_TEST_SUITE_P(
    EachKind, BadCaptureFile,
    ::testing::Values(
        BadCapture{"empty file", nullptr, "", "", "not valid JSON"},
        BadCapture{"truncated", nullptr, R"({"parameter": {"row_num": 1)", "", "not valid JSON"},
        BadCapture{"not an object", nullptr, "[1, 2]", "", "expected a JSON object"},
        BadCapture{"no parameter", [](Json& d) { d.erase("parameter"); }, nullptr, "parameter", "missing"},
        BadCapture{"no row_num", [](Json& d) { d["parameter"].erase("row_num"); }, nullptr, "parameter.row_num",
                   "missing"},
        BadCapture{"no line_time", [](Json& d) { d["parameter"].erase("line_time"); }, nullptr,
                   "parameter.line_time", "missing"},
        BadCapture{"row_num text", [](Json& d) { d["parameter"]["row_num"] = "2"; }, nullptr, "parameter.row_num",
                   "expected a 32-bit integer, got a string"},
        BadCapture{"row_num fraction", [](Json& d) { d["parameter"]["row_num"] = 2.5; }, nullptr,
                   "parameter.row_num", "expected a 32-bit integer"},
        BadCapture{"row_num 257", [](Json& d) { d["parameter"]["row_num"] = 257; }, nullptr, "parameter.row_num",
                   "expected an integer in 0..256, got 257"},
        BadCapture{"row_num -1", [](Json& d) { d["parameter"]["row_num"] = -1; }, nullptr, "parameter.row_num",
                   "0..256"},
        BadCapture{"ratio_index 3", [](Json& d) { d["parameter"]["ratio_index"] = 3; }, nullptr,
                   "parameter.ratio_index", "0..2"},
        BadCapture{"float overflow", [](Json& d) { d["parameter"]["exposure_time"] = 1e39; }, nullptr,
                   "parameter.exposure_time", "outside the range of a float"},
        BadCapture{"int overflow", [](Json& d) { d["config"]["max_iterations"] = 4294967296; }, nullptr,
                   "config.max_iterations", "32-bit integer"},
        BadCapture{"misspelt field", [](Json& d) { d["config"]["mains_frequncy"] = 50; }, nullptr,
                   "config.mains_frequncy", "unknown field"},
        BadCapture{"unknown section", [](Json& d) { d["tuning"] = Json::object(); }, nullptr, "tuning",
                   "unknown field"},
        BadCapture{"short array", [](Json& d) { d["config"]["detect_ratio"] = {0.5, 0.5}; }, nullptr,
                   "config.detect_ratio", "expected an array of 5 numbers, got 2 elements"},
        BadCapture{"array element", [](Json& d) { d["config"]["fixed_weight"] = {1, 1, 1, true, 1, 1}; }, nullptr,
                   "config.fixed_weight[3]", "expected a number, got a boolean"},
        BadCapture{"config not object", [](Json& d) { d["config"] = 5; }, nullptr, "config", "expected an object"},
        BadCapture{"confidence field", [](Json& d) { d["confidence_input"]["sum_norm_a"] = 1.5; }, nullptr,
                   "confidence_input.sum_norm_a", "32-bit integer"},
        BadCapture{"stream too short", [](Json& d) { d["sum_stream"].erase(47); }, nullptr, "sum_stream",
                   "expected 48 words (row_num x 24), got 47"},
        BadCapture{"stream too long", [](Json& d) { d["count_stream"].push_back(0); }, nullptr, "count_stream",
                   "expected 48 words"},
        BadCapture{"negative word", [](Json& d) { d["sum_stream"][5] = -1; }, nullptr, "sum_stream[5]",
                   "expected an integer in 0..4294967295"},
        BadCapture{"word too large", [](Json& d) { d["count_stream"][0] = 4294967296; }, nullptr,
                   "count_stream[0]", "0..4294967295"},
        BadCapture{"no stream", [](Json& d) { d.erase("count_stream"); }, nullptr, "count_stream", "missing"},
        BadCapture{"stream object", [](Json& d) { d["sum_stream"] = Json::object(); }, nullptr, "sum_stream",
                   "expected an array of words or a file path"},
        BadCapture{"missing dump", [](Json& d) { d["sum_stream"] = "nowhere.bin"; }, nullptr, "sum_stream",
                   "No such file or directory"},
        BadCapture{"odd dump", [](Json& d) { d["sum_stream"] = "six_bytes.bin"; }, nullptr, "sum_stream",
                   "holds 6 bytes, not a whole number of 32-bit words"},
        BadCapture{"short dump", [](Json& d) { d["count_stream"] = "one_row.bin"; }, nullptr, "count_stream",
                   "expected 48 words (row_num x 24), got 24"},
        BadCapture{"wrong format", [](Json& d) { d["format"] = "other"; }, nullptr, "format", "kevra-capture"}),
    [](const auto& case_info) {
        std::string name = case_info.param.what;
        for (char& ch : name)
            if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
        return name;
    });

TEST(CaptureFile, UnreadableFilesAreNamed) {
    TempDir dir;
    for (const std::string& path : {dir.file("absent.json"), dir.file("")}) {
        try {
            kevra_tool::read_capture(path);
            ADD_FAILURE() << path << " accepted";
        } catch (const kevra_tool::InputError& e) {
            EXPECT_EQ(e.file(), path);
            EXPECT_NE(std::string(e.what()).find("cannot read"), std::string::npos) << e.what();
        }
    }
}

}  // namespace
