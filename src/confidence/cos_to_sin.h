// The sine of an angle from its cosine: one square root instead of a second
// trigonometric call, the sign taken from the half turn the angle lies in.
#ifndef KEVRA_CONFIDENCE_COS_TO_SIN_H
#define KEVRA_CONFIDENCE_COS_TO_SIN_H

#include <cmath>
#include <cstdint>

namespace kevra {

inline float sine_from_cosine(float angle, float cosine) {
    const float q = cosine * cosine;
    const float r = static_cast<float>(std::sqrt(1.0 - static_cast<double>(q)));
    // Half-turn index, truncated and saturated like a hardware conversion; kept
    // in 64 bits so that stepping below INT32_MIN keeps the right parity.
    const double turns = static_cast<double>(angle) / 3.141592653589793;
    int64_t k = 0;
    if (turns >= 2147483647.0) {
        k = INT32_MAX;
    } else if (turns <= -2147483648.0) {
        k = INT32_MIN;
    } else if (turns == turns) {
        k = static_cast<int64_t>(static_cast<int32_t>(turns));
    }
    if (angle < 0.0f) k -= 1;
    return (k & 1) != 0 ? -r : r;
}

}  // namespace kevra

#endif  // KEVRA_CONFIDENCE_COS_TO_SIN_H
