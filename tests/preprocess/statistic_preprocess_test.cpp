#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "preprocess/row_levels.h"
#include "preprocess/sample_screening.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/prepared_detector.h"

namespace {

using kevra::WeightMode;
using kevra::simd::Native;
constexpr int32_t K = -1;     // keep
constexpr uint32_t N = ~0u;   // in the sums column: a sample with count 0

// Channel 2 of row 1 holds the case (count 1, frame_ratio 1); every other channel is flat.
TEST(SampleScreening, DropsEverySampleTiedAtTheLargestDeviationAboveTheLimit) {
    const struct {
        uint32_t sums[6];
        int outlier_threshold;
        int32_t want_keep[6];
    } cases[] = {
        {{10, 10, 10, 10, 20, 0}, 1000, {K, K, K, K, 0, 0}},  // both ends tie
        {{7, 7, 7, 7, 7, 7}, 0, {K, K, K, K, K, K}},
        {{7, 7, 7, 7, 7, 7}, -1, {0, 0, 0, 0, 0, 0}},         // a negative limit drops equal levels
        {{10, N, 10, 10, 10, 40}, 1000, {K, 0, K, K, K, 0}},  // no data: neither kept nor averaged
        {{4, 4, 4, 4, 6, 2}, 400, {K, K, K, K, K, K}},        // deviation 2 equal to the limit
        {{4, 4, 4, 4, 6, 2}, 399, {K, K, K, K, 0, 0}},
    };
    for (const auto& c : cases) {
        std::vector<uint32_t> sums(48, 50), counts(48, 1);
        for (int z = 0; z < 6; ++z) {
            sums[36 + z] = c.sums[z] == N ? 0 : c.sums[z];
            counts[36 + z] = c.sums[z] == N ? 0 : 1;
        }
        int32_t keep[2][24], want[2][24];
        alignas(16) float zone_level[6][256];
        uint32_t count_sum[6];
        const float limit = static_cast<float>(c.outlier_threshold) * 0.001f * 5.0f;
        kevra::screen_samples<Native>(sums.data(), counts.data(), 2, 1.0f, limit, keep, zone_level, count_sum);
        std::fill_n(&want[0][0], 48, c.outlier_threshold < 0 ? 0 : K);
        std::copy(c.want_keep, c.want_keep + 6, &want[1][12]);
        EXPECT_TRUE(kevra_test::SameBits(&want[0][0], &keep[0][0], 48)) << "case " << &c - cases;
    }
}

// frame_ratio 2 and zone weights 1..6 over one row of (sum, count, keep) samples.
TEST(RowLevels, EachModeWeighsQuotientsAsDefined) {
    const int32_t samples[4][6][3] = {
        {{8, 2, K}, {8, 2, K}, {8, 2, K}, {8, 2, K}, {32, 2, 0}, {0, 0, 0}},  // an outlier, no data
        {{0, 3, 0}, {6, 3, K}, {6, 3, K}, {6, 3, K}, {6, 3, K}, {6, 3, K}},   // a zero sum: q = 1
        {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}},
        {{5, 0, 0}, {3, 1, K}, {3, 1, K}, {3, 1, K}, {3, 1, K}, {3, 1, K}},   // a sum over no count
    };
    const float x = -32768.0f;
    const struct {
        WeightMode mode;
        float stat_level[4][6];
        float row_level[4];
    } cases[] = {
        {WeightMode::plain,
         {{8, 8, 8, 8, 32, x}, {0, 4, 4, 4, 4, 4}, {x, x, x, x, x, x}, {x, 6, 6, 6, 6, 6}},
         {128.0f / 10.0f, 60.0f / 18.0f, -1.0f, 40.0f / 5.0f}},
        {WeightMode::fixed,  // dropped samples and samples without data weigh in
         {{8, 8, 8, 8, 32, x}, {2, 4, 4, 4, 4, 4}, {x, x, x, x, x, x}, {x, 6, 6, 6, 6, 6}},
         {252.0f / 21.0f, 82.0f / 21.0f, 42.0f / 21.0f, 122.0f / 21.0f}},
        {WeightMode::computed,
         {{8, 8, 8, 8, 32, x}, {2, 4, 4, 4, 4, 4}, {x, x, x, x, x, x}, {x, 6, 6, 6, 6, 6}},
         {80.0f / 10.0f, 80.0f / 20.0f, -1.0f, 120.0f / 20.0f}},
    };
    uint32_t sums[24], counts[24];
    int32_t keep[1][24];
    for (int w = 0; w < 24; ++w) {
        sums[w] = static_cast<uint32_t>(samples[w / 6][w % 6][0]);
        counts[w] = static_cast<uint32_t>(samples[w / 6][w % 6][1]);
        keep[0][w] = samples[w / 6][w % 6][2];
    }
    const float weights[6] = {1, 2, 3, 4, 5, 6};
    for (const auto& c : cases) {
        float stat_level[24], row_level[1][4];
        kevra::form_row_levels<Native>(sums, counts, keep, 1, 2.0f, c.mode, weights, stat_level, row_level);
        EXPECT_TRUE(kevra_test::SameBits(&c.stat_level[0][0], stat_level, 24)) << static_cast<int>(c.mode);
        EXPECT_TRUE(kevra_test::SameBits(c.row_level, row_level[0], 4)) << static_cast<int>(c.mode);
    }
}

