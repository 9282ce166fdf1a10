// The integer cosine, the sine from a cosine and the model term.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <random>
#include <vector>

#include "confidence/confidence_fixtures.h"
#include "confidence/my_cos.h"
#include "support/backends.h"
#include "support/bits.h"

namespace {

using kevra_test::Detector;
using kevra_test::make_detector;
using kevra_test::SameBits;

TEST(MyCos, MatchesHandComputedAngles) {
    const struct { int angle; int want; } cases[] = {
        {0, 1024},    {1, 1023},     {128, 1022},    {5760, 722},     {7680, 510},     {11264, 35},
        {11392, 17},  {11520, 0},    {11648, -17},   {23040, -1024},  {34560, 0},      {46079, 1023},
        {46080, 1024}, {-5760, 722}, {92160, 1024},  {INT_MAX, -734}, {INT_MIN, -734},
    };
    Detector d = make_detector();
    for (const auto& c : cases) EXPECT_EQ(d->my_cos(c.angle), c.want) << "angle " << c.angle;
}

TEST(MyCos, StaysWithinFourOfTheTrueCosineOverAFullTurnBothWays) {
    Detector d = make_detector();
    const double unit = 3.141592653589793 / (180.0 * 128.0);
    for (int angle = -46080; angle <= 46080; ++angle) {
        const double want = 1024.0 * std::cos(angle * unit);
        ASSERT_LT(std::fabs(d->my_cos(angle) - want), 4.0) << "angle " << angle;
    }
}

// The four-lane cosine folds and divides differently; it must agree with the
// scalar one on every angle of two turns each way, at every table step and
// quadrant edge, and on random and extreme 32-bit angles.
TEST(MyCos, FourLaneVersionAgreesEverywhereOnEveryBackend) {
    std::vector<int32_t> angles;
    for (int32_t a = -2 * 46080; a <= 2 * 46080; ++a) angles.push_back(a);
    std::mt19937 rng(13);
    std::uniform_int_distribution<int32_t> any(INT32_MIN, INT32_MAX);
    for (int n = 0; n < 100000; ++n) angles.push_back(any(rng));
    for (int32_t edge : {INT32_MIN, INT32_MIN + 1, INT32_MAX, INT32_MAX - 1, 2147451904, -2147451904}) angles.push_back(edge);
    while (angles.size() % 4 != 0) angles.push_back(0);
    kevra_test::for_each_backend([&](auto tag) {
        using V = typename decltype(tag)::type;
        for (size_t i = 0; i < angles.size(); i += 4) {
            int32_t got[4];
            V::store(got, kevra::fixed_cos_lanes<V>(V::load(&angles[i])));
            for (int k = 0; k < 4; ++k) {
                ASSERT_EQ(got[k], kevra::fixed_cos(angles[i + k])) << V::name << " angle " << angles[i + k];
            }
        }
    });
}

TEST(CosToSin, GivesTheSineOfListedAngles) {
    Detector d = make_detector();
    EXPECT_NEAR(d->cos_to_sin(-3.0f, std::cos(-3.0f)), -0.14112f, 2e-5f);
    EXPECT_NEAR(d->cos_to_sin(3.2f, std::cos(3.2f)), -0.058374f, 2e-5f);
    for (float x : {0.0f, 1.0f, 3.14159250f}) EXPECT_TRUE(SameBits(0.0f, d->cos_to_sin(x, 1.0f))) << x;
}

TEST(CosToSin, TakesTheSignFromTheHalfTurnOfTheAngle) {
    Detector d = make_detector();
    // The cosine 0.6 has the root 0.8 exactly enough to compare bits.
    const float root = static_cast<float>(std::sqrt(1.0 - static_cast<double>(0.6f * 0.6f)));
    const struct { float angle; bool negative; } cases[] = {
        {0.0f, false},       {-0.0f, false},        {3.14159250f, false}, {3.14159274f, true},
        {6.28318548f, false}, {-0.001f, true},      {-3.14159274f, false}, {-4.0f, false},
        {-7.0f, true},       {1e30f, true},         {-1e30f, true},        {__builtin_nanf(""), false},
    };
    for (const auto& c : cases) {
        const float want = c.negative ? -root : root;
        EXPECT_TRUE(SameBits(want, d->cos_to_sin(c.angle, 0.6f))) << "angle " << c.angle;
    }
}

TEST(CosToSin, CosineBeyondOneGivesANaNSignedByTheHalfTurn) {
    Detector d = make_detector();
    const float up = d->cos_to_sin(0.5f, 1.5f);
    const float down = d->cos_to_sin(-0.5f, 1.5f);
    EXPECT_TRUE(std::isnan(up));
    EXPECT_TRUE(std::isnan(down));
    EXPECT_NE(std::signbit(up), std::signbit(down));
}

TEST(FlkFunc, NegatesThePairedProductsInTheirOrderWithoutFusing) {
    Detector d = make_detector();
    EXPECT_TRUE(SameBits(-32.0f, d->flk_func(1, 2, 3, 4, 5, 6)));
    EXPECT_TRUE(SameBits(-0.0f, d->flk_func(0, 0, 0, 0, 0, 0)));
    // -(p4*p1) - p0*p3 rounds to -1 before p2*p5 is taken off; summing the two
    // small products first would give -(1 + 2^-23).
    const float tiny = std::ldexp(1.0f, -24);
    EXPECT_TRUE(SameBits(-1.0f, d->flk_func(1, 1, 1, tiny, 1, tiny)));
    // p4*p1 = 1 + 2^-11 + 2^-24 rounds to 1 + 2^-11 and cancels p0*p3; a fused
    // multiply-subtract would leave -2^-24.
    const float a = 1.0f + std::ldexp(1.0f, -12);
    EXPECT_TRUE(SameBits(0.0f, d->flk_func(1, a, 0, -(1.0f + std::ldexp(1.0f, -11)), a, 0)));
}

}  // namespace
