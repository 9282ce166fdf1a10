// Separate detectors share nothing: detectors created, run and destroyed on
// several threads at once give exactly the bytes of the same runs made one after
// another on a single detector (which also shows that a run leaves nothing
// behind for the next). The tsan suite runs this under ThreadSanitizer, which
// reports any unsynchronised shared state.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "robustness/on_threads.h"
#include "robustness/scene_run.h"

namespace {

using kevra_test::SceneRun;

constexpr int kThreads = 4;
constexpr int kJobs = 16;  // a power of two: any odd stride visits every job

// Every weighting mode, both mains frequencies and assorted lengths.
std::unique_ptr<SceneRun> make_scene(int job) {
    auto s = std::make_unique<SceneRun>(17 + 15 * job, job % 2 ? 60 : 50, 0.02 * (job % 5), 100 + job);
    s->set_weighting(job % 3);
    return s;
}

TEST(Concurrency, DetectorsOnSeveralThreadsMatchSequentialRuns) {
    std::vector<std::vector<unsigned char>> want;
    AppKEVRA* one = AppKEVRA::getInstance();
    for (int j = 0; j < kJobs; ++j) {
        auto scene = make_scene(j);
        ASSERT_TRUE(scene->detect(*one));
        want.push_back(scene->outputs());
    }
    one->destroyInstance(one);

    // Each thread runs every job in an order of its own, on a detector of its
    // own from either factory.
    const std::vector<int> mismatches = kevra_test::mismatches_on_threads(kThreads, kJobs, [&](int n, int j) {
        auto scene = make_scene(j);
        AppKEVRA* d = n % 2 ? AppKEVRA::getInstance() : static_cast<AppKEVRA*>(QORKEVRA::createInstance());
        const bool same = scene->detect(*d) && scene->outputs() == want[size_t(j)];
        d->destroyInstance(d);
        return same;
    });
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(mismatches[t], 0) << "thread " << t;
}

}  // namespace
