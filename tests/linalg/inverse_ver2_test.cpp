// Gauss-Jordan inversion of the leading 7x7 block, first-nonzero pivoting.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "linalg/inverse_ver2.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/probe.h"

namespace {

using kevra_test::SameBits;

struct Mat8 {
    float m[8][8];
};

Mat8 identity() {
    Mat8 x{};
    for (int i = 0; i < 7; ++i) x.m[i][i] = 1.0f;
    return x;
}

// Row i has its 1 in column col_of_row[i]; every other entry of the leading
// block is zero, of the sign given.
Mat8 permutation(const int* col_of_row, float zero, bool transposed = false) {
    Mat8 x{};
    for (int i = 0; i < 7; ++i)
        for (int j = 0; j < 7; ++j) x.m[i][j] = zero;
    for (int i = 0; i < 7; ++i) (transposed ? x.m[col_of_row[i]][i] : x.m[i][col_of_row[i]]) = 1.0f;
    return x;
}

Mat8 invert(Mat8 in, int order = 7) {
    auto d = std::make_unique<kevra_test::Probe>();
    Mat8 out;
    std::memset(&out, 0x5A, sizeof out);
    d->inverse_ver2(order, in.m, out.m);
    return out;
}

// Diagonally dominant, so the elimination stays well-behaved.
Mat8 well_conditioned(std::mt19937& rng) {
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    Mat8 x{};
    for (int i = 0; i < 7; ++i)
        for (int j = 0; j < 7; ++j) x.m[i][j] = u(rng) + (i == j ? 4.0f : 0.0f);
    return x;
}

struct ExactCase {
    std::string name;
    Mat8 matrix, inverse;
};

// 2x2 leading block [[1, a], [a, c]] with a = 1 + 2^-12, c = 1 + 2^-11: the
// second pivot c - a*a is -2^-24 only when the update is fused (unfused it is
// 0 and the result NaN); every later step is exact.
ExactCase fused_elimination_case() {
    const float a = 1.0f + std::ldexp(1.0f, -12), c = 1.0f + std::ldexp(1.0f, -11);
    Mat8 m = identity(), inv = identity();
    m.m[0][1] = m.m[1][0] = a;
    m.m[1][1] = c;
    inv.m[0][0] = -(16777216.0f + 8192.0f);
    inv.m[0][1] = inv.m[1][0] = 16777216.0f + 4096.0f;
    inv.m[1][1] = -16777216.0f;
    return {"FusedUpdateKeepsTinyPivot", m, inv};
}

// Row 1 becomes zero in column 1 only after column 0 is eliminated.
ExactCase late_zero_pivot_case() {
    Mat8 m = identity(), inv = identity();
    const float rows[3][3] = {{1, 2, 0}, {2, 4, 1}, {0, 1, 0}}, inverse[3][3] = {{1, 0, -2}, {0, 0, 1}, {-2, 1, 0}};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            m.m[i][j] = rows[i][j];
            inv.m[i][j] = inverse[i][j];
        }
    return {"ZeroPivotAfterEliminationExchangesRows", m, inv};
}

// Normalisation divides: 7/3 is not 7 * (1/3) in single precision.
ExactCase division_case() {
    Mat8 m = identity(), inv = identity();
    m.m[0][0] = 3.0f;
    m.m[0][1] = 7.0f;
    inv.m[0][0] = 1.0f / 3.0f;
    inv.m[0][1] = -(7.0f / 3.0f);
    return {"DividesByThePivot", m, inv};
}

std::vector<ExactCase> exact_cases() {
    static const int swap01[7] = {1, 0, 2, 3, 4, 5, 6}, cycle[7] = {3, 6, 0, 5, 1, 2, 4};
    return {
        {"Identity", identity(), identity()},
        {"SwapOfFirstTwoRows", permutation(swap01, 0.0f), permutation(swap01, 0.0f, true)},
        {"CyclicPermutation", permutation(cycle, 0.0f), permutation(cycle, 0.0f, true)},
        {"NegativeZerosCountAsZero", permutation(cycle, -0.0f), permutation(cycle, 0.0f, true)},
        late_zero_pivot_case(),
        fused_elimination_case(),
        division_case(),
    };
}

TEST(InverseVer2, MatchesHandComputedInverses) {
    for (const ExactCase& c : exact_cases()) {
        const Mat8 got = invert(c.matrix);
        for (int i = 0; i < 7; ++i) {
            for (int j = 0; j < 7; ++j)
                EXPECT_EQ(got.m[i][j], c.inverse.m[i][j]) << c.name << " [" << i << "][" << j << "]";
            EXPECT_EQ(got.m[i][7], 0.0f) << c.name << " column 7 of row " << i;
        }
    }
}

