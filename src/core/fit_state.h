// The values the curve fit carries per channel, and the range of channel 1's
// model that the detection decision reads.
#ifndef KEVRA_CORE_FIT_STATE_H
#define KEVRA_CORE_FIT_STATE_H

#include <cstdint>

namespace kevra {

// Unknown order of the solver: offset, then (amplitude, phase) of harmonics 1..3.
struct ChannelParams {
    float offset;
    float amplitude[3];
    float phase[3];  // us
};

// Extremes of channel 1's model over its last iteration; NaN-propagating.
struct ModelRange {
    float max;
    float min;
};

constexpr ModelRange kUntouchedRange = {0.0f, 10.0f};

struct FitState {
    ChannelParams channel[4];  // indexed by channel, not by fitting order
    int32_t iterations[4];
    ModelRange range;
};

}  // namespace kevra

#endif  // KEVRA_CORE_FIT_STATE_H
