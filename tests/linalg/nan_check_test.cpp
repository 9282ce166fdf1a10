// Missing-value repair: an entry below 0.0 takes the last present one, and a
// present entry turns the run before it into a straight line.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "linalg/nan_check.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/probe.h"

namespace {

const float kNaN = __builtin_nanf("");
const float kInf = __builtin_inff();

TEST(NanCheck, BothMembersRepairHandComputedColumns) {
    const std::vector<float> cases[][2] = {
        {{10, -1, -1, 40, -1, -1}, {10, 20, 30, 40, 40, 40}},
        {{-0.0f, -1, 8, 0, -1, 2}, {-0.0f, 4, 8, 0, 1, 2}},               // zeros of either sign are present
        {{-32767, -32767, 30, -1, 50}, {-32767, -16368.5f, 30, 40, 50}},  // entry 0 keeps its marker
        {{4, kNaN, -1, 8, -kInf, kInf}, {4, kNaN, kNaN, 8, kInf, kInf}},  // so is NaN
        // Products, sum and quotient each rounded in single precision: a multiply-add fused
        // either way or double precision gives other bits.
        {{775.237122f, -1, -1, -1, 1059.82019f}, {775.237122f, 846.382935f, 917.528687f, 988.674377f, 1059.82019f}},
    };
    auto detector = std::make_unique<kevra_test::Probe>();
    for (const auto& c : cases) {
        const int length = static_cast<int>(c[0].size());
        float zones[6][256] = {}, rows[6][4] = {}, got[2][6];
        for (int i = 0; i < length; ++i) zones[i][0] = rows[i][0] = c[0][i];
        detector->nan_check_v2_6_256(zones, length, 1);
        detector->nan_check_v2_256_4(rows, length, 1);
        for (int i = 0; i < length; ++i) got[0][i] = zones[i][0], got[1][i] = rows[i][0];
        EXPECT_SAME_BITS(c[1].data(), got[0], length) << "case " << &c - cases;
        EXPECT_SAME_BITS(c[1].data(), got[1], length) << "case " << &c - cases;
    }
}

// The rule entry by entry, one column at a time.
template <int Width>
void repair_one_by_one(float (*a)[Width], int length, int columns) {
    for (int col = 0; col < columns; ++col) {
        int anchor = 0;
        for (int i = 0; i < length; ++i) {
            if (a[i][col] < 0.0f) {
                a[i][col] = a[anchor][col];
                continue;
            }
            for (int j = anchor + 1; j < i; ++j)
                a[j][col] = (a[j][col] * float(i - j) + a[i][col] * float(j - anchor)) / float(i - anchor);
            anchor = i;
        }
    }
}

// Runs of every length, separate or back to back, with the corner values, in
// both array shapes; each backend (four columns per vector) against the rule,
// columns and entries beyond the repaired block included.
TEST(NanCheck, VectorKernelsFollowTheRuleOnRandomColumns) {
    std::mt19937 rng(9);
    std::uniform_real_distribution<float> value(0.0f, 100.0f);
    const float corners[] = {-0.0f, 0.0f, kInf, -kInf, kNaN, -1e-40f};
    const auto entry = [&] {
        const unsigned k = rng() % 10;
        return k < 4 ? -1.0f : k < 9 ? value(rng) : corners[rng() % 6];
    };
    // a[0] the input, a[1] the rule's repair, a[2] a backend's.
    const auto check = [&](auto& a, int length, int columns, int trial) {
        std::generate_n(&a[0][0][0], sizeof a[0] / sizeof(float), entry);
        std::memcpy(a[1], a[0], sizeof a[1]);
        repair_one_by_one(a[1], length, columns);
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            std::memcpy(a[2], a[0], sizeof a[2]);
            kevra::repair_columns<V>(a[2], length, columns);
            EXPECT_TRUE(kevra_test::SameBits(&a[1][0][0], &a[2][0][0], sizeof a[1] / sizeof(float)))
                << V::name << ", trial " << trial;
        });
    };
    static float zones[3][40][256], rows[3][256][4];
    for (int trial = 0; trial < 40; ++trial) {
        check(zones, 1 + trial % 40, 1 + (trial * 37) % 256, trial);
        check(rows, 1 + (trial * 53) % 256, 1 + trial % 4, trial);
    }
}

}  // namespace
