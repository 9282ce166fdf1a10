// The synthetic scenes: statistics formed pixel by pixel as the hardware forms
// them. (The lamp's timing and depth are pinned by the detection tests, which
// recover them.)
#include "scene_synthesis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

// Channels alternate by line (0, 1 on even lines; 2, 3 on odd) and by column;
// empty zones have zero sums and counts in every channel. Channel 3 clips in
// zones 4 and 5: their sums saturate and the top byte counts the clipped
// pixels up to 255.
TEST(SceneSynthesis, SumsAndCountsEveryPixelOfTheZoneAndRowInZoneMajorWords) {
    for (const auto& [lines_per_row, zone_width] : {std::pair{12, 128}, {3, 5}, {1, 2}}) {
        kevra_tool::Scene s;
        s.noise = s.depth = 0.0;
        s.rows = 6;
        s.lines_per_row = lines_per_row;
        s.zone_width = zone_width;
        s.level = 100.0;
        s.zone_gain = {0.5, 0.6, 0.7, 0.8, 0.9, 1.0};
        s.channel_gain = {0.25, 1.0, 1.5, 12.0};
        s.empty_zones = {1, 3};
        const kevra_tool::Capture c = kevra_tool::synthesize(s);
        ASSERT_EQ(c.sum_stream.size(), size_t(s.rows) * 24);
        for (int at = 0; at < s.rows * 24; ++at) {
            const int r = at / 24, z = at % 24 / 4, ch = at % 4;
            int lines = 0;
            for (int j = r * lines_per_row; j < (r + 1) * lines_per_row; ++j) lines += (j % 2 == ch / 2);
            const uint32_t count = z == 1 || z == 3 ? 0 : uint32_t(lines * ((zone_width + 1 - ch % 2) / 2));
            const double value = std::floor(100.0 * s.zone_gain[z] * s.channel_gain[ch] + 0.5);
            const uint32_t clipped = value >= 1023.0 ? std::min(count, 255u) : 0;
            EXPECT_EQ(c.count_stream[at], clipped << 24 | count) << "word " << at;
            EXPECT_EQ(c.sum_stream[at], count * uint32_t(std::min(value, 1023.0))) << "word " << at;
        }
    }
}

}  // namespace
