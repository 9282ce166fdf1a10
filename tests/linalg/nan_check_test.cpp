// Missing-value repair: an entry below 0.0 takes the last present one (entry 0
// until one is seen), and a present entry turns the run before it into a
// straight line; NaN is present.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>

#include "linalg/nan_check.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/probe.h"

namespace {

// The rule entry by entry, one column at a time, products, sum and quotient
// each rounded in single precision.
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

// Runs of every length, separate or back to back, with zeros of both signs,
// infinities, NaN and a tiny negative, in both array shapes; both members and
// each backend (four columns per vector) against the rule, columns and entries
// beyond the repaired block included.
TEST(NanCheck, MembersAndEveryBackendFollowTheRuleOnRandomColumns) {
    auto detector = std::make_unique<kevra_test::Probe>();
    std::mt19937 rng(9);
    std::uniform_real_distribution<float> value(0.0f, 100.0f);
    const float corners[] = {-0.0f, 0.0f, __builtin_inff(), -__builtin_inff(), __builtin_nanf(""), -1e-40f};
    const auto entry = [&] {
        const unsigned k = rng() % 10;
        return k < 4 ? -1.0f : k < 9 ? value(rng) : corners[rng() % 6];
    };
    // a[0] the input, a[1] the rule's repair, a[2] a member's or a backend's.
    const auto check = [&](auto& a, int length, int columns, auto member) {
        std::generate_n(&a[0][0][0], sizeof a[0] / sizeof(float), entry);
        std::memcpy(a[1], a[0], sizeof a[1]);
        repair_one_by_one(a[1], length, columns);
        const auto expect_rule = [&](auto repair, const char* who) {
            std::memcpy(a[2], a[0], sizeof a[2]);
            repair(a[2]);
            EXPECT_TRUE(kevra_test::SameBits(&a[1][0][0], &a[2][0][0], sizeof a[1] / sizeof(float)))
                << who << ", length " << length << ", columns " << columns;
        };
        expect_rule([&](auto* x) { member(x, length, columns); }, "member");
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            expect_rule([&](auto* x) { kevra::repair_columns<V>(x, length, columns); }, V::name);
        });
    };
    static float zones[3][40][256], rows[3][256][4];
    for (int trial = 0; trial < 40; ++trial) {
        check(zones, 1 + trial % 40, 1 + (trial * 37) % 256, [&](auto... x) { detector->nan_check_v2_6_256(x...); });
        check(rows, 1 + (trial * 53) % 256, 1 + trial % 4, [&](auto... x) { detector->nan_check_v2_256_4(x...); });
    }
}

}  // namespace
