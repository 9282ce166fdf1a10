// The preprocessing's steps: the two sweeps over the statistics against their scalar
// rules on every backend, the flat-run scan, the computed weights, and the whole step.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "preprocess/local_flicker_detect.h"
#include "preprocess/row_levels.h"
#include "preprocess/sample_screening.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/prepared_detector.h"

namespace {

using kevra::WeightMode;

// Everything the two sweeps write.
struct Sweeps {
    int32_t keep[256][24];
    float zone[6][256];
    uint32_t count_sum[6];
    float level[256 * 24];
    float row[256][4];
};

// Both sweeps by their scalar rules, one channel of one row at a time, sums in zone order.
void reference_sweeps(const uint32_t* sums, const uint32_t* counts, int row_num, float ratio, float limit,
                      WeightMode mode, const float* weights, Sweeps& out) {
    for (int first = 0; first < 24 * row_num; first += 6) {
        const int row = first / 24, c = first % 24 / 6;
        float level[6], dev[6], sum = 0.0f, valid = 0.0f, largest = 0.0f, num = 0.0f, den = 0.0f;
        for (int z = 0; z < 6; ++z) {
            level[z] = counts[first + z] ? float(sums[first + z]) * ratio / float(counts[first + z]) : -32767.0f;
            if (level[z] > -32767.0f) sum += level[z], valid += 1.0f;
        }
        for (int z = 0; z < 6; ++z) {
            dev[z] = level[z] > -32767.0f ? std::fabs(level[z] - sum / valid) : 0.0f;
            largest = kevra::simd::max_nan(largest, dev[z]);
        }
        for (int z = 0, w = first; z < 6; ++z, ++w) {
            const bool keep = level[z] > -32767.0f && (dev[z] < largest || !(largest > limit));
            out.keep[row][w % 24] = keep ? -1 : 0;
            if (c == 1) out.zone[z][row] = level[z], out.count_sum[z] += counts[w];
            const float s = float(sums[w]), n = float(counts[w]), q = counts[w] && s / n > 0.0f ? s / n : 1.0f;
            const float weight = mode == WeightMode::computed && !keep ? 0.0f : weights[z];
            out.level[w] = counts[w] == 0 ? -32768.0f : (mode == WeightMode::plain ? s / n : q) * ratio;
            num += mode == WeightMode::plain ? s : q * weight;
            den += mode == WeightMode::plain ? n : weight;
        }
        out.row[row][c] = den == 0.0f ? -1.0f : ratio * num / den;
    }
}

// Small values make ties and equal levels, whole words make every rounding and the
// summation order show; zero counts are missing samples. Nothing at or past row_num
// may be written. Zone levels on a grid of half steps put many rows exactly on the
// edge of the flat-run band.
TEST(PreprocessKernels, EveryBackendFollowsTheScalarRules) {
    const float tolerances[] = {2.0f, 0.0f, -1.0f, __builtin_inff(), __builtin_nanf("")};
    std::mt19937 rng(3);
    std::uniform_int_distribution<uint32_t> word(0, 0x00FFFFFF), small(0, 6);
    auto want = std::make_unique<Sweeps>(), got = std::make_unique<Sweeps>();
    uint32_t sums[24 * 256], counts[24 * 256];
    alignas(16) float zone_level[6][256];
    for (int trial = 0; trial < 60; ++trial) {
        const int row_num = trial * 13 % 257, scan_rows = trial * 37 % 260 - 3;
        for (int i = 0; i < 24 * 256; ++i) {
            sums[i] = trial % 2 ? small(rng) : word(rng);
            counts[i] = small(rng) == 0 ? 0 : (trial % 3 ? small(rng) : word(rng));
        }
        for (int k = 0; k < 6 * 256; ++k)
            zone_level[k / 256][k % 256] = trial % 4 ? 100.0f + 0.5f * small(rng) : kevra_test::interesting_float(rng);
        float weights[6];
        for (float& w : weights) w = trial % 4 ? 0.5f * small(rng) : kevra_test::interesting_float(rng);
        const float ratio = trial % 5 ? 0.5f + 0.03f * trial : kevra_test::interesting_float(rng);
        const float limit = static_cast<float>(small(rng)) - 1.0f, tolerance = tolerances[trial % 5];
        const auto mode = static_cast<WeightMode>(trial % 3);
        std::memset(want.get(), 0x5A, sizeof(Sweeps));
        std::fill_n(want->count_sum, 6, 0u);
        reference_sweeps(sums, counts, row_num, ratio, limit, mode, weights, *want);
        uint32_t want_runs[6] = {};
        for (int z = 0; z < 6; ++z)
            for (uint32_t r = 0, run = 0; static_cast<int>(r) < scan_rows; ++r)
                want_runs[z] = std::max(want_runs[z], run = std::fabs(zone_level[z][r] - 103.0f) < tolerance ? run + 1 : 0);
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            Sweeps& g = *got;
            // Inputs of exactly row_num rows, so that a read past them shows under ASan.
            const std::vector<uint32_t> s(sums, sums + 24 * row_num), n(counts, counts + 24 * row_num);
            for (const bool fused : {false, true}) {  // the plain levels may come straight out of the first sweep
                if (fused && mode != WeightMode::plain) continue;
                std::memset(&g, 0x5A, sizeof g);
                if (fused) {
                    kevra::screen_samples<V, true>(s.data(), n.data(), row_num, ratio, limit, g.keep, g.zone,
                                                   g.count_sum, g.level, g.row);
                } else {
                    kevra::screen_samples<V>(s.data(), n.data(), row_num, ratio, limit, g.keep, g.zone, g.count_sum);
                    kevra::form_row_levels<V>(s.data(), n.data(), g.keep, row_num, ratio, mode, weights, g.level, g.row);
                }
                EXPECT_EQ(0, std::memcmp(want.get(), &g, sizeof g)) << V::name << ", fused " << fused << ", trial " << trial;
            }
            uint32_t runs[6];
            kevra::longest_flat_runs<V>(scan_rows, zone_level, tolerance, 103.0f, runs);
            EXPECT_SAME_BITS(want_runs, runs, 6) << V::name << ", trial " << trial;
        });
    }
}