// Terms q * W = {2^24, 3, 3, 3, 3, 3} over weights {2^24, 1, 1, 1, 1, 1}: added from zone 0
// with each sum rounded they give 16777236 / 16777216; any other order gives other bits.
TEST(RowLevels, SixTermSumsRunInZoneOrder) {
    uint32_t sums[24], counts[24];
    int32_t keep[1][24];
    for (int w = 0; w < 24; ++w) {
        sums[w] = w % 6 == 0 ? 1 : 3;
        counts[w] = 1;
        keep[0][w] = K;
    }
    const float weights[6] = {16777216.0f, 1, 1, 1, 1, 1};
    float stat_level[24], row_level[1][4];
    kevra::form_row_levels<Native>(sums, counts, keep, 1, 1.0f, WeightMode::fixed, weights, stat_level, row_level);
    const float want = 16777236.0f / 16777216.0f;
    const float want_row[4] = {want, want, want, want};
    EXPECT_TRUE(kevra_test::SameBits(want_row, row_level[0], 4));
}

// weight_base_x10 10 makes every level term 1.0.
struct Preprocess : kevra_test::PreparedDetector {
    explicit Preprocess(int rows) : PreparedDetector(rows) {
        param.tolerance_ref = 1.0f;
        config.high_full_scale = 2;
        config.weight_base_x10 = 10;
        config.weight_exponent_x10 = 10;
        for (float& w : config.fixed_weight) w = 1.0f;
    }
    void set_channel(int row, int channel, uint32_t sum, uint32_t count) {
        std::fill_n(sums.begin() + 24 * row + 6 * channel, 6, sum);
        std::fill_n(counts.begin() + 24 * row + 6 * channel, 6, count);
    }
    void run(int row_num, float frame_ratio = 1.0f) { probe->statistic_preprocess(row_num, frame_ratio, &param, &config); }
};

// Channel 0 has no data in rows 0, 3 and 4 of 8 and the level 10 (r + 1) elsewhere.
TEST(StatisticPreprocess, OnlyThePlainModeRepairsMissingRowLevels) {
    const struct {
        int weight_enable, weight_fixed;
        float want[8];
    } cases[] = {
        {0, 0, {-1, 20, 30, 40, 50, 60, 70, 80}},  // rows 3, 4 between rows 2 and 5; row 0 stays
        {1, 1, {1, 20, 30, 1, 1, 60, 70, 80}},     // fixed weights: no data enters as q = 1.0
        {1, 0, {-1, 20, 30, -1, -1, 60, 70, 80}},
    };
    for (const auto& c : cases) {
        Preprocess p(8);
        for (int row = 0; row < 8; ++row) {
            const bool empty = row == 0 || row == 3 || row == 4;
            p.set_channel(row, 0, empty ? 0 : 10 * static_cast<uint32_t>(row + 1), empty ? 0 : 1);
            for (int channel = 1; channel < 4; ++channel) p.set_channel(row, channel, 5, 1);
        }
        p.config.weight_enable = c.weight_enable;
        p.config.weight_fixed = c.weight_fixed;
        p.run(8);
        float got[8];
        for (int row = 0; row < 8; ++row) got[row] = p.probe->row_level[row][0];
        EXPECT_TRUE(kevra_test::SameBits(c.want, got, 8)) << c.weight_enable << "/" << c.weight_fixed;
    }
}

