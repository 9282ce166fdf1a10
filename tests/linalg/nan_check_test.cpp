#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "support/bits.h"
#include "support/probe.h"

namespace {

struct RepairCase {
    std::vector<float> in, want;
};

const float kNaN = __builtin_nanf("");

const RepairCase kCases[] = {
    {{10, -1, -1, 40, -1, -1}, {10, 20, 30, 40, 40, 40}},
    {{5, 0, -1, 9}, {5, 0, 4.5f, 9}},                                   // 0.0 is present
    {{-0.0f, -1, 8}, {-0.0f, 4, 8}},
    {{-32767, -32767, 30, -1, 50}, {-32767, -16368.5f, 30, 40, 50}},   // entry 0 keeps its marker
    {{-1, 3, -1, -1, 9, -1}, {-1, 3, 5, 7, 9, 9}},
    {{-5, -7, -9}, {-5, -5, -5}},
    {{4, kNaN, -1, 8}, {4, kNaN, kNaN, 8}},                             // NaN is present
    {{1, -__builtin_inff(), __builtin_inff()}, {1, __builtin_inff(), __builtin_inff()}},
    {{-3}, {-3}},
    // Products, sum and quotient each rounded in single precision: neither a fused
    // multiply-add nor double precision gives 240.575897 for the last entry.
    {{220.201523f, -1, -1, -1, 247.36734f}, {220.201523f, 226.992981f, 233.784424f, 240.575897f, 247.36734f}},
};

// The zone repair runs along the first index of float[6][256]; every case is placed
// in its own column, among untouched neighbours, and only `columns` columns are repaired.
TEST(NanCheck, ZoneRepairFillsEachColumnAndLeavesTheRestAlone) {
    auto detector = std::make_unique<kevra_test::Probe>();
    for (const RepairCase& c : kCases) {
        const int length = static_cast<int>(c.in.size());
        ASSERT_LE(length, 6);
        alignas(16) float a[6][256];
        for (auto& row : a) std::fill(std::begin(row), std::end(row), -2.0f);
        for (int i = 0; i < length; ++i) a[i][1] = c.in[static_cast<size_t>(i)];
        detector->nan_check_v2_6_256(a, length, 2);
        for (int i = 0; i < 6; ++i) {
            const float want = i < length ? c.want[static_cast<size_t>(i)] : -2.0f;
            EXPECT_TRUE(kevra_test::SameBits(want, a[i][1])) << "entry " << i << " of case " << &c - kCases;
            // Column 0 is all missing, so it becomes copies of its entry 0; column 2 is outside.
            EXPECT_EQ(a[i][0], -2.0f);
            EXPECT_EQ(a[i][2], -2.0f);
        }
    }
}

TEST(NanCheck, RowRepairGivesTheSameColumnsAsTheZoneRepair) {
    auto detector = std::make_unique<kevra_test::Probe>();
    for (const RepairCase& c : kCases) {
        const int length = static_cast<int>(c.in.size());
        float a[8][4];
        for (int i = 0; i < 8; ++i) {
            for (int col = 0; col < 4; ++col) a[i][col] = i < length ? c.in[static_cast<size_t>(i)] : 77.0f;
        }
        a[0][3] = -9.0f;  // column 3 lies beyond `columns` and must keep its missing entry
        detector->nan_check_v2_256_4(a, length, 3);
        for (int i = 0; i < 8; ++i) {
            for (int col = 0; col < 3; ++col) {
                const float want = i < length ? c.want[static_cast<size_t>(i)] : 77.0f;
                EXPECT_TRUE(kevra_test::SameBits(want, a[i][col])) << i << "," << col << " of case " << &c - kCases;
            }
        }
        EXPECT_EQ(a[0][3], -9.0f);
    }
}

}  // namespace
