#include "scene/derived_streams.h"

#include <cmath>

namespace kevra_scene {

namespace {
constexpr double kScale = 1048576.0;  // 2^20: levels up to 16 stay within 24 bits
constexpr double kMaxOffset = 7.0;    // keeps every level inside (1, 15)
}  // namespace

void encode_channel(uint32_t* sum_stream, uint32_t* count_stream, int row_num, int channel, const double* value) {
    for (int r = 0; r < row_num; ++r) {
        uint32_t sum = 0, count = 0;
        const double v = value == nullptr ? 0.0 : value[r];
        if (v == v) {
            const double clamped = v > kMaxOffset ? kMaxOffset : (v < -kMaxOffset ? -kMaxOffset : v);
            sum = uint32_t(std::floor((kDerivedLevelBase + clamped) * kScale + 0.5));
            count = uint32_t(kScale);
        }
        for (int z = 0; z < 6; ++z) {
            sum_stream[24 * r + 4 * z + channel] = sum;
            count_stream[24 * r + 4 * z + channel] = count;
        }
    }
}

void encode_flat_channel(uint32_t* sum_stream, uint32_t* count_stream, int row_num, int channel) {
    encode_channel(sum_stream, count_stream, row_num, channel, nullptr);
}

}  // namespace kevra_scene