TEST(InverseVer2, TakesTheFirstNonzeroPivotHoweverSmall) {
    // The true inverse of [[1e-30, 1], [1, 1]] is close to [[-1, 1], [1, 0]];
    // pivoting on 1e-30 loses the first column entirely.
    Mat8 a = identity();
    a.m[0][0] = 1e-30f;
    a.m[0][1] = a.m[1][0] = a.m[1][1] = 1.0f;
    const Mat8 got = invert(a);
    EXPECT_EQ(got.m[0][0], 0.0f);
    EXPECT_EQ(got.m[1][0], 1.0f);
    EXPECT_NEAR(got.m[0][1], 1.0f, 1e-6f);
    EXPECT_NEAR(got.m[1][1] / -1e-30f, 1.0f, 1e-6f);
}

TEST(InverseVer2, SingularOrNaNPivotMakesEveryEntryNaN) {
    Mat8 zero_column = identity(), nan_first = identity(), nan_later = identity(), dependent = identity();
    zero_column.m[0][0] = 0.0f;
    nan_first.m[0][0] = NAN;
    nan_later.m[1][0] = NAN;  // row 1 turns NaN in column 0's elimination, then is column 1's pivot
    dependent.m[4][4] = 0.0f;
    dependent.m[4][2] = 1.0f;
    const std::pair<const char*, Mat8> cases[] = {{"FirstColumnZero", zero_column}, {"AllZero", Mat8{}},
                                                  {"NaNFirstPivot", nan_first}, {"NaNInEliminatedRow", nan_later},
                                                  {"DependentRows", dependent}};
    for (const auto& c : cases) {
        const Mat8 got = invert(c.second);
        for (int i = 0; i < 7; ++i)
            for (int j = 0; j < 8; ++j) EXPECT_TRUE(std::isnan(got.m[i][j])) << c.first << " [" << i << "][" << j << "]";
    }
}

TEST(InverseVer2, ReadsOnlyTheLeadingBlockAndWritesOnlyRowsZeroToSix) {
    std::mt19937 rng(3);
    const Mat8 clean = well_conditioned(rng);
    const Mat8 want = invert(clean);

    Mat8 noisy = clean;
    for (int k = 0; k < 8; ++k) noisy.m[7][k] = noisy.m[k][7] = (k % 2) ? NAN : -3e38f;
    const Mat8 before = noisy;
    auto d = std::make_unique<kevra_test::Probe>();
    for (int order : {7, 0, -1, 3, 100}) {
        Mat8 got;
        std::memset(&got, 0x5A, sizeof got);
        d->inverse_ver2(order, noisy.m, got.m);
        EXPECT_TRUE(SameBits(&want.m[0][0], &got.m[0][0], 56)) << "order " << order;
        EXPECT_TRUE(SameBits(&before.m[0][0], &noisy.m[0][0], 64)) << "matrix modified";
        for (int k = 0; k < 8; ++k) EXPECT_EQ(kevra_test::bits(got.m[7][k]), 0x5A5A5A5Au);
    }

    Mat8 shared = noisy;  // the matrix and its inverse in one array
    d->inverse_ver2(7, shared.m, shared.m);
    EXPECT_TRUE(SameBits(&want.m[0][0], &shared.m[0][0], 56));
    EXPECT_TRUE(SameBits(noisy.m[7], shared.m[7], 8));
}

TEST(InverseVer2, InverseTimesMatrixIsTheIdentityWithinRounding) {
    std::mt19937 rng(5);
    for (int trial = 0; trial < 50; ++trial) {
        const Mat8 a = well_conditioned(rng);
        const Mat8 inv = invert(a);
        for (int i = 0; i < 7; ++i) {
            for (int j = 0; j < 7; ++j) {
                double s = 0.0;
                for (int k = 0; k < 7; ++k) s += double(inv.m[i][k]) * a.m[k][j];
                EXPECT_NEAR(s, i == j ? 1.0 : 0.0, 1e-6) << "trial " << trial << " [" << i << "][" << j << "]";
            }
            EXPECT_EQ(inv.m[i][7], 0.0f);
        }
    }
}

TEST(InverseVer2, BackendsAgreeBitForBit) {
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> coin(0, 3);
    for (int trial = 0; trial < 200; ++trial) {
        // Alternate special values with well-conditioned matrices whose
        // entries are zeroed at random, so exchanges and NaN pivots both occur.
        Mat8 a = well_conditioned(rng);
        for (auto& row : a.m)
            for (float& v : row) {
                if (trial % 2) v = kevra_test::interesting_float(rng);
                else if (coin(rng) == 0) v = coin(rng) ? 0.0f : -0.0f;
            }
        Mat8 want;
        kevra::invert_order7<kevra::simd::Portable>(a.m, want.m);
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            Mat8 got;
            kevra::invert_order7<V>(a.m, got.m);
            // A NaN's sign after x - f*y depends on which multiplicand the
            // compiler negates, so NaN matches NaN; every other value its bits.
            for (int k = 0; k < 56; ++k) {
                const float w = want.m[k / 8][k % 8], g = got.m[k / 8][k % 8];
                if (std::isnan(w) && std::isnan(g)) continue;
                EXPECT_TRUE(SameBits(w, g)) << V::name << " trial " << trial << " entry " << k;
            }
        });
    }
}

}  // namespace