// Channel 1's zone z lies `offset[z]` above the centre 10 in every row; a zone counts all
// eight rows when its offset is inside the tolerance powf(4 / floor(ref), exponent).
TEST(StatisticPreprocess, ToleranceFloorsItsReferenceAndFollowsIeeePowers) {
    const uint32_t twice_level[6] = {21, 23, 26, 30, 2020, 20};  // offsets 0.5, 1.5, 3, 5, 1000, 0
    const struct {
        float tolerance_ref, exponent;
        uint32_t want[6];
    } cases[] = {
        {1.9f, 1.0f, {8, 8, 8, 0, 0, 8}},   // floor 1: tolerance 4
        {1.9f, 0.5f, {8, 8, 0, 0, 0, 8}},   // 2, where 4 / 1.9 would give 1.45
        {0.5f, 1.0f, {8, 8, 8, 8, 8, 8}},   // floor 0: powf(+inf, 1) = +inf
        {0.5f, 0.0f, {8, 0, 0, 0, 0, 8}},   // powf(+inf, 0) = 1
        {0.5f, -1.0f, {0, 0, 0, 0, 0, 0}},  // powf(+inf, -1) = 0: no offset lies below 0
        {-0.5f, 0.5f, {0, 0, 0, 0, 0, 0}},  // floor -1: powf(-4, 0.5) is NaN
    };
    for (const auto& c : cases) {
        Preprocess p(8);
        for (size_t i = 0; i < p.sums.size(); ++i) {
            p.sums[i] = twice_level[i % 6];
            p.counts[i] = 2;
        }
        p.param.tolerance_ref = c.tolerance_ref;
        p.config.local_tolerance_exponent = c.exponent;
        p.config.local_tolerance_gain = 1.0f;
        p.config.local_flicker_level = 10;
        p.run(8);
        EXPECT_TRUE(kevra_test::SameBits(c.want, p.probe->local_flicker_count, 6)) << c.tolerance_ref << "^" << c.exponent;
    }
}

template <class T, size_t Rows, size_t Columns>
bool rows_from_hold(const T (&a)[Rows][Columns], size_t first, T value) {
    return std::all_of(&a[first][0], &a[0][0] + Rows * Columns, [value](T x) { return x == value; });
}

// Rows 5..7 lie in the band too and carry full high bytes: counted, they would lengthen
// the flat runs and lower the high classes. Nothing at or past row_num changes either.
TEST(StatisticPreprocess, RowsFromRowNumOnNeitherTakePartNorChange) {
    Preprocess p(8);
    for (int row = 0; row < 8; ++row) {
        for (int c = 0; c < 4; ++c) p.set_channel(row, c, 100, 1);
        if (row >= 5) std::fill(std::begin(p.probe->stat_high[row]), std::end(p.probe->stat_high[row]), 255u);
    }
    std::fill(p.levels.begin() + 5 * 24, p.levels.end(), 7.0f);
    std::fill_n(&p.probe->zone_level[0][0], 6 * 256, 7.0f);
    std::fill_n(&p.probe->row_level[0][0], 256 * 4, 7.0f);
    std::fill_n(&p.probe->sample_keep[0][0], 256 * 24, 7);
    p.config.local_tolerance_gain = 1.0f;
    p.config.local_flicker_level = 100;
    p.config.weight_enable = 1;
    p.run(5);
    for (int z = 0; z < 6; ++z) {
        EXPECT_EQ(p.probe->local_flicker_count[z], 5u);
        EXPECT_EQ(p.probe->zone_high_class[z], 3);
        EXPECT_TRUE(std::all_of(p.probe->zone_level[z] + 5, p.probe->zone_level[z] + 256, [](float x) { return x == 7.0f; }));
    }
    EXPECT_TRUE(rows_from_hold(p.probe->row_level, 5, 7.0f));
    EXPECT_TRUE(rows_from_hold(p.probe->sample_keep, 5, 7));
    EXPECT_TRUE(std::all_of(p.levels.begin() + 5 * 24, p.levels.end(), [](float x) { return x == 7.0f; }));
    EXPECT_EQ(p.probe->row_level[4][3], 100.0f);
}

