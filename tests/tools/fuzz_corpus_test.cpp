// Replays the tool's fuzz corpus (seeds and every input a fuzzer failed on)
// through the fuzz targets' checks, which abort on a failure.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "tool_targets.h"

namespace {

TEST(ToolFuzzCorpus, EveryInputPassesTheTargetsChecks) {
    const struct {
        const char* name;
        void (*run)(const uint8_t*, size_t);
    } targets[] = {{"capture_reader", kevra_fuzz::capture_reader_target},
                   {"picture_stats", kevra_fuzz::picture_stats_target}};
    for (const auto& t : targets) {
        int inputs = 0;
        for (const auto& entry : std::filesystem::directory_iterator(std::string(KEVRA_TOOL_FUZZ_CORPUS) + "/" + t.name)) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
            SCOPED_TRACE(entry.path().string());
            t.run(bytes.data(), bytes.size());
            ++inputs;
        }
        EXPECT_GT(inputs, 0) << t.name;
    }
}

}  // namespace
