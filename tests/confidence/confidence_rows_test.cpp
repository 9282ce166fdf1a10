// The row pass of the confidence index, with every vector backend, against a
// plain row-by-row evaluation of the rules.
#include "confidence/confidence_rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "support/backends.h"
#include "support/bits.h"

namespace {

using kevra::ConfidenceConstants;
using kevra::ZoneTotals;
using kevra_test::SameBits;

// The 32-bit product, wrapped; >> on it is the arithmetic shift.
int32_t product(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) * uint32_t(b)); }

ZoneTotals reference_rows(const ConfidenceConstants& k, int32_t row_num, const float* level, const uint32_t* sum) {
    ZoneTotals t{{}, {}, {}, {-1, -1, -1, -1, -1, -1}};
    float e[6][5] = {};  // per zone e(i-4) .. e(i)
    for (int32_t i = 0; i < row_num; ++i) {
        const int32_t y = k.y0 + i * k.y_step;
        int32_t m = k.off;
        for (int h = 0; h < 3; ++h)
            m -= product(k.amp[h], kevra::fixed_cos(k.phase[h] + (product(k.step[h], y) >> 3))) >> 10;
        const float model = static_cast<float>(m) / 1024.0f;
        const float lo = std::min(std::max(model - k.a1, k.lo_min), k.lo_max);
        const float hi = std::max(std::min(model + k.a1, k.hi_max), k.hi_min);
        for (int z = 0; z < 6; ++z) {
            const float x = level[i * 24 + 6 + z], d = x - model;
            const float root = static_cast<float>(sum[i * 24 + 6 + z]) * k.inv_norm;
            const float w = root * root > 1.0f ? 1.0f : root * root;
            std::copy(e[z] + 1, e[z] + 5, e[z]);
            e[z][4] = x > lo && x < hi ? w * (d * d) : 0.0f;
            t.count[z] += x > lo && x < hi;
            t.sum[z] += e[z][4];
            const float window = (((e[z][0] + e[z][1]) + e[z][2]) + e[z][3]) + e[z][4];
            if (!(t.peak[z] > window)) { t.peak[z] = window; t.peak_row[z] = i; }
        }
    }
    return t;
}

// Offset 100 with independent band limits, which may cross, and levels mostly
// near the model, some infinite, NaN or a missing marker; sums from 0 to beyond
// 2^31, taken unsigned, with weight scales from 1/3 down to 2^-37. Now and then
// amplitudes and lines large enough to wrap the 32-bit products, or an infinite
// weight scale (weights NaN and 1).
TEST(ConfidenceRows, EveryBackendFollowsTheRowByRowRulesForEveryRowCount) {
    std::mt19937 rng(20240611);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    const auto n = [&](uint32_t limit) { return static_cast<int32_t>(rng() % limit); };
    for (int trial = 0; trial < 40; ++trial) {
        for (int32_t row_num : {-5, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 63, 64, 65, 131, 255, 256, 300}) {
            const bool wild = n(8) == 0;
            const uint32_t amp = wild ? 1u << 23 : 1u << 14;
            // Steps, phases, amplitudes, offset, a1, lo_min, lo_max, hi_min, hi_max, inv_norm, y_step, y0.
            const ConfidenceConstants k{
                {n(368640), n(368640), n(368640)}, {n(92160) - 46080, n(92160) - 46080, n(92160) - 46080},
                {n(amp), n(amp) - 4096, n(amp) - 4096}, 102400, 12.0f * u(rng),
                100.0f - 12.0f * u(rng), 100.0f - 3.0f * u(rng), 100.0f + 3.0f * u(rng), 100.0f + 12.0f * u(rng),
                n(8) == 0 ? __builtin_inff() : std::ldexp(1.0f / 3.0f, -n(36)), wild ? 20000 : 8 + n(8), n(400) - 200};
            std::vector<float> level(24 * static_cast<size_t>(std::max(row_num, 1)));
            std::vector<uint32_t> sum(level.size());
            for (size_t i = 0; i < level.size(); ++i) {
                level[i] = n(8) == 0 ? kevra_test::interesting_float(rng) : 100.0f + 15.0f * u(rng);
                sum[i] = static_cast<uint32_t>(rng()) >> (n(4) * 10);
            }
            const ZoneTotals want = reference_rows(k, row_num, level.data(), sum.data());
            kevra_test::for_each_backend([&](auto tag) {
                using V = typename decltype(tag)::type;
                ZoneTotals got;
                kevra::accumulate_zone_rows<V>(k, row_num, level.data(), sum.data(), &got);
                ASSERT_TRUE(SameBits(&want.sum[0], &got.sum[0], sizeof got / 4))
                    << V::name << ", row_num " << row_num << ", trial " << trial;
            });
        }
    }
}

}  // namespace
