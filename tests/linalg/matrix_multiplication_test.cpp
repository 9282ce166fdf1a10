// The least-squares step: normal matrix, inversion and correction, each sum in
// its stated order.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>

#include "linalg/inverse_ver2.h"
#include "linalg/matrix_multiplication.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/probe.h"

namespace {

using kevra_test::SameBits;

constexpr uint32_t kSentinel = 0x5A5A5A5Au;

struct Mat8 {
    float m[8][8];
};

Mat8 sentinel_matrix() {
    Mat8 x;
    std::memset(&x, 0x5A, sizeof x);
    return x;
}

// Faults that a kernel could commit; the reference commits the chosen ones.
struct Faults {
    bool unfused_normal = false;       // step 1, first 4*floor(n/4) samples
    bool unfused_normal_tail = false;  // step 1, remaining samples
    bool unfused_delta = false;        // step 3, first 4*floor(n/4) samples
    bool unfused_delta_tail = false;   // step 3, remaining samples
    bool unrounded_product = false;    // step 3, design[r][k] * design[7][k] kept exact
};

float mac(float a, float b, float acc, bool unfused) { return unfused ? a * b + acc : std::fma(a, b, acc); }

float delta_term(float w, float d, float e, float acc, bool unfused, bool unrounded) {
    if (unrounded) return static_cast<float>(std::fma(double(w), double(d) * e, double(acc)));
    return mac(w, d * e, acc, unfused);
}

float reference_normal(const float (*design)[256], int i, int j, int n, const Faults& f) {
    const int whole = n / 4 * 4;
    float p[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    for (int k = 0; k < whole; ++k) p[k % 4] = mac(design[i][k], design[j][k], p[k % 4], f.unfused_normal);
    float s = (p[0] + p[1]) + (p[2] + p[3]);
    for (int k = whole; k < n; ++k) s = mac(design[i][k], design[j][k], s, f.unfused_normal_tail);
    return s;
}

void reference_delta(const float (*design)[256], int n, const float (*inverse)[8], const Faults& f, float* out) {
    const int whole = n / 4 * 4;
    const float* e = design[7];
    for (int u = 0; u < 7; ++u) {
        float p[4] = {0.0f, 0.0f, 0.0f, 0.0f};
        for (int r = 0; r < 7; ++r)
            for (int k = 0; k < whole; ++k)
                p[k % 4] = delta_term(inverse[r][u], design[r][k], e[k], p[k % 4], f.unfused_delta, f.unrounded_product);
        float s = (p[0] + p[1]) + (p[2] + p[3]);
        for (int r = 0; r < 7; ++r)
            for (int k = whole; k < n; ++k)
                s = delta_term(inverse[r][u], design[r][k], e[k], s, f.unfused_delta_tail, f.unrounded_product);
        out[u] = s;
    }
}

struct Result {
    Mat8 normal = sentinel_matrix(), inverse = sentinel_matrix();
    float delta[7];
};

Result run(kevra_test::Probe& d, int row_num, int unknown_num = 7) {
    Result r;
    std::memset(d.fit_delta, 0x5A, sizeof d.fit_delta);
    d.matrix_multiplication(row_num, unknown_num, r.normal.m, r.inverse.m);
    std::memcpy(r.delta, d.fit_delta, sizeof r.delta);
    return r;
}

// Magnitudes grow along the samples, so each term is of the size of the sum it
// joins and every rounding shows in the result, the tail's included.
void fill_design(float (*design)[256], std::mt19937& rng, bool specials = false) {
    std::uniform_real_distribution<float> u(-4.0f, 4.0f);
    for (int r = 0; r < 8; ++r)
        for (int k = 0; k < 256; ++k)
            design[r][k] = specials ? kevra_test::interesting_float(rng) : u(rng) * std::exp2(k / 16.0f);
}

Mat8 reference_normal_matrix(const float (*design)[256], int n, const Faults& f = {}) {
    Mat8 want = sentinel_matrix();
    for (int i = 0; i < 7; ++i)
        for (int j = 0; j < 7; ++j) want.m[i][j] = reference_normal(design, i, j, n, f);
    return want;
}

const int kRowNums[] = {1, 2, 3, 4, 5, 7, 15, 16, 17, 18, 19, 20, 31, 33, 47, 100, 255, 256};

TEST(MatrixMultiplication, FollowsTheStatedSummationOrder) {
    auto d = std::make_unique<kevra_test::Probe>();
    std::mt19937 rng(17);
    for (int n : kRowNums) {
        fill_design(d->design, rng);
        const Result got = run(*d, n);
        const Mat8 want_normal = reference_normal_matrix(d->design, n);
        EXPECT_TRUE(SameBits(&want_normal.m[0][0], &got.normal.m[0][0], 64)) << "normal, row_num " << n;

        Mat8 want_inverse = sentinel_matrix();
        Mat8 normal = got.normal;
        d->inverse_ver2(7, normal.m, want_inverse.m);
        EXPECT_TRUE(SameBits(&want_inverse.m[0][0], &got.inverse.m[0][0], 64)) << "inverse, row_num " << n;

        float want_delta[7];
        reference_delta(d->design, n, got.inverse.m, {}, want_delta);
        EXPECT_TRUE(SameBits(want_delta, got.delta, 7)) << "fit_delta, row_num " << n;
    }
}

// Guards the test above: on its inputs every fault that a kernel could commit
// changes the result at some row_num, so matching the reference rules it out.
TEST(MatrixMultiplication, ReferenceInputsExposeEveryFusionAndRoundingFault) {
    Faults faults[5];
    faults[0].unfused_normal = true;
    faults[1].unfused_normal_tail = true;
    faults[2].unfused_delta = true;
    faults[3].unfused_delta_tail = true;
    faults[4].unrounded_product = true;
    bool seen[5] = {};
    auto d = std::make_unique<kevra_test::Probe>();
    std::mt19937 rng(17);
    for (int n : kRowNums) {
        fill_design(d->design, rng);
        const Result got = run(*d, n);
        for (int v = 0; v < 5; ++v) {
            const Mat8 normal = reference_normal_matrix(d->design, n, faults[v]);
            float delta[7];
            reference_delta(d->design, n, got.inverse.m, faults[v], delta);
            seen[v] |= std::memcmp(&normal, &got.normal, sizeof normal) != 0 ||
                       std::memcmp(delta, got.delta, sizeof delta) != 0;
        }
    }
    for (int v = 0; v < 5; ++v) EXPECT_TRUE(seen[v]) << "fault " << v;
}

TEST(MatrixMultiplication, NoRowsGiveZeroCorrectionThoughTheInverseIsNaN) {
    auto d = std::make_unique<kevra_test::Probe>();
    std::mt19937 rng(1);
    fill_design(d->design, rng);
    const Result got = run(*d, 0);
    for (int i = 0; i < 7; ++i) {
        for (int j = 0; j < 7; ++j) EXPECT_EQ(kevra_test::bits(got.normal.m[i][j]), 0u);
        for (int j = 0; j < 8; ++j) EXPECT_TRUE(std::isnan(got.inverse.m[i][j]));
        EXPECT_EQ(kevra_test::bits(got.delta[i]), 0u) << "fit_delta[" << i << "]";
    }
}

TEST(MatrixMultiplication, ReadsOnlySamplesBelowRowNumAndLeavesRowAndColumnSeven) {
    auto d = std::make_unique<kevra_test::Probe>();
    std::mt19937 rng(23);
    for (int n : {1, 6, 18, 19, 129, 255}) {
        fill_design(d->design, rng);
        const Result clean = run(*d, n);
        for (auto& row : d->design)
            for (int k = n; k < 256; ++k) row[k] = NAN;
        const Result got = run(*d, n);
        EXPECT_TRUE(SameBits(&clean.normal.m[0][0], &got.normal.m[0][0], 64)) << "row_num " << n;
        EXPECT_TRUE(SameBits(&clean.inverse.m[0][0], &got.inverse.m[0][0], 64)) << "row_num " << n;
        EXPECT_TRUE(SameBits(clean.delta, got.delta, 7)) << "row_num " << n;
        for (int k = 0; k < 8; ++k) {
            EXPECT_EQ(kevra_test::bits(got.normal.m[7][k]), kSentinel);
            EXPECT_EQ(kevra_test::bits(got.normal.m[k][7]), kSentinel);
            EXPECT_EQ(kevra_test::bits(got.inverse.m[7][k]), kSentinel);
        }
        for (int i = 0; i < 7; ++i)
            for (int j = 0; j < i; ++j) EXPECT_TRUE(SameBits(got.normal.m[i][j], got.normal.m[j][i]));
    }
}

TEST(MatrixMultiplication, RecoversTheCoefficientsOfAConsistentResidual) {
    const double coeff[7] = {0.5, -1.25, 2.0, 0.1, -0.3, 1.0, 3.0};
    auto d = std::make_unique<kevra_test::Probe>();
    std::mt19937 rng(31);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int n : {40, 101, 256}) {
        for (int k = 0; k < 256; ++k) {
            double e = 0.0;
            for (int r = 0; r < 7; ++r) {
                d->design[r][k] = u(rng);
                e += coeff[r] * d->design[r][k];
            }
            d->design[7][k] = static_cast<float>(e);
        }
        const Result got = run(*d, n);
        for (int r = 0; r < 7; ++r) EXPECT_NEAR(got.delta[r], coeff[r], 2e-5) << "row_num " << n << " unknown " << r;
    }
}

TEST(MatrixMultiplication, BackendsAgreeBitForBit) {
    std::mt19937 rng(37);
    alignas(16) float design[8][256];
    for (int n : {3, 16, 17, 18, 19, 64, 101, 256}) {
        for (bool specials : {false, true}) {
            fill_design(design, rng, specials);
            Mat8 want_normal = sentinel_matrix(), inverse;
            kevra::form_normal_matrix<kevra::simd::Portable>(design, n, 7, want_normal.m);
            kevra::invert_order7<kevra::simd::Portable>(want_normal.m, inverse.m);
            float want_delta[7];
            kevra::apply_inverse<kevra::simd::Portable>(design, n, inverse.m, want_delta);
            kevra_test::for_each_backend([&](auto tag) {
                using V = typename decltype(tag)::type;
                Mat8 normal = sentinel_matrix();
                float delta[7];
                kevra::form_normal_matrix<V>(design, n, 7, normal.m);
                kevra::apply_inverse<V>(design, n, inverse.m, delta);
                EXPECT_TRUE(SameBits(&want_normal.m[0][0], &normal.m[0][0], 64)) << V::name << " row_num " << n;
                EXPECT_TRUE(SameBits(want_delta, delta, 7)) << V::name << " row_num " << n;
            });
        }
    }
}

}  // namespace
