#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>

#include "support/bits.h"
#include "support/probe.h"

namespace {

kevra_config weight_config(int base_x10, int exponent_x10, int high_full_scale) {
    kevra_config config;
    std::memset(&config, 0, sizeof config);
    config.weight_base_x10 = base_x10;
    config.weight_exponent_x10 = exponent_x10;
    config.high_full_scale = high_full_scale;
    return config;
}

// row_num 64 and high_full_scale 50 make the high-byte share H * 0.0625 exactly and
// the run share floor(run * 100 / 64); count sums of 10,000,000 make the level term 1.
TEST(WeightCompute, ClassLimitsAreHalfOpenSharesAndInclusiveRunPercentages) {
    auto probe = std::make_unique<kevra_test::Probe>();
    std::memset(probe->stat_high, 0, sizeof probe->stat_high);
    const uint32_t high[6] = {0, 79, 80, 159, 160, 240};   // 0, 4.9375, 5, 9.9375, 10, 15 percent
    const uint32_t runs[6] = {6, 7, 13, 19, 20, 0};        // 9, 10, 20, 29, 31, 0 percent
    for (int z = 0; z < 6; ++z) {
        probe->stat_high[63][12 + z] = high[z];
        probe->stat_high[64][12 + z] = 255;  // beyond row_num
        probe->stat_high[0][6 + z] = 255;    // channel 1, not counted
        probe->local_flicker_count[z] = runs[z];
    }
    unsigned int count_sum[6] = {10000000, 10000000, 10000000, 10000000, 10000000, 10000000};
    kevra_config config = weight_config(20, 10, 50);
    probe->weight_compute(&config, 64, count_sum);

    const int32_t want_high[6] = {3, 3, 2, 2, 1, 0};
    const int32_t want_run[6] = {3, 2, 1, 1, 0, 3};
    const float want_weight[6] = {7, 6, 4, 4, 2, 4};
    const float want_base[6] = {1, 1, 1, 1, 1, 1};
    EXPECT_TRUE(kevra_test::SameBits(want_high, probe->zone_high_class, 6));
    EXPECT_TRUE(kevra_test::SameBits(want_run, probe->zone_flicker_class, 6));
    EXPECT_TRUE(kevra_test::SameBits(want_base, probe->zone_weight_base, 6));
    EXPECT_TRUE(kevra_test::SameBits(want_weight, probe->zone_weight, 6));
}

// Expected bits from an independent evaluation: the mean count in single precision,
// R and both powers in double, one rounding at the end. A double-precision mean, a
// single-precision R or single-precision powers each change at least one entry.
TEST(WeightCompute, LevelTermSplitsSingleAndDoublePrecision) {
    const struct {
        unsigned int count_sum[6];
        int base_x10, exponent_x10;
        uint32_t want_bits[6];
    } cases[] = {
        // No counts at all: R / K is taken as 1.8, so B = 1.8 and A = 2^-1 wins.
        {{0, 0, 0, 0, 0, 0}, 20, 10, {0x3f000000, 0x3f000000, 0x3f000000, 0x3f000000, 0x3f000000, 0x3f000000}},
        // One empty zone: B = +inf there, so A = 0.5; elsewhere B = sqrt(1/2) against A = 2^-0.5.
        {{0, 5000000, 5000000, 5000000, 5000000, 5000000}, 20, 10,
         {0x3f000000, 0x3f3504f3, 0x3f3504f3, 0x3f3504f3, 0x3f3504f3, 0x3f3504f3}},
        // Negative exponent: B = 0 for the empty zone; elsewhere K / R with R from a float mean.
        {{0, 5000000, 5000000, 5000000, 5000000, 5000000}, 20, -10,
         {0x00000000, 0x3f2aaaaa, 0x3f2aaaaa, 0x3f2aaaaa, 0x3f2aaaaa, 0x3f2aaaaa}},
        {{16777217, 3, 5, 123456789, 7, 99999999}, 25, 15,
         {0x3fee2db2, 0x3eccccd0, 0x3eccccd3, 0x3ee45da8, 0x3eccccd5, 0x3f1ca128}},
    };
    auto probe = std::make_unique<kevra_test::Probe>();
    std::memset(probe->stat_high, 0, sizeof probe->stat_high);
    for (const auto& c : cases) {
        unsigned int count_sum[6];
        std::memcpy(count_sum, c.count_sum, sizeof count_sum);
        for (int z = 0; z < 6; ++z) probe->local_flicker_count[z] = 64;  // run class 0
        kevra_config config = weight_config(c.base_x10, c.exponent_x10, 2);
        probe->weight_compute(&config, 64, count_sum);  // high share 0: class 3
        float want_base[6], want_weight[6];
        for (int z = 0; z < 6; ++z) {
            want_base[z] = kevra_test::from_bits(c.want_bits[z]);
            want_weight[z] = want_base[z] + 3.0f;
        }
        EXPECT_TRUE(kevra_test::SameBits(want_base, probe->zone_weight_base, 6)) << "case " << &c - cases;
        EXPECT_TRUE(kevra_test::SameBits(want_weight, probe->zone_weight, 6)) << "case " << &c - cases;
    }
}

}  // namespace
