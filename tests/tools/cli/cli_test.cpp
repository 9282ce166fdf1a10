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

// Every report reads back to itself, the dark capture's NaN levels travelling
// as null; pictures are numbered by their place in the batch, and a lone
// capture (without one, the built-in sample) is drawn to the picture named.
TEST(DetectCommand, BatchReportsEveryBadFileGoesOnAndFailsAtTheEnd) {
    TempDir dir;
    ASSERT_EQ(run_cli({"synth", "--rows", "37", "--empty-zones", "0,1,2,3,4,5", "-o", dir.file("a.json")}).status, 0);
    ASSERT_EQ(run_cli({"synth", "--rows", "16", "--mains", "60", "-o", dir.file("c.json")}).status, 0);
    dir.write("b.json", "{\"parameter\": ");
    const auto run = run_cli({"detect", "--json", "--plot", dir.file("p.svg"), dir.file("a.json"), dir.file("b.json"),
                              dir.file("missing.json"), dir.file(""), dir.file("c.json")});
    EXPECT_EQ(run.status, 1);
    std::istringstream lines(run.out);
    std::vector<std::string> captures;
    for (std::string line; std::getline(lines, line);) {
        const Json json = Json::parse(line);
        EXPECT_EQ(kevra_tool::report_to_json(kevra_tool::report_from_json(json, "report")).dump(), json.dump());
        captures.push_back(json["capture"]);
    }
    EXPECT_EQ(captures, (std::vector<std::string>{dir.file("a.json"), dir.file("c.json")}));
    EXPECT_EQ(dir.entries(), (std::set<std::string>{"a.json", "b.json", "c.json", "p-0001.svg", "p-0005.svg"}));
    for (const std::string& message :
         {"kevra: " + dir.file("b.json") + ": not valid JSON", "kevra: " + dir.file("missing.json") + ": cannot read",
          "kevra: " + dir.file("") + ": cannot read", std::string("kevra: 3 of 5 captures failed")})
        EXPECT_EQ(occurrences(run.err, message), 1u) << run.err;
    EXPECT_EQ(occurrences(run.err, "[1/"), 0u);  // progress only when asked
    EXPECT_EQ(occurrences(run_cli({"detect", dir.file("a.json"), dir.file("c.json")}, true).err, "[2/2] "), 1u);
    const auto sample = run_cli({"detect", "--plot", dir.file("one.svg")});
    EXPECT_EQ(sample.out.rfind("built-in sample", 0), 0u) << sample.err;
    std::string svg, reason;
    ASSERT_TRUE(kevra_tool::read_file(dir.file("one.svg"), svg, reason));
    EXPECT_EQ(occurrences(svg, "Channel "), 4u);
}

// A bad option (here NaN, and the 24-bit limit of a zone sum: 33 x 512 pixels
// of 10 bits do not fit, 32 x 512 do) or an unwritable output leaves no file.
// The binary streams are written first; renaming over a directory fails last.
TEST(SynthCommand, BadOptionsAndUnwritableOutputsLeaveNoFile) {
    TempDir dir;
    std::filesystem::create_directory(dir.file("taken.json"));
    const std::string x = dir.file("x.json");
    const struct { std::vector<std::string> args; std::string message; } cases[] = {
        {{"synth", "-o", x, "--noise", "nan"}, "kevra: synth: --noise: expected a value >= 0"},
        {{"synth", "-o", x, "--lines-per-row", "65", "--zone-width", "1024"}, "could reach 17284608, beyond 24 bits"},
        {{"synth", "-o", dir.file("taken.json"), "--binary"}, dir.file("taken.json") + ": cannot write"},
    };
    for (const auto& c : cases) {
        const auto run = run_cli(c.args);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(occurrences(run.err, c.message), 1u) << run.err;
        EXPECT_EQ(dir.entries(), std::set<std::string>{"taken.json"}) << run.err;
    }
    EXPECT_EQ(run_cli({"synth", "-o", x, "--rows", "1", "--lines-per-row", "64", "--zone-width", "1024"}).status, 0);
}

}  // namespace
