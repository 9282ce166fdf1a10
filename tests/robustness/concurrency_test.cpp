// Separate detectors share nothing: many of them, created, run and destroyed on
// several threads at once, give exactly the results of the same runs made one
// after another on a single detector. The tsan suite runs this under
// ThreadSanitizer, which also reports any unsynchronised shared state.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "robustness/scene_run.h"

namespace {

using kevra_test::SceneRun;

constexpr int kThreads = 4;
constexpr int kDetectorsPerThread = 2;
constexpr int kJobs = 16;
constexpr int kRounds = 2;

// Scenes of every weighting mode, both mains frequencies and assorted lengths.
std::unique_ptr<SceneRun> make_scene(int job) {
    auto s = std::make_unique<SceneRun>(17 + 15 * job, job % 2 ? 60 : 50, 0.02 * (job % 5), 100 + job);
    s->run.config.weight_enable = job % 3 != 0;
    s->run.config.weight_fixed = job % 3 == 2;
    s->run.config.weight_base_x10 = 20;
    s->run.config.weight_exponent_x10 = 10;
    for (int z = 0; z < 6; ++z) s->run.config.fixed_weight[z] = 1.0f + 0.25f * z;
    return s;
}

QORKEVRA* make_detector(int k) {
    return k % 2 ? QORKEVRA::createInstance() : static_cast<QORKEVRA*>(AppKEVRA::getInstance());
}

TEST(Concurrency, DetectorsOnSeveralThreadsMatchSequentialRuns) {
    std::vector<std::vector<unsigned char>> want(kJobs);
    {
        AppKEVRA* d = AppKEVRA::getInstance();
        for (int j = 0; j < kJobs; ++j) {
            auto scene = make_scene(j);
            ASSERT_TRUE(scene->detect(*d));
            want[j] = scene->outputs();
        }
        d->destroyInstance(d);
    }

    // Every thread runs every job, each round in its own order, spreading them
    // over its own detectors; all threads start together.
    std::vector<std::vector<std::unique_ptr<SceneRun>>> scenes(kThreads);
    for (auto& mine : scenes) {
        for (int j = 0; j < kJobs; ++j) mine.push_back(make_scene(j));
    }
    std::vector<std::vector<int>> mismatches(kThreads);
    std::atomic<int> waiting{kThreads};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            QORKEVRA* detectors[kDetectorsPerThread];
            for (int k = 0; k < kDetectorsPerThread; ++k) detectors[k] = make_detector(t + k);
            waiting.fetch_sub(1);
            while (waiting.load() > 0) std::this_thread::yield();
            for (int round = 0; round < kRounds; ++round) {
                for (int n = 0; n < kJobs; ++n) {
                    const int j = (n * (2 * t + 1) + round) % kJobs;
                    SceneRun& scene = *scenes[t][j];
                    auto* d = static_cast<AppKEVRA*>(detectors[(n + round) % kDetectorsPerThread]);
                    if (!scene.detect(*d) || scene.outputs() != want[j]) mismatches[t].push_back(j);
                }
            }
            for (QORKEVRA* d : detectors) d->destroyInstance(d);
        });
    }
    for (std::thread& th : threads) th.join();
    for (int t = 0; t < kThreads; ++t) {
        EXPECT_TRUE(mismatches[t].empty()) << "thread " << t << ", first job " << mismatches[t].front();
    }
}

}  // namespace
