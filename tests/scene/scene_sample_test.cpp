// The answers and evidence on a varied sample of sequences are recorded once
// (from the x86-64 build) and every build must reproduce them to the bit: the
// aarch64 build runs this under qemu, so the two agree. Record anew with
// KEVRA_SCENE_SAMPLE_RECORD=1 after a deliberate change of the classifier.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>

#include "kevra_scene.h"
#include "support/scene_sequence.h"

namespace {

using kevra_test::Picture;
using kevra_test::SequencePlan;

uint32_t bits(float x) {
    uint32_t b;
    std::memcpy(&b, &x, sizeof b);
    return b;
}

SequencePlan sample_plan(std::mt19937_64& rng) {
    auto pick = [&](int n) { return int(rng() % uint64_t(n)); };
    const double fps[] = {30.0, 29.97, 25.0, 24.0, 60.0, 15.0, 50.0};
    const float exposure[] = {1000.0f, 4000.0f, 8333.3f, 10000.0f, 6000.0f, 16666.7f};
    SequencePlan s;
    s.mains = pick(2) ? 50.0 : 60.0;
    s.drift = 0.001 * (pick(7) - 3);
    const double depth[] = {0.0, 0.01, 0.03, 0.1, 0.4};
    s.ripple[0] = depth[pick(5)];
    s.ripple[1] = 0.2 * s.ripple[0];
    s.fps = fps[pick(7)];
    s.exposure = exposure[pick(6)];
    if (pick(4) == 0) {
        s.change_frame = 3;
        s.exposure_after = 0.7f * s.exposure;
    }
    s.picture = Picture(pick(3));
    s.motion = pick(3) == 0 ? pick(7) - 3 : 0;
    s.noise = 0.001 * (1 + pick(5));
    s.seed = rng();
    return s;
}

TEST(SceneSample, EveryBuildGivesTheRecordedAnswersAndEvidence) {
    std::mt19937_64 rng(2026);
    std::ostringstream got;
    std::unique_ptr<QORKEVRASCENE, void (*)(QORKEVRASCENE*)> s(QORKEVRASCENE::createInstance(),
                                                             [](QORKEVRASCENE* c) { c->destroyInstance(c); });
    for (int q = 0; q < 24; ++q) {
        s->Reset();
        for (const auto& f : kevra_test::make_sequence(sample_plan(rng))) {
            kevra_scene_result r{};
            ASSERT_EQ(s->ProcessFrame(&f.frame, &r), KEVRA_STATUS_OK);
            got << q << " " << r.scene_flicker << " " << bits(r.confidence) << " " << r.frames;
            for (const kevra_scene_evidence& e : r.evidence)
                got << " | " << e.pairs << " " << bits(e.ripple) << " " << bits(e.fit) << " " << bits(e.drift) << " "
                    << bits(e.single_frame) << " " << bits(e.score);
            got << "\n";
        }
    }
    if (std::getenv("KEVRA_SCENE_SAMPLE_RECORD") != nullptr) {
        std::ofstream(KEVRA_SCENE_SAMPLE) << got.str();
        GTEST_SKIP() << "recorded " << KEVRA_SCENE_SAMPLE;
    }
    std::ifstream in(KEVRA_SCENE_SAMPLE);
    ASSERT_TRUE(in.good()) << KEVRA_SCENE_SAMPLE;
    std::stringstream want;
    want << in.rdbuf();
    std::istringstream want_lines(want.str()), got_lines(got.str());
    std::string w, g;
    for (int line = 1; std::getline(want_lines, w); ++line) {
        ASSERT_TRUE(std::getline(got_lines, g)) << "line " << line << " missing";
        ASSERT_EQ(g, w) << "line " << line;
    }
    EXPECT_FALSE(std::getline(got_lines, g)) << "more lines than recorded";
}

}  // namespace
