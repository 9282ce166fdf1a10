// Replays the fuzz corpus (the seeds, every refused call among them, and any
// input a fuzzer ever failed on) through the fuzz targets' checks with this
// build's vector backend. On the aarch64 build that is NEON, which the
// fuzzers, built for the host, never run. A failing check aborts the program
// after naming the input. KEVRA_FUZZ_CORPUS in the environment names another
// corpus root, such as a fuzzer's working corpus (build/fuzz/corpus).
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "targets.h"

namespace {

namespace fs = std::filesystem;

struct Target {
    const char* name;
    void (*run)(const uint8_t*, size_t);
};

class CorpusReplay : public ::testing::TestWithParam<Target> {};

TEST_P(CorpusReplay, EveryInputPassesTheTargetsChecks) {
    const char* root = std::getenv("KEVRA_FUZZ_CORPUS");
    const fs::path dir = fs::path(root != nullptr ? root : KEVRA_FUZZ_CORPUS) / GetParam().name;
    ASSERT_TRUE(fs::is_directory(dir)) << dir;
    int inputs = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(dir)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        std::printf("replaying %s\n", entry.path().c_str());
        std::fflush(stdout);
        GetParam().run(bytes.data(), bytes.size());
        ++inputs;
    }
    EXPECT_GT(inputs, 0);
}

INSTANTIATE_TEST_SUITE_P(Fuzz, CorpusReplay,
                         ::testing::Values(Target{"kevr_main", kevra_fuzz::kevr_main_target},
                                           Target{"confidence_index", kevra_fuzz::confidence_index_target},
                                           Target{"solver", kevra_fuzz::solver_target},
                                           Target{"numeric_members", kevra_fuzz::numeric_members_target},
                                           Target{"scene", kevra_fuzz::scene_target}),
                         [](const ::testing::TestParamInfo<Target>& p) { return std::string(p.param.name); });

}  // namespace
