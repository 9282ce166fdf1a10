// The row pass of the confidence index, with every vector backend, against a
// plain row-by-row evaluation of the rules.
#include "confidence/confidence_rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "simd/vec4_portable.h"
#include "support/backends.h"
#include "support/bits.h"

namespace {

using kevra::ConfidenceConstants;
using kevra::ZoneTotals;
using kevra::simd::max_nan;
using kevra::simd::min_nan;

int32_t wrap(uint32_t u) {
    int32_t s;
    std::memcpy(&s, &u, sizeof s);
    return s;
}

uint32_t u32(int32_t s) { return static_cast<uint32_t>(s); }

// Products wrap in 32 bits; >> of a negative value is the arithmetic shift.
int32_t scaled_product(int32_t a, int32_t b, int shift) {
    return wrap(u32(a) * u32(b)) >> shift;
}

ZoneTotals reference_rows(const ConfidenceConstants& k, int32_t row_num, const float* level, const uint32_t* sum) {
    ZoneTotals t{};
    float history[6][4] = {};  // e(i-1) .. e(i-4)
    std::fill(t.peak_row, t.peak_row + 6, -1);
    for (int32_t i = 0; i < row_num; ++i) {
        const int32_t y = wrap(u32(k.y0) + u32(i) * u32(k.y_step));
        int32_t harmonics = 0;
        for (int h = 0; h < 3; ++h) {
            const int32_t theta = k.phase[h] + scaled_product(k.step[h], y, 3);
            harmonics += scaled_product(k.amp[h], kevra::fixed_cos(theta), 10);
        }
        const float model = static_cast<float>(wrap(u32(k.off) - u32(harmonics))) / 1024.0f;
        const float lo = min_nan(max_nan(model - k.a1, k.lo_min), k.lo_max);
        const float hi = max_nan(min_nan(model + k.a1, k.hi_max), k.hi_min);
        for (int z = 0; z < 6; ++z) {
            const float x = level[i * 24 + 6 + z];
            const bool inside = x > lo && x < hi;
            float w = static_cast<float>(sum[i * 24 + 6 + z]) * k.inv_norm;
            w = w * w;
            if (w > 1.0f) w = 1.0f;
            const float d = x - model;
            const float e = inside ? w * (d * d) : 0.0f;
            t.count[z] += inside ? 1 : 0;
            t.sum[z] += e;
            float* h = history[z];
            const float window = (((h[3] + h[2]) + h[1]) + h[0]) + e;
            if (!(t.peak[z] > window)) {
                t.peak[z] = window;
                t.peak_row[z] = i;
            }
            std::copy_backward(h, h + 3, h + 4);
            h[0] = e;
        }
    }
    return t;
}

struct Rows {
    std::vector<float> level;
    std::vector<uint32_t> sum;
    explicit Rows(int32_t row_num) : level(24 * std::max(row_num, 1), -32767.0f), sum(level.size(), 0) {}
    float& x(int32_t row, int zone) { return level[row * 24 + 6 + zone]; }
    uint32_t& s(int32_t row, int zone) { return sum[row * 24 + 6 + zone]; }
};

template <class V>
ZoneTotals run(const ConfidenceConstants& k, int32_t row_num, Rows& rows) {
    ZoneTotals t;
    std::memset(&t, 0xA5, sizeof t);
    kevra::accumulate_zone_rows<V>(k, row_num, rows.level.data(), rows.sum.data(), &t);
    return t;
}

::testing::AssertionResult SameTotals(const ZoneTotals& want, const ZoneTotals& got) {
    for (auto check : {kevra_test::SameBits(want.sum, got.sum, 6), kevra_test::SameBits(want.count, got.count, 6),
                       kevra_test::SameBits(want.peak, got.peak, 6),
                       kevra_test::SameBits(want.peak_row, got.peak_row, 6)}) {
        if (!check) return check;
    }
    return ::testing::AssertionSuccess();
}

// A model of three harmonics around offset 100 and levels scattered around it,
// most of them inside the band; now and then amplitudes or lines large enough
// to wrap the 32-bit products, a zero weight norm (NaN and unit weights) or a
// level that is a missing marker, infinite or NaN.
struct RandomCase {
    ConfidenceConstants k;
    Rows rows;
    RandomCase(std::mt19937& rng, int32_t row_num) : rows(row_num) {
        std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
        std::uniform_int_distribution<int> one_in(0, 7);
        kevra_confidence_idx_input in{};
        kevra_fitting_result fit{};
        const bool wild = one_in(rng) == 0;
        for (int h = 0; h < 3; ++h) {
            in.angle_offset[h] = 360.0f * unit(rng);
            in.angle_rate[h] = 0.0216f * (h + 1) * (1.0f + 0.1f * unit(rng));
        }
        in.line_time = 10.0f + 5.0f * unit(rng);
        in.sum_norm_a = one_in(rng) == 0 ? 0 : 300;
        in.sum_norm_b = 7;
        in.lines_per_row = wild ? 40000 : 16 + 2 * one_in(rng);
        in.line_offset = static_cast<int32_t>(400.0f * unit(rng));
        in.band_margin = 1.0f + unit(rng);
        fit.offset[1] = 100.0f + 20.0f * unit(rng);
        fit.amplitude1[1] = (wild ? 5000.0f : 8.0f) * unit(rng) + 8.0f;
        fit.amplitude2[1] = 3.0f * unit(rng);
        fit.amplitude3[1] = (wild ? 4000.0f : 1.0f) * unit(rng);
        fit.phase1[1] = 5000.0f * unit(rng);
        fit.phase2[1] = 5000.0f * unit(rng);
        fit.phase3[1] = 5000.0f * unit(rng);
        k = kevra::confidence_constants(in, fit);
        for (int32_t i = 0; i < row_num; ++i) {
            for (int z = 0; z < 6; ++z) {
                const bool odd = one_in(rng) == 0;
                rows.x(i, z) = odd ? kevra_test::interesting_float(rng) : fit.offset[1] + 15.0f * unit(rng);
                rows.s(i, z) = static_cast<uint32_t>(rng()) >> (one_in(rng) == 0 ? 0 : 20);
            }
        }
    }
};

TEST(ConfidenceRows, EveryBackendMatchesTheRowByRowRulesForEveryRowCount) {
    std::mt19937 rng(20240611);
    std::vector<int32_t> counts = {-5, 0, 255, 256};
    for (int32_t n = 1; n <= 13; ++n) counts.push_back(n);
    for (int trial = 0; trial < 40; ++trial) {
        for (int32_t row_num : counts) {
            RandomCase c(rng, row_num);
            const ZoneTotals want = reference_rows(c.k, row_num, c.rows.level.data(), c.rows.sum.data());
            kevra_test::for_each_backend([&](auto tag) {
                using V = typename decltype(tag)::type;
                ASSERT_TRUE(SameTotals(want, run<V>(c.k, row_num, c.rows)))
                    << V::name << ", row_num " << row_num << ", trial " << trial;
            });
        }
    }
}

// One inside level at row j, everything else outside: the windows ending at
// rows j..j+4 hold it, so the tie rule carries the peak to row j+4 (or the last
// row), and the window ending at j+5 must have let it go.
TEST(ConfidenceRows, WindowHoldsEachRowForExactlyFiveRowsAcrossGroupsAndTail) {
    kevra_confidence_idx_input in{};
    kevra_fitting_result fit{};
    in.sum_norm_a = 1;
    in.sum_norm_b = 1;
    in.band_margin = 10.0f;
    fit.offset[1] = 100.0f;
    const ConfidenceConstants k = kevra::confidence_constants(in, fit);
    for (int32_t row_num = 1; row_num <= 12; ++row_num) {
        for (int32_t j = 0; j < row_num; ++j) {
            Rows rows(row_num);
            const int zone = j % 6;
            rows.x(j, zone) = 103.0f;
            rows.s(j, zone) = 1;
            kevra_test::for_each_backend([&](auto tag) {
                using V = typename decltype(tag)::type;
                const ZoneTotals t = run<V>(k, row_num, rows);
                for (int z = 0; z < 6; ++z) {
                    const bool spiked = z == zone;
                    EXPECT_TRUE(kevra_test::SameBits(spiked ? 9.0f : 0.0f, t.peak[z]));
                    EXPECT_EQ(t.peak_row[z], spiked ? std::min(j + 4, row_num - 1) : row_num - 1)
                        << V::name << ", row_num " << row_num << ", spike at row " << j << ", zone " << z;
                }
            });
        }
    }
}

}  // namespace