// Step one multiplies by frame_ratio before dividing, the plain sample level divides first.
TEST(StatisticPreprocess, LevelsScaleBeforeOrAfterTheQuotientAsDefined) {
    Preprocess p(1);
    p.set_channel(0, 1, 1, 7);
    p.run(1, 3.0f);
    volatile float seventh = 1.0f / 7.0f;
    EXPECT_TRUE(kevra_test::SameBits(3.0f / 7.0f, p.probe->zone_level[0][0]));
    EXPECT_TRUE(kevra_test::SameBits(seventh * 3.0f, p.levels[6]));
}

TEST(StatisticPreprocess, ComputedWeightsWithoutAnyCountStayFiniteAndLeaveNoRowLevels) {
    Preprocess p(6);
    p.config.weight_enable = 1;
    p.run(6);
    for (int z = 0; z < 6; ++z) EXPECT_TRUE(std::isfinite(p.probe->zone_weight[z])) << z;
    for (int row = 0; row < 6; ++row) {
        for (int c = 0; c < 4; ++c) EXPECT_EQ(p.probe->row_level[row][c], -1.0f);
    }
    EXPECT_TRUE(std::all_of(p.levels.begin(), p.levels.end(), [](float x) { return x == -32768.0f; }));
}

TEST(StatisticPreprocess, SmoothsZoneSignalsOnlyFromFiveRowsOn) {
    const uint32_t column[5] = {10, 30, 90, 20, 40};
    for (int row_num : {4, 5}) {
        Preprocess p(5);
        for (int row = 0; row < 5; ++row) p.set_channel(row, 1, column[row], 1);
        p.run(row_num);
        const float want[5] = {10, 30, row_num == 5 ? 25.0f : 90.0f, 20, 40};
        EXPECT_TRUE(kevra_test::SameBits(want, p.probe->zone_level[3], static_cast<size_t>(row_num))) << row_num;
    }
}

// Every row's results depend on that row alone, so a run over the first n rows
// must reproduce those rows of a run over all eleven and leave later rows alone.
// The inputs hold exactly n rows, so that a read past them shows under ASan.
TEST(StatisticPreprocess, KernelsWriteOnlyTheirRowsAndReadNothingPastThem) {
    constexpr int kAll = 11;
    std::mt19937 rng(5);
    std::uniform_int_distribution<uint32_t> count(0, 4), sum(0, 40);
    std::vector<uint32_t> all_sums(24 * kAll), all_counts(24 * kAll);
    for (size_t i = 0; i < all_sums.size(); ++i) {
        all_counts[i] = count(rng);
        all_sums[i] = all_counts[i] == 0 ? 0 : sum(rng);
    }
    const float weights[6] = {1.0f, 2.0f, 0.5f, 1.5f, 3.0f, 0.25f};
    struct Out {
        int32_t keep[kAll + 1][24];
        float zone[6][256];
        float level[24 * (kAll + 1)];
        float row[kAll + 1][4];
    };
    const auto run = [&](int n, WeightMode mode, Out& out) {
        std::memset(&out, 0x5A, sizeof out);
        const std::vector<uint32_t> sums(all_sums.begin(), all_sums.begin() + 24 * n);
        const std::vector<uint32_t> counts(all_counts.begin(), all_counts.begin() + 24 * n);
        uint32_t count_sum[6];
        kevra::screen_samples<Native>(sums.data(), counts.data(), n, 1.5f, 2.0f, out.keep, out.zone, count_sum);
        kevra::form_row_levels<Native>(sums.data(), counts.data(), out.keep, n, 1.5f, mode, weights, out.level,
                                       out.row);
    };
    for (const WeightMode mode : {WeightMode::plain, WeightMode::fixed, WeightMode::computed}) {
        static Out whole, part, untouched;
        run(kAll, mode, whole);
        std::memset(&untouched, 0x5A, sizeof untouched);
        for (int n = 1; n < kAll; ++n) {
            run(n, mode, part);
            const auto same_rows = [&](const auto& a, const auto& b, size_t row_size, int from, int to) {
                return kevra_test::SameBits(&a[0] + row_size * from, &b[0] + row_size * from, row_size * (to - from));
            };
            EXPECT_TRUE(same_rows(&whole.keep[0][0], &part.keep[0][0], 24, 0, n)) << n;
            EXPECT_TRUE(same_rows(&untouched.keep[0][0], &part.keep[0][0], 24, n, kAll + 1)) << n;
            for (int z = 0; z < 6; ++z) {
                EXPECT_TRUE(same_rows(whole.zone[z], part.zone[z], 1, 0, n)) << n;
                EXPECT_TRUE(same_rows(untouched.zone[z], part.zone[z], 1, n, 256)) << n;
            }
            EXPECT_TRUE(same_rows(whole.level, part.level, 24, 0, n)) << n;
            EXPECT_TRUE(same_rows(untouched.level, part.level, 24, n, kAll + 1)) << n;
            EXPECT_TRUE(same_rows(&whole.row[0][0], &part.row[0][0], 4, 0, n)) << n;
            EXPECT_TRUE(same_rows(&untouched.row[0][0], &part.row[0][0], 4, n, kAll + 1)) << n;
        }
    }
}

