#include "core/design_rows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "core/fit_fixture.h"
#include "support/backends.h"
#include "support/bits.h"

namespace {

using kevra::HarmonicTable;
using kevra::ModelRange;
using kevra::ModelTerms;
using kevra_test::SameBits;

// Which of the multiply-adds of the row recurrence are fused.
struct Fusion {
    bool lane_cos = true;
    bool lane_sin = true;
    bool rot_cos = true;
    bool rot_sin = true;
    bool model = true;
};

// a*b - c*d and a*b + c*d, a*b rounded first.
float mul_sub(float a, float b, float c, float d, bool fused) { return fused ? std::fma(-c, d, a * b) : a * b - c * d; }
float mul_add(float a, float b, float c, float d, bool fused) { return fused ? std::fma(c, d, a * b) : a * b + c * d; }

struct Rows {
    float design[8][256];
    float model[256];
};

// Row by row: lane i % 4 of the start, rotated i / 4 times.
void reference_rows(const HarmonicTable t[3], const ModelTerms& m, const float* level, int columns, Fusion f,
                    Rows& out) {
    for (int i = 0; i < columns; ++i) {
        float model = m.offset;
        out.design[0][i] = -1.0f;
        for (int h = 0; h < 3; ++h) {
            const int k = i % 4;
            float c = mul_sub(t[h].cos_lane[k], m.start_cos[h], t[h].sin_lane[k], m.start_sin[h], f.lane_cos);
            float s = mul_add(t[h].cos_lane[k], m.start_sin[h], t[h].sin_lane[k], m.start_cos[h], f.lane_sin);
            for (int g = 0; g < i / 4; ++g) {
                const float nc = mul_sub(c, t[h].rot_cos, s, t[h].rot_sin, f.rot_cos);
                s = mul_add(s, t[h].rot_cos, c, t[h].rot_sin, f.rot_sin);
                c = nc;
            }
            out.design[1 + 2 * h][i] = c;
            out.design[2 + 2 * h][i] = m.factor[h] * s;
            model = f.model ? std::fma(-m.amplitude[h], c, model) : model - m.amplitude[h] * c;
        }
        out.model[i] = model;
        out.design[7][i] = model - level[i];
    }
}

struct Inputs {
    HarmonicTable table[3];
    ModelTerms terms;
    float level[256];
};

Inputs random_inputs(unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    Inputs in;
    kevra::make_harmonic_tables(0.4f * unit(rng), in.table);
    in.terms.offset = 500.0f + 400.0f * unit(rng);
    for (int h = 0; h < 3; ++h) {
        const float angle = 20.0f * unit(rng);
        in.terms.start_cos[h] = cosf(angle);
        in.terms.start_sin[h] = kevra::sine_from_cosine(angle, in.terms.start_cos[h]);
        in.terms.amplitude[h] = 60.0f * unit(rng);
        in.terms.factor[h] = 0.05f * unit(rng);
    }
    for (float& x : in.level) x = 500.0f + 400.0f * unit(rng);
    return in;
}

template <class V>
class DesignRows : public ::testing::Test {};
TYPED_TEST_SUITE(DesignRows, kevra_test::VectorBackends);

TYPED_TEST(DesignRows, FollowTheLaneAndRotationRecurrenceExactly) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        const Inputs in = random_inputs(seed);
        const int row_num = 1 + int(seed * 37 % 256);
        const int columns = kevra::design_columns(row_num);
        alignas(16) float design[8][256] = {};
        ModelRange range = kevra::kUntouchedRange;
        kevra::build_design_rows<TypeParam>(in.table, in.terms, in.level, row_num, design, &range);
        Rows want;
        reference_rows(in.table, in.terms, in.level, columns, Fusion{}, want);
        for (int r = 1; r < 8; ++r) {
            EXPECT_TRUE(SameBits(want.design[r], design[r], columns)) << "row " << r << ", row_num " << row_num;
        }
    }
}

