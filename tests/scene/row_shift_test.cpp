// The camera-motion search finds a picture's shift down the rows, whole or in
// eighths, up to a tenth of the frame, while the ripple changes between the
// frames; and it tells the camera's motion from an object's.
#include <gtest/gtest.h>

#include <cmath>

#include "scene/row_shift.h"
#include "scene/scene_math.h"

namespace {

using namespace kevra_scene;

constexpr int kRows = 256;
const double kRates[2] = {2.0 * kPi * 100e-6 * 120.0, 2.0 * kPi * 120e-6 * 120.0};  // per row of 120 us

// A picture with edges and shading, in logs, at row position x.
double picture(double x, int zone) {
    return 0.4 * std::sin(0.21 * x + zone) + 0.2 * std::cos(0.05 * x) + (x > 90.0 + 10 * zone ? 0.3 : 0.0);
}

// The ripple's change between the frames: it moves by a third of a period.
double ripple(double r, double phase) { return 0.05 * std::cos(kRates[0] * r + phase); }

TEST(RowShift, FindsWholeAndFractionalShiftsUpToATenthOfTheFrame) {
    static RowShiftWork work;
    for (const double shift : {3.0, -7.5, 12.25, 25.0, -24.875}) {
        double before[kRows], now[kRows];
        for (int r = 0; r < kRows; ++r) {
            before[r] = picture(r, 0) + ripple(r, 0.0);
            now[r] = picture(r - shift, 0) + ripple(r, 2.0 * kPi / 3.0);
        }
        EXPECT_NEAR(estimate_row_shift(now, before, kRows, kRates, work), shift, 0.126) << shift;
    }
}

TEST(RowShift, LeavesFramesThatDifferOnlyByRippleAndNoiseAlone) {
    static RowShiftWork work;
    double before[kRows], now[kRows];
    for (int r = 0; r < kRows; ++r) {
        before[r] = ripple(r, 0.0) + 1e-4 * std::sin(7.0 * r);
        now[r] = ripple(r, 2.0 * kPi / 3.0) + 1e-4 * std::cos(5.0 * r);
    }
    EXPECT_EQ(estimate_row_shift(now, before, kRows, kRates, work), 0.0);
}

TEST(RowShift, AnObjectMovingInTwoZonesIsNotTheCamera) {
    static RowShiftWork work;
    static double before[6][KEVRA_MAX_ROWS], now[6][KEVRA_MAX_ROWS];
    for (const bool camera : {true, false}) {
        for (int z = 0; z < 6; ++z)
            for (int r = 0; r < kRows; ++r) {
                const double moved = camera || z < 2 ? 20.0 : 0.0;
                before[z][r] = picture(r, z);
                now[z][r] = picture(r - moved, z);
            }
        double sum_before[kRows], sum_now[kRows];
        for (int r = 0; r < kRows; ++r) {
            sum_before[r] = sum_now[r] = 0.0;
            for (int z = 0; z < 6; ++z) sum_before[r] += before[z][r] / 6.0, sum_now[r] += now[z][r] / 6.0;
        }
        const double shift = estimate_row_shift(sum_now, sum_before, kRows, kRates, work);
        if (camera) EXPECT_NEAR(shift, 20.0, 0.126);
        EXPECT_EQ(shift != 0.0 && shift_is_global(now, before, 6, kRows, shift, work), camera);
    }
}

}  // namespace
