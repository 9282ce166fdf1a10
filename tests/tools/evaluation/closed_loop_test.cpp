// The benchmark in the loop on a handful of sequences: every setting scored,
// rates that can only grow with the frame, and a manifest the recipe does not
// redraw refused.
#include <gtest/gtest.h>

#include <filesystem>

#include "json_values.h"
#include "tool_test_support.h"

namespace {

TEST(ClosedLoop, ScoresEverySettingAndRefusesAManifestFromOtherPictures) {
    kevra_tool_test::TempDir dir;
    std::filesystem::create_directory(dir.file("pictures"));  // uniform scenes only
    ASSERT_EQ(kevra_tool_test::run_cli({"benchmark", "-o", dir.file("b"), "--seed", "7", "--sequences", "4",
                                        "--pictures", dir.file("pictures")}).status, 0);
    const auto run = kevra_tool_test::run_cli({"eval", dir.file("b/manifest.json"), "--json", "--methods", "kevra-scene",
                                               "--closed-loop", "--frames", "12", "--pictures", dir.file("pictures")});
    ASSERT_EQ(run.status, 0) << run.err;
    const kevra_tool::Json loop = kevra_tool::Json::parse(run.out)["closed_loop"];
    EXPECT_EQ(loop["sequences"], 2);
    ASSERT_EQ(loop["settings"].size(), 8u);
    for (const auto& s : loop["settings"]) {
        EXPECT_LE(s["settled_by_frame_3"].get<double>(), s["settled_by_frame_6"].get<double>());
        EXPECT_LE(s["settled_by_frame_6"].get<double>(), s["settled_by_frame_12"].get<double>());
        if (!s["probe"].get<bool>()) {
            EXPECT_EQ(s["probes_per_sequence"], 0.0);  // only a probing classifier asks
        }
    }

    const auto refused = kevra_tool_test::run_cli({"eval", dir.file("b/manifest.json"), "--closed-loop"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("draws another sequence"), std::string::npos) << refused.err;
}

}  // namespace