TEST(StatisticPreprocess, KernelsGiveThePortableBitsOnEveryBackend) {
    using kevra::simd::Portable;
    std::mt19937 rng(3);
    std::uniform_int_distribution<uint32_t> word(0, 0x00FFFFFF), small(0, 6);
    for (int trial = 0; trial < 60; ++trial) {
        const int row_num = trial * 13 % 257;
        const size_t n = static_cast<size_t>(row_num) * 24;
        std::vector<uint32_t> sums(n + 1), counts(n + 1);
        for (size_t i = 0; i < n; ++i) {
            sums[i] = trial % 2 ? small(rng) : word(rng);
            counts[i] = small(rng) == 0 ? 0 : (trial % 3 ? small(rng) : word(rng));
        }
        float weights[6];
        for (float& w : weights) w = kevra_test::interesting_float(rng);
        const float ratio = trial % 5 ? 0.5f + 0.03f * trial : kevra_test::interesting_float(rng);
        const float limit = static_cast<float>(small(rng)) - 1.0f;
        const auto mode = static_cast<WeightMode>(trial % 3);
        static int32_t keep[2][256][24];
        static float zone[2][6][256], row[2][256][4];
        std::vector<float> level[2] = {std::vector<float>(n + 1), std::vector<float>(n + 1)};
        uint32_t count_sum[2][6];
        kevra::screen_samples<Portable>(sums.data(), counts.data(), row_num, ratio, limit, keep[0], zone[0], count_sum[0]);
        kevra::form_row_levels<Portable>(sums.data(), counts.data(), keep[0], row_num, ratio, mode, weights,
                                         level[0].data(), row[0]);
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            // The plain mode's levels also come out of the first sweep: both ways must agree.
            if (mode == WeightMode::plain) {
                kevra::screen_samples<V, true>(sums.data(), counts.data(), row_num, ratio, limit, keep[1], zone[1],
                                               count_sum[1], level[1].data(), row[1]);
            } else {
                kevra::screen_samples<V>(sums.data(), counts.data(), row_num, ratio, limit, keep[1], zone[1],
                                         count_sum[1]);
                kevra::form_row_levels<V>(sums.data(), counts.data(), keep[1], row_num, ratio, mode, weights,
                                          level[1].data(), row[1]);
            }
            EXPECT_TRUE(kevra_test::SameBits(&keep[0][0][0], &keep[1][0][0], n)) << V::name << ", trial " << trial;
            for (int z = 0; z < 6; ++z) {
                EXPECT_TRUE(kevra_test::SameBits(zone[0][z], zone[1][z], static_cast<size_t>(row_num))) << V::name;
            }
            EXPECT_TRUE(kevra_test::SameBits(count_sum[0], count_sum[1], 6)) << V::name;
            EXPECT_TRUE(kevra_test::SameBits(level[0].data(), level[1].data(), n)) << V::name << ", trial " << trial;
            EXPECT_TRUE(kevra_test::SameBits(&row[0][0][0], &row[1][0][0], 4 * static_cast<size_t>(row_num))) << V::name;
        });
    }
}

}  // namespace
