// Separate scene classifiers share nothing: sequences classified on several
// threads at once give exactly the results of the same sequences classified
// one after another on a single classifier (reset between them). The tsan
// suite runs this under ThreadSanitizer.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "kevra_scene.h"
#include "robustness/on_threads.h"
#include "support/scene_sequence.h"

namespace {

constexpr int kThreads = 4;
constexpr int kJobs = 8;  // a power of two: any odd stride visits every job

kevra_test::SequencePlan plan(int job) {
    kevra_test::SequencePlan s;
    s.mains = job % 2 ? 60.0 : 50.0;
    s.fps = job % 3 ? 30.0 : 24.0;
    s.ripple[0] = 0.03 * (job % 4);
    s.picture = kevra_test::Picture(job % 3);
    s.motion = job % 4 == 1 ? 40 : 0;
    s.rows = 64;
    s.seed = uint64_t(job) + 1;
    return s;
}

std::vector<unsigned char> classify(QORKEVRASCENE& c, const std::vector<kevra_test::SequenceFrame>& frames) {
    std::vector<unsigned char> bytes;
    for (const auto& f : frames) {
        kevra_scene_result r{};
        if (c.ProcessFrame(&f.frame, &r) != KEVRA_STATUS_OK) return {};
        const auto* p = reinterpret_cast<const unsigned char*>(&r);
        bytes.insert(bytes.end(), p, p + sizeof r);
    }
    return bytes;
}

TEST(Concurrency, SceneClassifiersOnSeveralThreadsMatchSequentialRuns) {
    std::vector<std::vector<kevra_test::SequenceFrame>> sequences;
    std::vector<std::vector<unsigned char>> want;
    QORKEVRASCENE* one = QORKEVRASCENE::createInstance();
    for (int j = 0; j < kJobs; ++j) {
        sequences.push_back(kevra_test::make_sequence(plan(j)));
        one->Reset();
        want.push_back(classify(*one, sequences.back()));
        ASSERT_FALSE(want.back().empty());
    }
    one->destroyInstance(one);

    const std::vector<int> mismatches = kevra_test::mismatches_on_threads(kThreads, kJobs, [&](int, int j) {
        QORKEVRASCENE* c = QORKEVRASCENE::createInstance();
        const bool same = classify(*c, sequences[size_t(j)]) == want[size_t(j)];
        c->destroyInstance(c);
        return same;
    });
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(mismatches[t], 0) << "thread " << t;
}

}  // namespace
