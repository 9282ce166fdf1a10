// Integer cosine: angle in 1/128 degree (46,080 per turn), result in Q10.
#ifndef KEVRA_CONFIDENCE_MY_COS_H
#define KEVRA_CONFIDENCE_MY_COS_H

#include <cstdint>

namespace kevra {

constexpr int32_t kAngleTurn = 46080;
constexpr int32_t kAngleQuarter = 11520;

// floor(1024 * cos(8k degrees)), k = 0..11: one entry per 1,024 angle units.
constexpr int32_t kCosTable[12] = {1024, 1014, 984, 935, 868, 784, 685, 572, 448, 316, 177, 35};

// Linear interpolation in kCosTable after folding into the first quadrant; the
// last two degrees run on a line from 35 down to 0. Defined for every int32.
inline int32_t fixed_cos(int32_t angle) {
    const int32_t r = angle - kAngleTurn * (angle / kAngleTurn);
    const int32_t a = r < 0 ? -r : r;
    int32_t folded = a;
    int32_t sign = 1;
    if (a >= 3 * kAngleQuarter) {
        folded = kAngleTurn - a;
    } else if (a >= 2 * kAngleQuarter) {
        folded = a - 2 * kAngleQuarter;
        sign = -1;
    } else if (a >= kAngleQuarter) {
        folded = 2 * kAngleQuarter - a;
        sign = -1;
    }
    const int32_t idx = folded >> 10;
    const int32_t f = folded & 1023;
    const int32_t mag = idx <= 10 ? (kCosTable[idx] * (1024 - f) + kCosTable[idx + 1] * f) >> 10
                                  : ((256 - f) * 35) >> 8;
    return mag * sign;
}

}  // namespace kevra

#endif  // KEVRA_CONFIDENCE_MY_COS_H
