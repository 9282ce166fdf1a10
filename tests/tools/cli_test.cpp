// The command line: reports that read back, batches that survive bad files,
// one picture per capture, and no partial outputs.
#include <gtest/gtest.h>

#include <sstream>

#include "file_io.h"
#include "report.h"
#include "tool_test_support.h"

namespace {

using kevra_tool::Json;
using kevra_tool_test::run_cli;
using kevra_tool_test::TempDir;

size_t occurrences(const std::string& text, const std::string& word) {
    size_t n = 0;
    for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++n;
    return n;
}

// Without a capture the built-in sample runs; rows without data make NaN
// levels, which travel as null. One capture is drawn to the picture named.
TEST(DetectCommand, JsonReportReadsBackToTheSameReportAndOnePictureHasFourPanels) {
    TempDir dir;
    ASSERT_EQ(run_cli({"synth", "--rows", "37", "--empty-zones", "0,1,2,3,4,5", "-o", dir.file("dark.json")}).status,
              0);
    for (const std::string& capture : {std::string(), dir.file("dark.json")}) {
        std::vector<std::string> args{"detect", "--json", "--plot", dir.file("one.svg")};
        if (!capture.empty()) args.push_back(capture);
        const auto run = run_cli(args);
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err, "");
        const Json json = Json::parse(run.out);
        const kevra_tool::DetectionReport report = kevra_tool::report_from_json(json, "report");
        EXPECT_EQ(kevra_tool::report_to_json(report).dump(), json.dump());
        EXPECT_EQ(report.capture.find("built-in sample"), capture.empty() ? 0 : std::string::npos);
    }
    EXPECT_EQ(dir.entries(), (std::set<std::string>{"dark.json", "one.svg"}));
    std::string svg, reason;
    ASSERT_TRUE(kevra_tool::read_file(dir.file("one.svg"), svg, reason));
    EXPECT_EQ(svg.rfind("<svg", 0), 0u);
    EXPECT_EQ(occurrences(svg, "Channel "), 4u);
}

// Pictures of several captures are numbered by their place in the batch.
TEST(DetectCommand, BatchReportsEveryBadFileGoesOnAndFailsAtTheEnd) {
    TempDir dir;
    ASSERT_EQ(run_cli({"synth", "--rows", "16", "-o", dir.file("a.json")}).status, 0);
    ASSERT_EQ(run_cli({"synth", "--rows", "16", "--mains", "60", "-o", dir.file("c.json")}).status, 0);
    dir.write("b.json", "{\"parameter\": ");
    const auto run = run_cli({"detect", "--json", "--plot", dir.file("p.svg"), dir.file("a.json"), dir.file("b.json"),
                              dir.file("missing.json"), dir.file(""), dir.file("c.json")});
    EXPECT_EQ(run.status, 1);
    std::istringstream lines(run.out);
    std::vector<std::string> captures;
    for (std::string line; std::getline(lines, line);) captures.push_back(Json::parse(line)["capture"]);
    EXPECT_EQ(captures, (std::vector<std::string>{dir.file("a.json"), dir.file("c.json")}));
    EXPECT_EQ(dir.entries(), (std::set<std::string>{"a.json", "b.json", "c.json", "p-0001.svg", "p-0005.svg"}));
    for (const std::string& message :
         {"kevra: " + dir.file("b.json") + ": not valid JSON", "kevra: " + dir.file("missing.json") + ": cannot read",
          "kevra: " + dir.file("") + ": cannot read", std::string("kevra: 3 of 5 captures failed")})
        EXPECT_EQ(occurrences(run.err, message), 1u) << run.err;
    EXPECT_EQ(occurrences(run.err, "[1/"), 0u);  // progress only when asked
    const auto text = run_cli({"detect", dir.file("a.json"), dir.file("c.json")}, true);
    EXPECT_EQ(occurrences(text.out, "decision: "), 2u);
    EXPECT_EQ(occurrences(text.err, "[2/2] "), 1u);
}

// Renaming over a directory fails after the data is written.
TEST(SynthCommand, BadOptionsAndUnwritableOutputsLeaveNoFile) {
    TempDir dir;
    std::filesystem::create_directory(dir.file("taken.json"));
    const std::string out = dir.file("x.json"), lost = dir.file("no/such/dir/x.json");
    const struct { std::vector<std::string> args; std::string message; } cases[] = {
        {{"synth", "-o", out, "--rows", "300"}, "kevra: synth: --rows: expected 0..256"},
        {{"synth", "-o", out, "--rows", "-1"}, "--rows: expected 0..256"},
        {{"synth", "-o", out, "--zone-gain", "1,1,1"}, "--zone-gain: expected six values"},
        {{"synth", "-o", out, "--zone-gain", "1,1,1,-1,1,1"}, "--zone-gain: expected six values >= 0"},
        {{"synth", "-o", out, "--depth", "1.5"}, "--depth: expected a share in 0..1"},
        {{"synth", "-o", out, "--mains", "0"}, "--mains: expected a frequency"},
        {{"synth", "-o", out, "--harmonics", "1,2"}, "--harmonics: expected three amplitudes"},
        {{"synth", "-o", out, "--harmonics", "0,0,0"}, "--harmonics: expected finite amplitudes, not all 0"},
        {{"synth", "-o", out, "--line-time", "0"}, "--line-time: expected a time > 0 us"},
        {{"synth", "-o", out, "--exposure", "-1"}, "--exposure: expected a time >= 0 us"},
        {{"synth", "-o", out, "--empty-zones", "6"}, "--empty-zones: expected zone numbers 0..5"},
        {{"synth", "-o", out, "--noise", "nan"}, "--noise: expected a value >= 0"},
        // 33 x 512 pixels of 10 bits do not fit 24 bits; 32 x 512 do (below).
        {{"synth", "-o", out, "--lines-per-row", "65", "--zone-width", "1024"},
         "--zone-width: a zone sum could reach 17284608, beyond 24 bits"},
        {{"synth", "-o", lost}, lost + ": cannot write"},
        {{"synth", "-o", lost, "--binary"}, dir.file("no/such/dir/x.sum.bin") + ": cannot write"},
        {{"synth", "-o", dir.file("taken.json")}, "taken.json: cannot write"},
        {{"synth", "-o", dir.file("taken.json"), "--binary"}, "taken.json: cannot write"},
    };
    for (const auto& c : cases) {
        const auto run = run_cli(c.args);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(occurrences(run.err, c.message), 1u) << run.err;
        EXPECT_EQ(dir.entries(), std::set<std::string>{"taken.json"}) << run.err;
    }
    EXPECT_EQ(run_cli({"synth", "-o", out, "--rows", "1", "--lines-per-row", "64", "--zone-width", "1024"}).status, 0);
    EXPECT_NE(run_cli({"synth"}).status, 0);  // -o is required
    EXPECT_NE(run_cli({"frobnicate"}).status, 0);
}

}  // namespace