// row_num 64 and high_full_scale 50 make the high-byte share H * 0.0625 exactly and the
// run share floor(run * 100 / 64), on both sides of every class limit. The level terms
// are from an independent evaluation: the mean count in single precision, R and both
// powers in double, one rounding at the end; a double mean, a single R or single powers
// each change at least one entry.
TEST(WeightCompute, ClassesAndLevelTermFollowTheirLimitsAndPrecisions) {
    const struct { unsigned int count_sum[6]; int base_x10, exponent_x10; uint32_t want_base[6]; } cases[] = {
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
    const uint32_t high[6] = {0, 79, 80, 159, 160, 240};  // 0, 4.9375, 5, 9.9375, 10, 15 percent
    const uint32_t runs[6] = {6, 7, 13, 19, 20, 0};       // 9, 10, 20, 29, 31, 0 percent
    const int32_t want_high[6] = {3, 3, 2, 2, 1, 0}, want_run[6] = {3, 2, 1, 1, 0, 3};
    auto probe = std::make_unique<kevra_test::Probe>();
    for (int z = 0; z < 6; ++z) {
        probe->stat_high[63][12 + z] = high[z];
        probe->stat_high[64][12 + z] = 255;  // beyond row_num
        probe->stat_high[0][6 + z] = 255;    // channel 1, not counted
        probe->local_flicker_count[z] = runs[z];
    }
    for (const auto& c : cases) {
        kevra_config config{};
        config.weight_base_x10 = c.base_x10, config.weight_exponent_x10 = c.exponent_x10, config.high_full_scale = 50;
        probe->weight_compute(&config, 64, const_cast<unsigned int*>(c.count_sum));
        float want_base[6], want_weight[6];
        for (int z = 0; z < 6; ++z) {
            want_base[z] = kevra_test::from_bits(c.want_base[z]);
            want_weight[z] = want_base[z] + static_cast<float>(want_high[z] + want_run[z]);
        }
        EXPECT_SAME_BITS(want_high, probe->zone_high_class, 6);
        EXPECT_SAME_BITS(want_run, probe->zone_flicker_class, 6);
        EXPECT_SAME_BITS(want_base, probe->zone_weight_base, 6) << "case " << &c - cases;
        EXPECT_SAME_BITS(want_weight, probe->zone_weight, 6) << "case " << &c - cases;
    }
}

// Eight rows, row_num 5. Channel 0 has no data in row 3; channel 1 lies at 100 but
// for its zone 3, without data in row 1 (repaired across the zones), and its row 2 at
// 100.5, which the median takes back. Rows 5..7 lie in the band too and carry full
// high bytes: counted, they would lengthen the runs and lower the high classes. The
// computed weights are 1 + 3 + 0 (weight_base_x10 10 makes every level term 1).
TEST(StatisticPreprocess, RunsEveryStepOnRowsBelowRowNumAndEachModeItsOwnSteps) {
    // row3: channel 0's row level 3, repaired, from q = 1.0 for no data, or none.
    const struct { int enable, fixed; float row3, weight; } modes[] = {{0, 0, 100.0f, 1.0f}, {1, 1, 1.0f, 2.0f}, {1, 0, -1.0f, 4.0f}};
    for (const auto& m : modes) {
        kevra_test::PreparedDetector p(8);
        kevra_test::Probe& d = *p.probe;
        for (int w = 0; w < 8 * 24; ++w) {
            const int row = w / 24, c = w % 24 / 6;
            p.sums[w] = c != 1 ? 100 : row == 2 ? 201 : 200;
            p.counts[w] = (row == 3 && c == 0) || w == 24 + 9 ? 0 : c == 1 ? 2 : 1;
            if (p.counts[w] == 0) p.sums[w] = 0;
            d.stat_high[row][w % 24] = row >= 5 ? 255 : 0;
        }
        std::fill(p.levels.begin(), p.levels.end(), 7.0f);
        std::fill_n(&d.zone_level[0][0], 6 * 256, 7.0f);
        std::fill_n(&d.row_level[0][0], 4 * 256, 7.0f);
        std::fill_n(&d.sample_keep[0][0], 24 * 256, 7);
        std::fill_n(p.config.fixed_weight, 6, 2.0f);
        p.config.high_full_scale = 2, p.config.weight_base_x10 = 10, p.config.local_flicker_level = 100;
        p.config.local_tolerance_gain = 1.0f;
        p.config.weight_enable = m.enable, p.config.weight_fixed = m.fixed;
        d.statistic_preprocess(5, 1.0f, &p.param, &p.config);
        const float want_row[8] = {100, 100, 100, m.row3, 100, 7, 7, 7};
        for (int row = 0; row < 8; ++row) {
            for (int z = 0; z < 6; ++z) EXPECT_EQ(row < 5 ? 100.0f : 7.0f, d.zone_level[z][row]) << row << ", " << z;
            EXPECT_EQ(want_row[row], d.row_level[row][0]) << "row " << row;
        }
        EXPECT_EQ(72, std::count(p.levels.begin() + 5 * 24, p.levels.end(), 7.0f));
        EXPECT_EQ(72, std::count(&d.sample_keep[5][0], &d.sample_keep[8][0], 7));
        for (int z = 0; z < 6; ++z) {
            EXPECT_EQ(5u, d.local_flicker_count[z]) << "zone " << z;
            EXPECT_EQ(m.weight, d.zone_weight[z]) << "zone " << z;
        }
    }
}

// Channel 1's zone z lies `offset[z]` above the centre 10 in every row; a zone counts all
// eight rows when its offset is inside the tolerance powf(4 / floor(ref), exponent).
TEST(StatisticPreprocess, ToleranceFloorsItsReferenceAndFollowsIeeePowers) {
    const uint32_t twice_level[6] = {21, 23, 26, 30, 2020, 20};  // offsets 0.5, 1.5, 3, 5, 1000, 0
    const struct { float tolerance_ref, exponent; uint32_t want[6]; } cases[] = {
        {1.9f, 1.0f, {8, 8, 8, 0, 0, 8}},   // floor 1: tolerance 4
        {1.9f, 0.5f, {8, 8, 0, 0, 0, 8}},   // 2, where 4 / 1.9 would give 1.45
        {0.5f, 1.0f, {8, 8, 8, 8, 8, 8}},   // floor 0: powf(+inf, 1) = +inf
        {0.5f, 0.0f, {8, 0, 0, 0, 0, 8}},   // powf(+inf, 0) = 1
        {0.5f, -1.0f, {0, 0, 0, 0, 0, 0}},  // powf(+inf, -1) = 0: no offset lies below 0
        {-0.5f, 0.5f, {0, 0, 0, 0, 0, 0}},  // floor -1: powf(-4, 0.5) is NaN
    };
    for (const auto& c : cases) {
        kevra_test::PreparedDetector p(8);
        for (size_t i = 0; i < p.sums.size(); ++i) p.sums[i] = twice_level[i % 6], p.counts[i] = 2;
        p.param.tolerance_ref = c.tolerance_ref;
        p.config.local_tolerance_gain = 1.0f, p.config.local_tolerance_exponent = c.exponent;
        p.config.local_flicker_level = 10;
        p.probe->statistic_preprocess(8, 1.0f, &p.param, &p.config);
        EXPECT_SAME_BITS(c.want, p.probe->local_flicker_count, 6) << c.tolerance_ref << "^" << c.exponent;
    }
}

}  // namespace
