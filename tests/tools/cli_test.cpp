// The command line: batches that survive bad files, no partial outputs, and
// reports that read back.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <sstream>

#include "capture.h"
#include "file_io.h"
#include "input_error.h"
#include "report.h"
#include "tool_test_support.h"

namespace {

using kevra_tool::Json;
using kevra_tool_test::run_cli;
using kevra_tool_test::TempDir;

bool same_float(float a, float b) {
    return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

bool same_floats(const std::vector<float>& a, const std::vector<float>& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (!same_float(a[i], b[i])) return false;
    return true;
}

void expect_same_report(const kevra_tool::DetectionReport& a, const kevra_tool::DetectionReport& b) {
    EXPECT_EQ(a.capture, b.capture);
    EXPECT_EQ(a.row_num, b.row_num);
    EXPECT_EQ(a.mains_frequency, b.mains_frequency);
    EXPECT_EQ(a.lines_per_row, b.lines_per_row);
    EXPECT_TRUE(same_float(a.exposure_time, b.exposure_time) && same_float(a.line_time, b.line_time));
    for (size_t c = 0; c < 4; ++c) {
        const auto &x = a.channels[c], &y = b.channels[c];
        EXPECT_TRUE(same_float(x.offset, y.offset)) << c;
        for (size_t h = 0; h < 3; ++h)
            EXPECT_TRUE(same_float(x.amplitude[h], y.amplitude[h]) && same_float(x.phase[h], y.phase[h])) << c;
        EXPECT_EQ(x.iterations, y.iterations);
        EXPECT_TRUE(same_floats(x.row_level, y.row_level)) << c;
        EXPECT_TRUE(same_floats(x.model, y.model)) << c;
    }
    for (auto [p, q] : {std::pair{a.model_min, b.model_min}, {a.model_max, b.model_max},
                        {a.model_range, b.model_range}, {a.band_low, b.band_low}, {a.band_high, b.band_high},
                        {a.detect_ratio, b.detect_ratio}, {a.confidence_index, b.confidence_index},
                        {a.confidence_debug.peak_error, b.confidence_debug.peak_error},
                        {a.confidence_debug.mean_error, b.confidence_debug.mean_error}})
        EXPECT_TRUE(same_float(p, q)) << p << " " << q;
    EXPECT_EQ(a.band, b.band);
    EXPECT_EQ(a.rows_required, b.rows_required);
    EXPECT_EQ(a.flicker_detected, b.flicker_detected);
    EXPECT_EQ(a.confidence_debug.peak_row, b.confidence_debug.peak_row);
    EXPECT_EQ(a.confidence_debug.peak_zone, b.confidence_debug.peak_zone);
    EXPECT_EQ(a.confidence_debug.mean_zone, b.confidence_debug.mean_zone);
}

TEST(DetectCommand, RunsTheBuiltInSampleWithoutArguments) {
    const auto run = run_cli({"detect"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("built-in sample"), std::string::npos);
    EXPECT_NE(run.out.find("decision: "), std::string::npos);
    EXPECT_EQ(run.err, "");
}

TEST(DetectCommand, JsonReportReadsBackToTheSameReport) {
    TempDir dir;
    // Rows without data make NaN levels, which travel as null.
    ASSERT_EQ(run_cli({"synth", "--rows", "37", "--empty-zones", "0,1,2,3,4,5", "-o", dir.file("dark.json")}).status, 0);
    for (const auto& args : {std::vector<std::string>{"detect", "--json"},
                             std::vector<std::string>{"detect", "--json", dir.file("dark.json")}}) {
        std::vector<const char*> argv{"kevra"};
        for (const std::string& a : args) argv.push_back(a.c_str());
        std::ostringstream out, err;
        ASSERT_EQ(kevra_tool::run_cli(int(argv.size()), argv.data(), out, err, false), 0) << err.str();
        const Json json = Json::parse(out.str());
        const kevra_tool::DetectionReport report = kevra_tool::report_from_json(json, "report");
        EXPECT_EQ(kevra_tool::report_to_json(report).dump(), json.dump());
        expect_same_report(report, kevra_tool::report_from_json(Json::parse(kevra_tool::report_to_json(report).dump()), "again"));
        EXPECT_EQ(report.channels[1].row_level.size(), size_t(report.row_num));
    }
}

TEST(DetectCommand, BatchReportsEveryBadFileGoesOnAndFailsAtTheEnd) {
    TempDir dir;
    ASSERT_EQ(run_cli({"synth", "--rows", "16", "-o", dir.file("a.json")}).status, 0);
    ASSERT_EQ(run_cli({"synth", "--rows", "16", "--mains", "60", "-o", dir.file("c.json")}).status, 0);
    dir.write("b.json", "{\"parameter\": ");
    const auto run = run_cli({"detect", "--json", dir.file("a.json"), dir.file("b.json"), dir.file("missing.json"),
                              dir.file("c.json")});
    EXPECT_EQ(run.status, 1);
    std::istringstream lines(run.out);
    std::vector<std::string> captures;
    for (std::string line; std::getline(lines, line);) captures.push_back(Json::parse(line)["capture"]);
    EXPECT_EQ(captures, (std::vector<std::string>{dir.file("a.json"), dir.file("c.json")}));
    EXPECT_NE(run.err.find("kevra: " + dir.file("b.json") + ": not valid JSON"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("kevra: " + dir.file("missing.json") + ": cannot read"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("2 of 4 captures failed"), std::string::npos) << run.err;
}

TEST(DetectCommand, ShowsProgressOnlyWhenAsked) {
    TempDir dir;
    ASSERT_EQ(run_cli({"synth", "--rows", "8", "-o", dir.file("a.json")}).status, 0);
    EXPECT_EQ(run_cli({"detect", dir.file("a.json"), dir.file("a.json")}, false).err, "");
    const auto shown = run_cli({"detect", dir.file("a.json"), dir.file("a.json")}, true);
    EXPECT_NE(shown.err.find("[2/2] "), std::string::npos);
}

TEST(DetectCommand, PlotsOnePictureWithFourPanelsPerCapture) {
    TempDir dir;
    ASSERT_EQ(run_cli({"synth", "--rows", "20", "-o", dir.file("a.json")}).status, 0);
    ASSERT_EQ(run_cli({"detect", "--plot", dir.file("one.svg"), dir.file("a.json")}).status, 0);
    ASSERT_EQ(run_cli({"detect", "--plot", dir.file("many.svg"), dir.file("a.json"), dir.file("a.json")}).status, 0);
    EXPECT_EQ(dir.entries(), (std::vector<std::string>{"a.json", "many-0001.svg", "many-0002.svg", "one.svg"}));
    std::string svg, reason;
    ASSERT_TRUE(kevra_tool::read_file(dir.file("one.svg"), svg, reason));
    EXPECT_EQ(svg.rfind("<svg", 0), 0u);
    size_t panels = 0;
    for (size_t at = svg.find("Channel "); at != std::string::npos; at = svg.find("Channel ", at + 1)) ++panels;
    EXPECT_EQ(panels, 4u);
    EXPECT_NE(svg.find("confidence index"), std::string::npos);
}

TEST(SynthCommand, BadOptionsAndUnwritableOutputsLeaveNoFile) {
    TempDir dir;
    struct Case {
        std::vector<std::string> args;
        const char* message;
    };
    const std::string out_file = dir.file("x.json");
    std::filesystem::create_directory(dir.file("taken.json"));  // renaming over it fails after writing
    const Case cases[] = {
        {{"-o", out_file, "--rows", "300"}, "kevra: synth: --rows: expected 0..256"},
        {{"-o", out_file, "--zone-gain", "1,1,1"}, "--zone-gain: expected six values"},
        {{"-o", out_file, "--lines-per-row", "66", "--zone-width", "1024"}, "beyond 24 bits"},
        {{"-o", dir.file("no/such/dir/x.json")}, "no/such/dir/x.json: cannot write"},
        {{"-o", dir.file("no/such/dir/x.json"), "--binary"}, "no/such/dir/x.sum.bin: cannot write"},
        {{"-o", dir.file("taken.json")}, "taken.json: cannot write"},
        {{"-o", dir.file("taken.json"), "--binary"}, "taken.json: cannot write"},
    };
    for (const Case& c : cases) {
        std::vector<std::string> args{"kevra", "synth"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        std::vector<const char*> argv;
        for (const std::string& a : args) argv.push_back(a.c_str());
        std::ostringstream out, err;
        EXPECT_EQ(kevra_tool::run_cli(int(argv.size()), argv.data(), out, err, false), 1);
        EXPECT_NE(err.str().find(c.message), std::string::npos) << err.str();
        EXPECT_EQ(dir.entries(), std::vector<std::string>{"taken.json"}) << err.str();
    }
    EXPECT_NE(run_cli({"synth"}).status, 0);  // -o is required
    EXPECT_NE(run_cli({"frobnicate"}).status, 0);
}

}  // namespace
