// The least-squares step: Gauss-Jordan inversion of the leading 7x7 block with
// first-nonzero pivoting, and the normal matrix and correction around it, each
// sum in its stated order.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <tuple>

#include "linalg/inverse_ver2.h"
#include "linalg/matrix_multiplication.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/probe.h"

namespace {

using kevra_test::SameBits;

struct Mat8 { float m[8][8]; };

// The identity in the leading block, with the given entries changed.
Mat8 identity_with(std::initializer_list<std::tuple<int, int, float>> entries) {
    Mat8 x{};
    for (int i = 0; i < 7; ++i) x.m[i][i] = 1.0f;
    for (const auto& [i, j, v] : entries) x.m[i][j] = v;
    return x;
}

// Rows 0..6: NaN matches NaN (its sign after x - f*y depends on which multiplicand the
// compiler negates), every other entry its value, or with `exact` its bits.
::testing::AssertionResult Matches(const Mat8& want, const Mat8& got, bool exact) {
    for (int k = 0; k < 56; ++k) {
        const float w = want.m[k / 8][k % 8], g = got.m[k / 8][k % 8];
        if (std::isnan(w) ? !std::isnan(g) : exact ? !SameBits(w, g) : w != g)
            return ::testing::AssertionFailure() << "[" << k / 8 << "][" << k % 8 << "] want " << w << ", got " << g;
    }
    return ::testing::AssertionSuccess();
}

// A singular block is not detected: the zero or NaN pivot spreads NaN everywhere.
TEST(InverseVer2, MatchesHandComputedInverses) {
    const float a = 1.0f + 0x1p-12f, b = 1.0f + 0x1p-11f, big = 16777216.0f, tiny = 0x1p-100f, nan = NAN;
    Mat8 all_nan;
    std::fill_n(&all_nan.m[0][0], 64, nan);
    const struct { const char* name; Mat8 matrix, inverse; } cases[] = {
        {"row exchange, -0.0 is zero", identity_with({{0, 0, -0.0f}, {0, 2, 1}, {2, 0, 1}, {2, 2, -0.0f}}),
         identity_with({{0, 0, 0}, {0, 2, 1}, {2, 0, 1}, {2, 2, 0}})},
        {"zero pivot after elimination", identity_with({{0, 1, 2}, {1, 0, 2}, {1, 1, 4}, {1, 2, 1}, {2, 1, 1}, {2, 2, 0}}),
         identity_with({{0, 2, -2}, {1, 1, 0}, {1, 2, 1}, {2, 0, -2}, {2, 1, 1}, {2, 2, 0}})},
        // The second pivot b - a*a is -2^-24 only when the update is fused; unfused it is 0.
        {"fused update", identity_with({{0, 1, a}, {1, 0, a}, {1, 1, b}}),
         identity_with({{0, 0, -(big + 8192.0f)}, {0, 1, big + 4096.0f}, {1, 0, big + 4096.0f}, {1, 1, -big}})},
        {"true division", identity_with({{0, 0, 3}, {0, 1, 7}}), identity_with({{0, 0, 1.0f / 3.0f}, {0, 1, -(7.0f / 3.0f)}})},
        // The true inverse is near [[-1, 1], [1, 0]]; pivoting on 2^-100 loses entry [0][0].
        {"tiny first pivot taken", identity_with({{0, 0, tiny}, {0, 1, 1}, {1, 0, 1}}),
         identity_with({{0, 0, 0}, {0, 1, 1}, {1, 0, 1}, {1, 1, -tiny}})},
        {"first column zero", identity_with({{0, 0, 0}}), all_nan}, {"NaN", identity_with({{1, 0, nan}}), all_nan},
    };
    auto probe = std::make_unique<kevra_test::Probe>();
    for (const auto& c : cases) {
        Mat8 in = c.matrix, out;
        probe->inverse_ver2(7, in.m, out.m);
        EXPECT_TRUE(Matches(c.inverse, out, false)) << c.name;
    }
}

// Four partial sums by k mod 4 over the first 4 floor(n/4) samples, combined as
// (p0 + p1) + (p2 + p3), then the remaining samples; r outer, k inner throughout.
template <class Mac>
float ordered_sum(int n, int rows, Mac mac) {
    const int whole = n / 4 * 4;
    float p[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    for (int r = 0; r < rows; ++r)
        for (int k = 0; k < whole; ++k) p[k % 4] = mac(r, k, p[k % 4]);
    float s = (p[0] + p[1]) + (p[2] + p[3]);
    for (int r = 0; r < rows; ++r)
        for (int k = whole; k < n; ++k) s = mac(r, k, s);
    return s;
}

// Magnitudes grow along the samples, so each term is of the size of the sum it
// joins and every rounding shows in the result, the tail's included. Samples
// from row_num on are NaN and must not matter. Every backend's kernels must
// give the member's bits.
TEST(MatrixMultiplication, FollowsTheStatedSummationOrderOnEveryBackend) {
    auto d = std::make_unique<kevra_test::Probe>();
    const float(*design)[256] = d->design;
    std::mt19937 rng(17);
    std::uniform_real_distribution<float> uniform(-4.0f, 4.0f);
    for (int n : {0, 1, 2, 3, 4, 5, 7, 16, 17, 19, 20, 31, 33, 47, 255, 256}) {
        SCOPED_TRACE(n);
        for (int k = 0; k < 8 * 256; ++k)
            d->design[k / 256][k % 256] = k % 256 < n ? uniform(rng) * std::exp2(k % 256 / 16.0f) : NAN;
        Mat8 normal{}, inverse{}, want_normal{}, want_inverse{};
        d->matrix_multiplication(n, 7, normal.m, inverse.m);
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            SCOPED_TRACE(V::name);
            Mat8 normal_v{}, inverse_v{};
            float delta_v[7];
            kevra::form_normal_matrix<V>(design, n, 7, normal_v.m);
            kevra::invert_order7<V>(normal.m, inverse_v.m);
            kevra::apply_inverse<V>(design, n, inverse.m, delta_v);
            EXPECT_TRUE(SameBits(&normal.m[0][0], &normal_v.m[0][0], 64));
            EXPECT_TRUE(Matches(inverse, inverse_v, true));
            EXPECT_TRUE(SameBits(d->fit_delta, delta_v, 7));
        });
        float want_delta[7];
        for (int i = 0; i < 49; ++i) {
            want_normal.m[i / 7][i % 7] = ordered_sum(
                n, 1, [&](int, int k, float s) { return std::fma(design[i / 7][k], design[i % 7][k], s); });
        }
        d->inverse_ver2(7, normal.m, want_inverse.m);
        for (int u = 0; u < 7; ++u) {
            want_delta[u] = ordered_sum(
                n, 7, [&](int r, int k, float s) { return std::fma(inverse.m[r][u], design[r][k] * design[7][k], s); });
        }
        EXPECT_TRUE(SameBits(&want_normal.m[0][0], &normal.m[0][0], 64));
        EXPECT_TRUE(SameBits(&want_inverse.m[0][0], &inverse.m[0][0], 64));
        EXPECT_TRUE(SameBits(want_delta, d->fit_delta, 7));
    }
}

}  // namespace
