// The camera-motion search finds a picture's shift down the rows, whole or in
// eighths, up to a tenth of the frame, while the ripple changes between the
// frames; and it tells the camera's motion from an object's. Its measure, from
// running sums or a pass over the rows, is the plain least-squares one.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

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

// Energy per row of now[r] - before[r - shift] after a least-squares fit by
// an offset and three harmonics of both rates, by normal equations.
double plain_mismatch(const double* now, const double* before, int rows, double shift) {
    constexpr int kTerms = 13;
    double g[kTerms][kTerms + 1] = {}, energy = 0.0;
    int n = 0;
    for (int r = 0; r < rows; ++r) {
        const double x = r - shift;
        if (x < 0.0 || x > rows - 1) continue;
        const int i = int(x);
        const double p = i == rows - 1 ? before[i] : before[i] + (x - i) * (before[i + 1] - before[i]);
        double t[kTerms] = {1.0};
        for (int h = 0; h < 6; ++h) {
            t[1 + 2 * h] = std::cos((h % 3 + 1) * kRates[h / 3] * r);
            t[2 + 2 * h] = std::sin((h % 3 + 1) * kRates[h / 3] * r);
        }
        const double d = now[r] - p;
        for (int a = 0; a < kTerms; ++a) {
            for (int b = 0; b < kTerms; ++b) g[a][b] += t[a] * t[b];
            g[a][kTerms] += t[a] * d;
        }
        energy += d * d;
        ++n;
    }
    double b0[kTerms];
    for (int a = 0; a < kTerms; ++a) b0[a] = g[a][kTerms];
    for (int c = 0; c < kTerms; ++c) {  // Gauss-Jordan on [G | b]; G is well conditioned here
        for (int a = 0; a < kTerms; ++a) {
            if (a == c) continue;
            const double f = g[a][c] / g[c][c];
            for (int b = c; b <= kTerms; ++b) g[a][b] -= f * g[c][b];
        }
    }
    for (int c = 0; c < kTerms; ++c) energy -= b0[c] * g[c][kTerms] / g[c][c];  // b' G^-1 b
    return energy / n;
}

TEST(RowShift, MeasureFromRunningSumsAndFromOnePassIsThePlainLeastSquaresOne) {
    static RowShiftWork work;
    std::mt19937 random(7);
    std::normal_distribution<double> step(0.0, 0.05);
    for (const int rows : {256, 97}) {
        double before[kRows], now[kRows], walk = 0.0;
        for (int r = 0; r < rows; ++r) {
            before[r] = walk += step(random);
            now[r] = before[r] + step(random) + ripple(r, 1.0);
        }
        const int reach = rows / 10 > 5 ? rows / 10 : 5;
        for (int eighths = -8 * reach - 8; eighths <= 8 * reach + 8; eighths += 3) {
            const double shift = eighths / 8.0;
            for (const bool running : {false, true}) {
                const double e = row_shift_mismatch(now, before, rows, kRates, shift, running, work);
                if (std::fabs(shift) > reach)
                    EXPECT_EQ(e, HUGE_VAL) << rows << " " << shift;
                else
                    EXPECT_NEAR(e, plain_mismatch(now, before, rows, shift), 1e-12) << rows << " " << shift << running;
            }
        }
    }
}

}  // namespace
