#include "preprocess/local_flicker_detect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <string>

#include "support/backends.h"
#include "support/bits.h"
#include "support/probe.h"

namespace {

constexpr float kCentre = 100.0f;

// Zone 2 follows the pattern ('1': in the band of half-width 2), rows past it and the
// other zones lie in the band, so only row_num and the pattern can end a run.
TEST(LocalFlickerDetect, CountsTheLongestInBandRunBeforeRowNum) {
    const struct {
        std::string pattern;
        int row_num;
        uint32_t want;
    } cases[] = {
        {"11011111", 8, 5}, {"11101111", 8, 4}, {"001000100010", 12, 1},
        {"1101111", 7, 4},  // rows 7.. are in the band but past row_num
        {"", 256, 256},     {"", 0, 0},         {"", -3, 0},
    };
    auto probe = std::make_unique<kevra_test::Probe>();
    for (const auto& c : cases) {
        for (int z = 0; z < 6; ++z) {
            for (int r = 0; r < 256; ++r) {
                const bool out = z == 2 && r < static_cast<int>(c.pattern.size()) && c.pattern[static_cast<size_t>(r)] == '0';
                probe->zone_level[z][r] = out ? kCentre + 2.0f : kCentre - 1.5f;  // the band is open
            }
        }
        probe->local_flicker_detect(c.row_num, probe->zone_level, 2.0f, kCentre);
        for (int z = 0; z < 6; ++z) {
            EXPECT_EQ(probe->local_flicker_count[z], z == 2 ? c.want : static_cast<uint32_t>(std::max(c.row_num, 0)))
                << c.pattern << " / " << c.row_num << ", zone " << z;
        }
    }
}

TEST(LocalFlickerDetect, EveryBackendMatchesTheRowByRowScan) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> level(95.0f, 105.0f);
    const float tolerances[] = {3.0f, 0.0f, -1.0f, __builtin_inff(), __builtin_nanf("")};
    alignas(16) float zone_level[6][256];
    for (int trial = 0; trial < 60; ++trial) {
        for (auto& zone : zone_level) {
            for (float& x : zone) x = trial % 4 ? level(rng) : kevra_test::interesting_float(rng);
        }
        const int row_num = trial * 17 % 257;
        const float tolerance = tolerances[trial % 5];
        uint32_t want[6];
        for (int z = 0; z < 6; ++z) {
            uint32_t run = 0;
            want[z] = 0;
            for (int r = 0; r < row_num; ++r) {
                run = std::fabs(zone_level[z][r] - kCentre) < tolerance ? run + 1 : 0;
                want[z] = std::max(want[z], run);
            }
        }
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            uint32_t got[6];
            kevra::longest_flat_runs<V>(row_num, zone_level, tolerance, kCentre, got);
            EXPECT_TRUE(kevra_test::SameBits(want, got, 6)) << V::name << ", row_num " << row_num;
        });
    }
}

}  // namespace
