// Capture files: what is written reads back to the same run, defaults fill
// what a file leaves out, and every kind of bad file is refused by name.
#include <gtest/gtest.h>

#include <cstring>

#include "capture.h"
#include "file_io.h"
#include "input_error.h"
#include "json_values.h"
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

Capture synthetic_capture(int rows) {
    kevra_tool::Scene s;
    s.rows = rows;
    s.start_time = 123456.5f;
    s.mains_frequency = 60.0;
    return kevra_tool::synthesize(s);
}

// Fields equal to the default tuning, and to the confidence input derived from
// the fit's timing, may be left out and must read back the same; others (60 Hz,
// and those the binary pass sets) must be written. Binary streams are
// little-endian words beside the capture.
TEST(CaptureFile, ReadsBackTheSameRecordsAndStreamsInlineAndBinary) {
    for (auto storage : {kevra_tool::StreamStorage::Inline, kevra_tool::StreamStorage::Binary}) {
        const bool binary = storage == kevra_tool::StreamStorage::Binary;
        TempDir dir;
        Capture c = synthetic_capture(40);
        c.count_stream.back() = 0xFF000001u;
        if (binary) c.timestamp_ns = INT64_C(9007199254740993);  // not a double: must stay an integer
        if (binary) {
            c.config.detect_ratio[2] = 0.123456789f;
            c.config.max_iterations = 7;
            c.confidence_input.band_margin = 0.1f;
            c.parameter.ratio_table[1] = 1.1f;
        }
        kevra_tool::write_capture(dir.file("cap.json"), c, storage);
        const Capture back = kevra_tool::read_capture(dir.file("cap.json"));
        EXPECT_TRUE(same_bytes(c.parameter, back.parameter) && same_bytes(c.config, back.config));
        EXPECT_TRUE(same_bytes(c.confidence_input, back.confidence_input) && same_bytes(c.start_time, back.start_time));
        EXPECT_TRUE(c.sum_stream == back.sum_stream && c.count_stream == back.count_stream);
        EXPECT_EQ(c.timestamp_ns, back.timestamp_ns);
        std::string count, reason;
        if (binary && kevra_tool::read_file(dir.file("cap.count.bin"), count, reason)) {
            EXPECT_EQ(count.substr(count.size() - 4), std::string("\x01\x00\x00\xFF", 4));
        }
        EXPECT_EQ(dir.entries().size(), binary ? 3u : 1u);
    }
}

// A JSON object is merged (null removes a field) into a valid capture of two
// rows. One case per kind of check; syntax errors are the command line's.
TEST(CaptureFile, RefusesEveryKindOfBadFileOnceNamingFileAndField) {
    const struct { const char* change; const char* field; const char* problem; } cases[] = {
        {R"({"config": {"mains_frequncy": 50}})", "config.mains_frequncy", "unknown field"},
        {R"({"parameter": {"line_time": null}})", "parameter.line_time", "missing"},
        {R"({"parameter": {"row_num": 257}})", "parameter.row_num", "expected an integer in 0..256, got 257"},
        {R"({"parameter": {"exposure_time": 1e39}})", "parameter.exposure_time", "outside the range of a float"},
        {R"({"config": {"fixed_weight": [1, 1, 1, true, 1, 1]}})", "config.fixed_weight[3]", "number, got a boolean"},
        {R"({"sum_stream": [1]})", "sum_stream", "expected 48 words (row_num x 24), got 1"},
        {R"({"sum_stream": [0, -1]})", "sum_stream[1]", "expected an integer in 0..4294967295"},
        {R"({"count_stream": [4294967296]})", "count_stream[0]", "0..4294967295"},
        {R"({"sum_stream": "six_bytes.bin"})", "sum_stream", "holds 6 bytes, not a whole number of 32-bit words"},
        {R"({"timestamp_ns": 1.5})", "timestamp_ns", "expected an integer number of nanoseconds"},
        {R"({"version": 1, "timestamp_ns": 5})", "timestamp_ns", "needs \"version\": 2"},
        {R"({"version": 3})", "version", "expected 1 or 2, got 3"},
    };
    TempDir dir;
    dir.write("six_bytes.bin", "abcdef");
    const std::string bad = dir.file("bad.json");
    for (const auto& k : cases) {
        Json doc = Json::parse(kevra_tool::capture_to_json_text(synthetic_capture(2)));
        doc.merge_patch(Json::parse(k.change));
        dir.write("bad.json", doc.dump());
        try {
            kevra_tool::read_capture(bad);
            ADD_FAILURE() << k.change << ": accepted";
        } catch (const kevra_tool::InputError& e) {
            EXPECT_TRUE(e.file() == bad && e.field() == k.field) << e.what();
            EXPECT_EQ(std::string(e.what()).rfind(bad + ": ", 0), 0u) << e.what();
            EXPECT_NE(std::string(e.what()).find(k.problem), std::string::npos) << e.what();
        }
    }
}

}  // namespace
