#include <gtest/gtest.h>

#include <memory>

#include "support/probe.h"

namespace {

TEST(Compare, OrdersFloatsAscendingAndCallsNaNEqual) {
    const float nan = __builtin_nanf("");
    const struct {
        float a, b;
        int want;
    } cases[] = {{1.0f, 2.0f, -1}, {2.0f, 1.0f, 1}, {1.0f, 1.0f, 0}, {-0.0f, 0.0f, 0},
                 {nan, 1.0f, 0},   {1.0f, nan, 0},  {nan, nan, 0},   {-__builtin_inff(), -1e38f, -1}};
    auto detector = std::make_unique<kevra_test::Probe>();
    for (const auto& c : cases) EXPECT_EQ(detector->compare(&c.a, &c.b), c.want) << c.a << " vs " << c.b;
}

}  // namespace
