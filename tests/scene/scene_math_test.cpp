// The scene layer's logarithm, sine, cosine and arctangent from basic
// arithmetic, against values known to more digits than a double holds.
#include <gtest/gtest.h>

#include "scene/scene_math.h"

namespace {

using namespace kevra_scene;

TEST(SceneMath, LogarithmMatchesKnownValues) {
    const struct { double x, log; } cases[] = {
        {1.0, 0.0},
        {2.0, 0.69314718055994530942},
        {10.0, 2.30258509299404568402},
        {0.001, -6.90775527898213705205},
        {123456.789, 11.72364648718588140},
    };
    for (const auto& c : cases) EXPECT_NEAR(scene_log(c.x), c.log, 4e-16 * (1.0 + std::fabs(c.log))) << c.x;
}

TEST(SceneMath, SineAndCosineMatchKnownValuesInEveryQuadrant) {
    const struct { double x, sin, cos; } cases[] = {
        {0.0, 0.0, 1.0},
        {kPi / 6.0, 0.5, 0.86602540378443864676},
        {2.0, 0.90929742682568169540, -0.41614683654714238700},
        {-2.5, -0.59847214410395649191, -0.80114361554693371483},
        {-kPi, 0.0, -1.0},
        {1000.0, 0.82687954053200256026, 0.56237907629070291},
    };
    for (const auto& c : cases) {
        const SinCos sc = scene_sincos(c.x);
        EXPECT_NEAR(sc.sin, c.sin, 1e-13) << c.x;
        EXPECT_NEAR(sc.cos, c.cos, 1e-13) << c.x;
    }
    EXPECT_EQ(scene_sinc(0.0), 1.0);
    EXPECT_NEAR(scene_sinc(kPi), 0.0, 1e-15);
    EXPECT_NEAR(scene_sinc(0.5 * kPi), 2.0 / kPi, 1e-15);
}

TEST(SceneMath, ArctangentCoversEveryQuadrantAndTheAxes) {
    const struct { double y, x, angle; } cases[] = {
        {1.0, 1.0, 0.25 * kPi},   {1.0, -1.0, 0.75 * kPi}, {-1.0, -1.0, -0.75 * kPi},
        {-1.0, 1.0, -0.25 * kPi}, {0.0, -1.0, kPi},        {1.0, 0.0, 0.5 * kPi},
        {0.0, 0.0, 0.0},          {1.0, 3.0, 0.32175055439664219340},
    };
    for (const auto& c : cases) EXPECT_NEAR(scene_atan2(c.y, c.x), c.angle, 1e-15) << c.y << ", " << c.x;
}

}  // namespace
