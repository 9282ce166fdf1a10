// The synthetic scenes: statistics formed pixel by pixel as the hardware forms
// them, and a lamp whose light the rolling shutter integrates line by line.
#include "scene_synthesis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <algorithm>

namespace {

using kevra_tool::Scene;

// Channels alternate by line (0, 1 on even lines; 2, 3 on odd) and by column;
// empty zones have zero sums and counts in every channel. Channel 3 clips in
// zones 4 and 5: their sums saturate and the top byte counts the clipped
// pixels up to 255.
TEST(SceneSynthesis, SumsAndCountsEveryPixelOfTheZoneAndRowInZoneMajorWords) {
    for (const auto& [lines_per_row, zone_width] : {std::pair{12, 128}, {3, 5}, {1, 2}}) {
        Scene s;
        s.noise = 0.0;
        s.depth = 0.0;
        s.rows = 6;
        s.lines_per_row = lines_per_row;
        s.zone_width = zone_width;
        s.level = 100.0;
        s.zone_gain = {0.5, 0.6, 0.7, 0.8, 0.9, 1.0};
        s.channel_gain = {0.25, 1.0, 1.5, 12.0};
        s.empty_zones = {1, 3};
        const kevra_tool::Capture c = kevra_tool::synthesize(s);
        ASSERT_EQ(c.sum_stream.size(), size_t(s.rows) * 24);
        for (int r = 0; r < s.rows; ++r) {
            for (int w = 0; w < 24; ++w) {
                const int z = w / 4, ch = w % 4;
                int lines = 0;
                for (int j = r * lines_per_row; j < (r + 1) * lines_per_row; ++j) lines += (j % 2 == ch / 2);
                const uint32_t count = z == 1 || z == 3 ? 0 : uint32_t(lines * ((zone_width + 1 - ch % 2) / 2));
                const double value = std::floor(100.0 * s.zone_gain[z] * s.channel_gain[ch] + 0.5);
                const uint32_t clipped = value >= 1023.0 ? std::min(count, 255u) : 0;
                const size_t at = size_t(r * 24 + w);
                EXPECT_EQ(c.count_stream[at], clipped << 24 | count) << "row " << r << " word " << w;
                EXPECT_EQ(c.sum_stream[at], count * uint32_t(std::min(value, 1023.0))) << "row " << r << " word " << w;
            }
        }
    }
}

TEST(LampMean, AveragesToOneOverAnyWholeRippleAndFollowsTheRectifiedSupply) {
    Scene s;
    s.depth = 1.0;
    s.mains_phase = 1234.0;
    for (double start : {0.0, 777.7, -5000.0, 1.5e6})
        EXPECT_NEAR(kevra_tool::lamp_mean(s, start, 30000.0), 1.0, 1e-9) << start;  // three ripples at 50 Hz
    EXPECT_NEAR(kevra_tool::lamp_mean(s, 1234.0, 0.0), 0.0, 1e-12);  // zero crossing: dark
    EXPECT_NEAR(kevra_tool::lamp_mean(s, 1234.0 + 5000.0, 0.0), 3.14159265358979 / 2, 1e-9);  // crest
    s.harmonics = {1.0, 0.5, 0.25};
    s.mains_frequency = 60.0;
    EXPECT_NEAR(kevra_tool::lamp_mean(s, 1234.0, 0.0), 0.0, 1e-12);
    EXPECT_NEAR(kevra_tool::lamp_mean(s, 99.0, 1e6 / 120.0), 1.0, 1e-9);
    s.depth = 0.4;  // 60 % of the light is steady
    EXPECT_NEAR(kevra_tool::lamp_mean(s, 1234.0, 0.0), 0.6, 1e-12);
}

}  // namespace
