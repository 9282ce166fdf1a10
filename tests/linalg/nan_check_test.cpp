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

const std::vector<float> kCases[][2] = {
    {{10, -1, -1, 40, -1, -1}, {10, 20, 30, 40, 40, 40}},
    {{5, 0, -1, 9}, {5, 0, 4.5f, 9}},  // 0.0 is present
    {{-0.0f, -1, 8}, {-0.0f, 4, 8}},
    {{-32767, -32767, 30, -1, 50}, {-32767, -16368.5f, 30, 40, 50}},  // entry 0 keeps its marker
    {{-1, 3, -1, -1, 9, -1}, {-1, 3, 5, 7, 9, 9}},
    {{-5, -7, -9}, {-5, -5, -5}},
    {{4, kNaN, -1, 8}, {4, kNaN, kNaN, 8}},  // NaN is present
    {{1, -kInf, kInf}, {1, kInf, kInf}},
    {{-3}, {-3}},
    // Products, sum and quotient each rounded in single precision: a multiply-add fused
    // either way or double precision gives other bits.
    {{775.237122f, -1, -1, -1, 1059.82019f}, {775.237122f, 846.382935f, 917.528687f, 988.674377f, 1059.82019f}},
};

// Each case runs down column 1 of both array shapes; column 0 (all missing) becomes
// copies of its entry 0, columns from `columns` on and entries from `length` on stay.
TEST(NanCheck, BothShapesRepairTheirColumnsAlike) {
    auto detector = std::make_unique<kevra_test::Probe>();
    for (const auto& c : kCases) {
        const size_t length = c[0].size();
        alignas(16) float zones[6][256], rows[6][4];
        std::fill_n(&zones[0][0], 6 * 256, -2.0f);
        std::fill_n(&rows[0][0], 6 * 4, -2.0f);
        for (size_t i = 0; i < length; ++i) zones[i][1] = rows[i][1] = c[0][i];
        detector->nan_check_v2_6_256(zones, static_cast<int>(length), 2);
        detector->nan_check_v2_256_4(rows, static_cast<int>(length), 2);
        for (size_t i = 0; i < 6; ++i) {
            const float want[3] = {-2.0f, i < length ? c[1][i] : -2.0f, -2.0f};
            EXPECT_SAME_BITS(want, zones[i], 3) << "entry " << i << " of case " << &c - kCases;
            EXPECT_SAME_BITS(want, rows[i], 3) << "entry " << i << " of case " << &c - kCases;
        }
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
            for (int j = anchor + 1; j < i; ++j) {
                a[j][col] = (a[j][col] * static_cast<float>(i - j) + a[i][col] * static_cast<float>(j - anchor)) /
                            static_cast<float>(i - anchor);
            }
            anchor = i;
        }
    }
}

// Columns of runs of every length, separate or back to back, with the corner
// values; each backend (four columns per vector) against the rule.
TEST(NanCheck, VectorKernelsFollowTheRuleOnRandomColumns) {
    std::mt19937 rng(9);
    std::uniform_int_distribution<int> kind(0, 9);
    std::uniform_real_distribution<float> value(0.0f, 100.0f);
    const float corners[] = {-0.0f, 0.0f, kInf, -kInf, kNaN, -1e-40f};
    const auto entry = [&] {
        const int k = kind(rng);
        return k < 4 ? -1.0f : k < 9 ? value(rng) : corners[rng() % 6];
    };
    static float zones[2][40][256];
    static float rows[2][256][4];
    for (int trial = 0; trial < 40; ++trial) {
        const int length = 1 + trial % 40, columns = 1 + (trial * 37) % 256;
        for (auto& row : zones[0])
            for (float& x : row) x = entry();
        for (auto& row : rows[0])
            for (float& x : row) x = entry();
        const int row_length = 1 + (trial * 53) % 256, row_columns = 1 + trial % 4;
        float want_zones[40][256], want_rows[256][4];
        std::memcpy(want_zones, zones[0], sizeof want_zones);
        std::memcpy(want_rows, rows[0], sizeof want_rows);
        repair_one_by_one(want_zones, length, columns);
        repair_one_by_one(want_rows, row_length, row_columns);
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            std::memcpy(zones[1], zones[0], sizeof zones[1]);
            std::memcpy(rows[1], rows[0], sizeof rows[1]);
            kevra::repair_columns<V>(zones[1], length, columns);
            kevra::repair_columns<V>(rows[1], row_length, row_columns);
            EXPECT_TRUE(kevra_test::SameBits(&want_zones[0][0], &zones[1][0][0], 40 * 256)) << V::name << " " << trial;
            EXPECT_TRUE(kevra_test::SameBits(&want_rows[0][0], &rows[1][0][0], 256 * 4)) << V::name << " " << trial;
        });
    }
}

}  // namespace