// Each multiply-add that is fused must be fused: turning any one of them into
// a rounded multiply and add changes the rows for these inputs.
TEST(DesignRowsReference, EveryFusedStepChangesTheResultWhenUnfused) {
    const Inputs in = random_inputs(7);
    Rows fused;
    reference_rows(in.table, in.terms, in.level, 256, Fusion{}, fused);
    bool Fusion::*const steps[] = {&Fusion::lane_cos, &Fusion::lane_sin, &Fusion::rot_cos, &Fusion::rot_sin,
                                   &Fusion::model};
    for (bool Fusion::*step : steps) {
        Fusion f;
        f.*step = false;
        Rows unfused;
        reference_rows(in.table, in.terms, in.level, 256, f, unfused);
        EXPECT_NE(0, std::memcmp(fused.design[1], unfused.design[1], sizeof(float) * 7 * 256));
    }
}

// The recurrence tracks the true angles theta_h + h * i * delta over all 256 rows;
// the rounding of the tables and 63 rotations drift by less than 1e-4 (measured
// 6.7e-5), while a wrong lane, table or block step is off by far more.
TEST(DesignRows, TrackDirectlyComputedAngles) {
    kevra_test::FitRecords r;
    const kevra::FitSettings s = kevra::make_fit_settings(&r.param, &r.config);
    const kevra::ChannelParams p{300.0f, {40.0f, 8.0f, 4.0f}, {1234.0f, -700.0f, 2500.0f}};
    const ModelTerms m = kevra::model_terms(s, p);
    alignas(16) float level[256] = {};
    alignas(16) float design[8][256] = {};
    kevra::build_design_rows<kevra::simd::Native>(s.harmonic, m, level, 256, design, nullptr);
    double worst = 0.0;
    for (int h = 0; h < 3; ++h) {
        const double start = double(s.exposure_angle[h]) + double(s.rate[h]) * (double(r.start_time) + p.phase[h]);
        for (int i = 0; i < 256; ++i) {
            const double angle = start + double(h + 1) * i * double(s.row_step);
            worst = std::max(worst, std::fabs(std::cos(angle) - design[1 + 2 * h][i]));
            worst = std::max(worst, std::fabs(m.factor[h] * std::sin(angle) - design[2 + 2 * h][i]) /
                                        std::fabs(m.factor[h]));
        }
    }
    EXPECT_LT(worst, 1e-4);
}

// Rows past row_num in the last block count for the range: a model peak placed
// at row 252 is seen with row_num 250.
TEST(DesignRows, RangeCoversTheWholeLastBlock) {
    Inputs in = random_inputs(5);
    kevra::make_harmonic_tables(0.02f, in.table);
    const float angle = float(M_PI) - 252.0f * 0.02f;  // cos = -1 at row 252: the model's peak
    in.terms.start_cos[0] = cosf(angle);
    in.terms.start_sin[0] = kevra::sine_from_cosine(angle, in.terms.start_cos[0]);
    in.terms.amplitude[0] = 50.0f;
    in.terms.amplitude[1] = in.terms.amplitude[2] = 0.0f;
    Rows want;
    reference_rows(in.table, in.terms, in.level, 256, Fusion{}, want);
    float peak = 0.0f, peak_before_250 = 0.0f, low = 10.0f;
    for (int i = 0; i < 256; ++i) {
        peak = std::max(peak, want.model[i]);
        low = std::min(low, want.model[i]);
        if (i < 250) peak_before_250 = std::max(peak_before_250, want.model[i]);
    }
    ASSERT_GT(peak, peak_before_250);

    alignas(16) float design[8][256] = {};
    ModelRange range = kevra::kUntouchedRange;
    kevra::build_design_rows<kevra::simd::Native>(in.table, in.terms, in.level, 250, design, &range);
    EXPECT_TRUE(SameBits(peak, range.max));
    EXPECT_TRUE(SameBits(low, range.min));
}

TEST(DesignRows, NotANumberModelMakesTheRangeNotANumber) {
    Inputs in = random_inputs(9);
    in.terms.offset = NAN;
    alignas(16) float design[8][256] = {};
    ModelRange range = kevra::kUntouchedRange;
    kevra::build_design_rows<kevra::simd::Native>(in.table, in.terms, in.level, 12, design, &range);
    EXPECT_TRUE(std::isnan(range.max));
    EXPECT_TRUE(std::isnan(range.min));
}

}  // namespace
