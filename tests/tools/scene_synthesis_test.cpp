// The synthetic scenes: statistics formed pixel by pixel as the hardware forms
// them, and a lamp whose light the rolling shutter integrates line by line.
#include "scene_synthesis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "input_error.h"

namespace {

using kevra_tool::Scene;

Scene quiet_scene() {
    Scene s;
    s.noise = 0.0;
    s.rows = 6;
    return s;
}

struct Geometry {
    int lines_per_row;
    int zone_width;
};

class PixelStatistics : public ::testing::TestWithParam<Geometry> {};

// Channels alternate by line (0, 1 on even lines; 2, 3 on odd) and by column.
TEST_P(PixelStatistics, SumsAndCountsEveryPixelOfTheZoneAndRowInZoneMajorWords) {
    Scene s = quiet_scene();
    s.depth = 0.0;
    s.lines_per_row = GetParam().lines_per_row;
    s.zone_width = GetParam().zone_width;
    s.level = 100.0;
    s.zone_gain = {0.5, 0.6, 0.7, 0.8, 0.9, 1.0};
    s.channel_gain = {0.25, 1.0, 1.5, 2.0};
    const kevra_tool::Capture c = kevra_tool::synthesize(s);
    ASSERT_EQ(c.sum_stream.size(), size_t(s.rows) * 24);
    for (int r = 0; r < s.rows; ++r) {
        for (int z = 0; z < 6; ++z) {
            for (int ch = 0; ch < 4; ++ch) {
                int lines = 0;
                for (int j = r * s.lines_per_row; j < (r + 1) * s.lines_per_row; ++j) lines += (j % 2 == ch / 2);
                const int columns = (s.zone_width + 1 - ch % 2) / 2;
                const uint32_t count = uint32_t(lines * columns);
                const uint32_t value = uint32_t(std::floor(100.0 * s.zone_gain[z] * s.channel_gain[ch] + 0.5));
                const size_t w = size_t(r) * 24 + size_t(4 * z + ch);
                EXPECT_EQ(c.count_stream[w], count) << "row " << r << " zone " << z << " channel " << ch;
                EXPECT_EQ(c.sum_stream[w], count * value) << "row " << r << " zone " << z << " channel " << ch;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EvenAndOddGeometries, PixelStatistics,
                         ::testing::Values(Geometry{12, 128}, Geometry{3, 5}, Geometry{1, 2}));

TEST(SceneSynthesis, ClippedPixelsSaturateTheSumAndAreCountedInTheTopByte) {
    Scene s = quiet_scene();
    s.level = 5000.0;  // far above the 10-bit full scale
    s.lines_per_row = 4;
    s.zone_width = 8;  // 2 lines x 4 columns per sample
    kevra_tool::Capture c = kevra_tool::synthesize(s);
    EXPECT_EQ(c.count_stream[0], 8u << 24 | 8u);
    EXPECT_EQ(c.sum_stream[0], 8u * 1023u);

    s.lines_per_row = 12;
    s.zone_width = 128;  // 384 pixels: the top byte stops at 255
    c = kevra_tool::synthesize(s);
    EXPECT_EQ(c.count_stream[5], 255u << 24 | 384u);
    EXPECT_EQ(c.sum_stream[5], 384u * 1023u);
}

TEST(SceneSynthesis, EmptyZonesHaveZeroSumsAndCountsInEveryChannel) {
    Scene s = quiet_scene();
    s.empty_zones = {1, 5};
    const kevra_tool::Capture c = kevra_tool::synthesize(s);
    for (int r = 0; r < s.rows; ++r)
        for (int w = 0; w < 24; ++w) {
            const bool empty = w / 4 == 1 || w / 4 == 5;
            const size_t i = size_t(r) * 24 + size_t(w);
            EXPECT_EQ(c.count_stream[i] == 0 && c.sum_stream[i] == 0, empty) << "row " << r << " word " << w;
        }
}

TEST(LampMean, AveragesToOneOverAnyWholeRippleAndFollowsTheRectifiedSupply) {
    Scene s;
    s.depth = 1.0;
    s.mains_phase = 1234.0;
    for (double start : {0.0, 777.7, -5000.0, 1.5e6}) {
        EXPECT_NEAR(kevra_tool::lamp_mean(s, start, 10000.0), 1.0, 1e-9) << start;  // one ripple at 50 Hz
        EXPECT_NEAR(kevra_tool::lamp_mean(s, start, 30000.0), 1.0, 1e-9) << start;
    }
    EXPECT_NEAR(kevra_tool::lamp_mean(s, 1234.0, 0.0), 0.0, 1e-12);  // zero crossing: dark
    EXPECT_NEAR(kevra_tool::lamp_mean(s, 1234.0 + 5000.0, 0.0), 3.14159265358979 / 2, 1e-9);  // crest
    EXPECT_NEAR(kevra_tool::lamp_mean(s, 1234.0 + 5000.0, 0.0), kevra_tool::lamp_mean(s, 1234.0 + 15000.0, 0.0), 1e-9);

    s.harmonics = {1.0, 0.5, 0.25};
    s.mains_frequency = 60.0;
    EXPECT_NEAR(kevra_tool::lamp_mean(s, 1234.0, 0.0), 0.0, 1e-12);
    EXPECT_NEAR(kevra_tool::lamp_mean(s, 99.0, 1e6 / 120.0), 1.0, 1e-9);
    s.depth = 0.4;  // 60 % of the light is steady
    EXPECT_NEAR(kevra_tool::lamp_mean(s, 1234.0, 0.0), 0.6, 1e-12);
}

struct ExposureCase {
    const char* name;
    double mains;
    float exposure;
    bool harmonics;
    bool flat;
};

class ExposureIntegration : public ::testing::TestWithParam<ExposureCase> {};

// Every line integrates whole ripples when the exposure is a multiple of the
// ripple period, so the rows show no flicker; other exposures keep some.
TEST_P(ExposureIntegration, WholeRipplePeriodsCancelTheFlicker) {
    const ExposureCase& e = GetParam();
    Scene s = quiet_scene();
    s.rows = 64;
    s.depth = 0.8;
    s.mains_frequency = e.mains;
    s.exposure_time = e.exposure;
    if (e.harmonics) s.harmonics = {1.0, 0.3, 0.1};
    const kevra_tool::Capture c = kevra_tool::synthesize(s);
    bool all_equal = true;
    for (int r = 1; r < s.rows; ++r)
        for (int w = 0; w < 24; ++w) all_equal &= c.sum_stream[size_t(r) * 24 + size_t(w)] == c.sum_stream[size_t(w)];
    EXPECT_EQ(all_equal, e.flat);
}

INSTANTIATE_TEST_SUITE_P(
    Lamps, ExposureIntegration,
    ::testing::Values(ExposureCase{"Rectified50HzOnePeriod", 50.0, 10000.0f, false, true},
                      ExposureCase{"Rectified50HzTwoPeriods", 50.0, 20000.0f, false, true},
                      ExposureCase{"Harmonic60HzOnePeriod", 60.0, 8333.333f, true, true},
                      ExposureCase{"Rectified50HzShortExposure", 50.0, 4000.0f, false, false},
                      ExposureCase{"Harmonic60HzHalfPeriod", 60.0, 4166.667f, true, false}),
    [](const auto& case_info) { return std::string(case_info.param.name); });

TEST(SceneSynthesis, LaterRowsSeeLaterLight) {
    Scene s = quiet_scene();
    s.rows = 40;
    s.depth = 1.0;
    s.exposure_time = 0.0f;
    Scene earlier = s;  // the supply crosses zero one row time earlier
    earlier.mains_phase = -double(s.line_time) * s.lines_per_row;
    const kevra_tool::Capture a = kevra_tool::synthesize(s), b = kevra_tool::synthesize(earlier);
    for (int r = 0; r + 1 < s.rows; ++r)
        for (int w = 0; w < 24; ++w)
            EXPECT_EQ(b.sum_stream[size_t(r) * 24 + size_t(w)], a.sum_stream[size_t(r + 1) * 24 + size_t(w)])
                << "row " << r << " word " << w;
}

struct BadScene {
    const char* option;
    std::function<void(Scene&)> spoil;
};

TEST(SceneSynthesis, RejectsScenesItCannotFormNamingTheOption) {
    const BadScene cases[] = {
        {"--rows", [](Scene& s) { s.rows = 257; }},
        {"--rows", [](Scene& s) { s.rows = -1; }},
        {"--depth", [](Scene& s) { s.depth = 1.5; }},
        {"--mains", [](Scene& s) { s.mains_frequency = 0.0; }},
        {"--harmonics", [](Scene& s) { s.harmonics = {1.0, 2.0}; }},
        {"--harmonics", [](Scene& s) { s.harmonics = {0.0, 0.0, 0.0}; }},
        {"--line-time", [](Scene& s) { s.line_time = 0.0f; }},
        {"--exposure", [](Scene& s) { s.exposure_time = -1.0f; }},
        {"--empty-zones", [](Scene& s) { s.empty_zones = {6}; }},
        {"--noise", [](Scene& s) { s.noise = NAN; }},
        {"--zone-gain", [](Scene& s) { s.zone_gain[3] = -1.0; }},
        // 66 lines x 1024 columns of 10-bit pixels: 33 x 512 x 1023 does not fit 24 bits.
        {"--zone-width", [](Scene& s) { s.lines_per_row = 66, s.zone_width = 1024; }},
    };
    for (const BadScene& c : cases) {
        Scene s;
        c.spoil(s);
        try {
            kevra_tool::synthesize(s);
            ADD_FAILURE() << c.option << " accepted";
        } catch (const kevra_tool::InputError& e) {
            EXPECT_EQ(e.field(), c.option) << e.what();
        }
    }
    Scene widest;  // 32 x 512 x 1023 = 16,760,832 still fits
    widest.lines_per_row = 64;
    widest.zone_width = 1024;
    widest.rows = 1;
    EXPECT_NO_THROW(kevra_tool::check_scene(widest));
}

}  // namespace
