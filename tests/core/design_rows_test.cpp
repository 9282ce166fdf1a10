#include "core/design_rows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "support/backends.h"
#include "support/bits.h"

namespace {

using kevra::simd::max_nan;
using kevra::simd::min_nan;
using kevra_test::SameBits;

// Row by row: lane i % 4 of the start angles rotated i / 4 times; in every
// multiply-add the first product is rounded and the second fused.
void reference_rows(const kevra::HarmonicTable t[3], const kevra::ModelTerms& m, const float* level, int columns,
                    float (*design)[256], kevra::ModelRange& range) {
    for (int i = 0; i < columns; ++i) {
        float model = m.offset;
        for (int h = 0; h < 3; ++h) {
            const int k = i % 4;
            float c = std::fma(-t[h].sin_lane[k], m.start_sin[h], t[h].cos_lane[k] * m.start_cos[h]);
            float s = std::fma(t[h].sin_lane[k], m.start_cos[h], t[h].cos_lane[k] * m.start_sin[h]);
            for (int g = 0; g < i / 4; ++g) {
                const float rotated = std::fma(-s, t[h].rot_sin, c * t[h].rot_cos);
                s = std::fma(c, t[h].rot_sin, s * t[h].rot_cos), c = rotated;
            }
            design[1 + 2 * h][i] = c, design[2 + 2 * h][i] = m.factor[h] * s;
            model = std::fma(-m.amplitude[h], c, model);
        }
        design[7][i] = model - level[i];
        range = {max_nan(range.max, model), min_nan(range.min, model)};
    }
}

// Random tables, terms and levels (the model crossing the range's starting values);
// every column of the last block of eight is written and none after it; a NaN offset
// makes the range NaN.
TEST(DesignRows, EveryBackendFollowsTheLaneAndRotationRecurrence) {
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    for (int seed = 1; seed <= 20; ++seed) {
        kevra::HarmonicTable table[3];
        kevra::make_harmonic_tables(0.4f * unit(rng), table);
        kevra::ModelTerms m;
        m.offset = seed == 20 ? NAN : 400.0f * unit(rng);
        for (int h = 0; h < 3; ++h) {
            const float angle = 20.0f * unit(rng);
            m.start_cos[h] = cosf(angle);
            m.start_sin[h] = kevra::sine_from_cosine(angle, m.start_cos[h]);
            m.amplitude[h] = 60.0f * unit(rng), m.factor[h] = 0.05f * unit(rng);
        }
        alignas(16) float level[256], want[8][256], got[8][256];
        for (float& x : level) x = 500.0f + 400.0f * unit(rng);
        const int row_num = 1 + seed * 37 % 256;
        std::fill_n(&want[0][0], 8 * 256, 7.0f);
        kevra::ModelRange want_range = kevra::kUntouchedRange;
        reference_rows(table, m, level, (row_num + 7) / 8 * 8, want, want_range);
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            std::fill_n(&got[0][0], 8 * 256, 7.0f);
            kevra::ModelRange range = kevra::kUntouchedRange;
            kevra::build_design_rows<V>(table, m, level, row_num, got, &range);
            EXPECT_SAME_BITS(&want[0][0], &got[0][0], 8 * 256) << V::name << ", row_num " << row_num;
            EXPECT_TRUE(SameBits(want_range.max, range.max) && SameBits(want_range.min, range.min)) << row_num;
        });
    }
}

}  // namespace
