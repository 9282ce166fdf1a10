// The integer cosine, the sine from a cosine and the model term.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <memory>
#include <vector>

#include "confidence/my_cos.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/probe.h"

namespace {

using kevra_test::SameBits;

// Every table step is floor(1024 cos); between steps a line, the last two
// degrees on a line of their own down to 0. The four-lane cosine folds and
// divides differently: it must agree on every angle of two turns each way and
// at the int32 ends.
TEST(MyCos, MatchesHandComputedAnglesAndTheFourLaneVersionAgreesEverywhere) {
    const auto d = std::make_unique<kevra_test::Probe>();
    const struct { int angle, want; } cases[] = {
        {1, 1023},     {128, 1022},  {5760, 722},    {7680, 510}, {11264, 35},   {11392, 17},
        {11520, 0},    {11648, -17}, {23040, -1024}, {34560, 0},  {46079, 1023}, {-5760, 722},
        {92160, 1024}, {INT_MAX, -734}, {INT_MIN, -734},
    };
    for (const auto& c : cases) EXPECT_EQ(d->my_cos(c.angle), c.want) << "angle " << c.angle;
    for (int k = 0; k < 12; ++k) EXPECT_EQ(d->my_cos(1024 * k), std::floor(1024.0 * std::cos(k * M_PI / 22.5))) << k;
    std::vector<int32_t> angles{INT32_MIN, INT32_MIN + 1, INT32_MAX, INT32_MAX - 1, 2147451904, -2147451904};
    for (int32_t a = -2 * 46080; a <= 2 * 46080 + 1; ++a) angles.push_back(a);  // a multiple of four in all
    kevra_test::for_each_backend([&](auto tag) {
        using V = typename decltype(tag)::type;
        for (size_t i = 0; i < angles.size(); i += 4) {
            int32_t got[4];
            V::store(got, kevra::fixed_cos_lanes<V>(V::load(&angles[i])));
            for (int k = 0; k < 4; ++k) ASSERT_EQ(got[k], d->my_cos(angles[i + k])) << V::name << " " << angles[i + k];
        }
    });
}

// The half-turn index truncates toward zero, saturates, and steps down for
// angles below zero (not -0.0 or NaN). The cosine's square is rounded to float
// and the root taken in double: either step in the other precision gives
// 0x1.efbce4p-1.
TEST(CosToSin, TakesTheRootInDoubleAndTheSignFromTheHalfTurnOfTheAngle) {
    const auto d = std::make_unique<kevra_test::Probe>();
    const float root = 0x1.efbce6p-1f;
    const struct { float angle; bool negative; } cases[] = {
        {0.0f, false},   {-0.0f, false},        {3.14159250f, false}, {3.14159274f, true}, {-0.001f, true},
        {-7.0f, true}, {-3.14159274f, false}, {1e30f, true},        {-1e30f, true},      {__builtin_nanf(""), false},
    };
    for (const auto& c : cases)
        EXPECT_TRUE(SameBits(c.negative ? -root : root, d->cos_to_sin(c.angle, 0x1.0007eep-2f))) << c.angle;
}

// -(p4 p1) - p0 p3 - p2 p5, each product rounded: with a = 1 + 2^-12, a^2 rounds
// to b and cancels the rest, where a fused product would leave -2^-24.
TEST(FlkFunc, NegatesThePairedProductsInTheirOrderWithoutFusing) {
    const auto d = std::make_unique<kevra_test::Probe>();
    const float tiny = 0x1p-24f, a = 1.0f + 0x1p-12f, b = 1.0f + 0x1p-11f;
    const struct { float p[6], want; } cases[] = {
        {{1, 2, 3, 4, 5, 6}, -32.0f}, {{0, 0, 0, 0, 0, 0}, -0.0f}, {{1, 1, 1, tiny, 1, tiny}, -1.0f},
        {{1, a, 0, -b, a, 0}, 0.0f},  {{a, 1, 0, a, -b, 0}, 0.0f},  {{0, 1, a, 0, -b, a}, 0.0f},
    };
    for (const auto& c : cases)
        EXPECT_TRUE(SameBits(c.want, d->flk_func(c.p[0], c.p[1], c.p[2], c.p[3], c.p[4], c.p[5]))) << c.p[3];
}

}  // namespace
