#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

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

}  // namespace
