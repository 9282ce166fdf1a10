// Frames to captures: every format decodes to the values written, the
// statistics match what the geometry predicts, bad input leaves no file.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <filesystem>

#include "capture.h"
#include "file_io.h"
#include "input_error.h"
#include "picture.h"
#include "picture_files.h"
#include "tool_test_support.h"

namespace {

using kevra_tool::PictureKind;
using kevra_tool_test::run_cli;
using kevra_tool_test::TempDir;

double srgb(double code, double maxval) {
    const double v = code / maxval;
    return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}

std::string file_bytes(const std::string& path) {
    std::string bytes, reason;
    kevra_tool::read_file(path, bytes, reason);
    return bytes;
}

TEST(Picture, EveryFormatDecodesToTheValuesWritten) {
    TempDir dir;
    const std::vector<unsigned> grey = {0, 64, 128, 255}, wide = {0, 1000, 30000, 65535}, raw = {0, 100, 4000, 4095};
    const std::vector<unsigned> rgb = {0, 64, 128, 255, 10, 20, 30, 40, 250, 5, 6, 7};
    kevra_tool_test::write_tiff(dir.file("rgb.tif"), 2, 2, 3, 8, rgb);
    kevra_tool_test::write_tiff(dir.file("raw.tif"), 2, 2, 1, 16, wide);
    const struct {
        std::string name, bytes;
        PictureKind kind;
        int channels;
        std::vector<unsigned> codes;
        double maxval;
    } cases[] = {
        {"grey.pgm", kevra_tool_test::pnm_file(2, 2, 1, 255, grey), PictureKind::Processed, 1, grey, 255},
        {"rgb.ppm", kevra_tool_test::pnm_file(2, 2, 3, 255, rgb), PictureKind::Processed, 3, rgb, 255},
        {"raw.pgm", kevra_tool_test::pnm_file(2, 2, 1, 4095, raw), PictureKind::Raw, 1, raw, 4095},
        {"grey.png", kevra_tool_test::png_file(2, 2, 1, 8, grey), PictureKind::Processed, 1, grey, 255},
        {"rgb.png", kevra_tool_test::png_file(2, 2, 3, 8, rgb), PictureKind::Processed, 3, rgb, 255},
        {"wide.png", kevra_tool_test::png_file(2, 2, 1, 16, wide), PictureKind::Processed, 1, wide, 65535},
        {"flat.jpg", kevra_tool_test::jpeg_file(16, 8, std::vector<unsigned>(128, 128)), PictureKind::Processed, 1,
         std::vector<unsigned>(128, 128), 255},
        {"rgb.tif", file_bytes(dir.file("rgb.tif")), PictureKind::Processed, 3, rgb, 255},
        {"raw.tif", file_bytes(dir.file("raw.tif")), PictureKind::Raw, 1, wide, 65535},
    };
    for (const auto& k : cases) {
        const kevra_tool::Picture p = kevra_tool::decode_picture(k.bytes, k.name);
        EXPECT_EQ(p.kind, k.kind) << k.name;
        EXPECT_EQ(p.channels, k.channels) << k.name;
        EXPECT_EQ(p.width * p.height * p.channels, int(k.codes.size())) << k.name;
        EXPECT_EQ(p.white_level, k.kind == PictureKind::Raw ? k.maxval : 1.0) << k.name;
        for (size_t i = 0; i < k.codes.size() && i < p.pixels.size(); ++i) {
            const double want = k.kind == PictureKind::Raw ? k.codes[i] : srgb(k.codes[i], k.maxval);
            EXPECT_NEAR(p.pixels[i], want, 1e-6 + 1e-6 * want) << k.name << " sample " << i;
        }
    }
}

// A 2 x 2 pattern of four levels, the colours placed by `pattern`: R 100, the
// green on R's line 200, the other green 300, B at the white level (clipped).
// Columns past the six zones of 10 and the line past three rows of 8 hold 7,
// which no statistic may include.
std::vector<unsigned> mosaic(const std::string& pattern, unsigned white, int width, int height) {
    const int red_line = int(pattern.find('R')) / 2;
    std::vector<unsigned> v;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const char c = pattern[size_t(2 * (y & 1) + (x & 1))];
            v.push_back(x >= 60 || y >= 24 ? 7 : c == 'R' ? 100 : c == 'B' ? white : (y & 1) == red_line ? 200 : 300);
        }
    return v;
}

TEST(StatsCommand, SumsAndCountsAreWhatTheGeometryPredicts) {
    TempDir dir;
    const int width = 64, height = 25;  // six zones of 10 columns, three rows of 8 lines
    dir.write("gbrg.pgm", kevra_tool_test::pnm_file(width, height, 1, 4095, mosaic("GBRG", 4095, width, height)));
    dir.write("second.pgm", file_bytes(dir.file("gbrg.pgm")));
    kevra_tool_test::write_tiff(dir.file("rggb.tif"), width, height, 1, 16, mosaic("RGGB", 65535, width, height));
    kevra_tool_test::write_dng(dir.file("bggr.dng"), width, height, mosaic("BGGR", 4000, width, height), "BGGR", 64,
                               4000, 0.0008, "2024:01:02 03:04:05");
    std::vector<unsigned> rgb;
    for (int i = 0; i < width * height; ++i) rgb.insert(rgb.end(), {200, 100, 50});
    dir.write("rgb.png", kevra_tool_test::png_file(width, height, 3, 8, rgb));
    std::tm date{};  // the DNG's 2024:01:02 03:04:05, local time as LibRaw reads it
    date.tm_year = 124, date.tm_mday = 2, date.tm_hour = 3, date.tm_min = 4, date.tm_sec = 5, date.tm_isdst = -1;
    const int64_t dng_time = int64_t(std::mktime(&date)) * 1'000'000'000;
    const double n = 4 * 5;  // every other line and column of a zone's row
    const auto level = [](unsigned code) { return std::round(srgb(code, 255) * 1023); };
    const struct {
        std::vector<std::string> args;
        double full_scale;
        double sum[4];
        uint32_t clipped[4];
    } cases[] = {
        {{"gbrg.pgm", "second.pgm", "--bayer", "GBRG", "--fps", "50", "--first-timestamp", "1000", "--exposure", "800"},
         4095, {100 * n, 200 * n, 300 * n, 4095 * n}, {0, 0, 0, uint32_t(n)}},
        {{"rggb.tif", "--exposure", "800"}, 65535, {100 * n, 200 * n, 300 * n, 65535 * n}, {0, 0, 0, uint32_t(n)}},
        // Pattern, black and white level, exposure and (second-resolution) time from the file.
        {{"bggr.dng"}, 3936, {36 * n, 136 * n, 236 * n, 3936 * n}, {0, 0, 0, uint32_t(n)}},
        {{"rgb.png", "--exposure", "800"}, 1023, {level(200) * n, level(100) * n, level(100) * n, level(50) * n},
         {0, 0, 0, 0}},
    };
    for (const auto& k : cases) {
        std::vector<std::string> args = {"stats", "--line-time", "12.5", "--lines-per-row", "8", "-o",
                                         dir.file("out.json")};
        for (const std::string& a : k.args) args.push_back(a.find('.') != std::string::npos ? dir.file(a) : a);
        const auto run = run_cli(args);
        ASSERT_EQ(run.status, 0) << run.err;
        const bool sequence = k.args.size() > 1 && k.args[1] == "second.pgm";
        for (int frame = 0; frame < (sequence ? 2 : 1); ++frame) {
            const std::string out = dir.file(sequence ? "out-000" + std::to_string(frame + 1) + ".json" : "out.json");
            const kevra_tool::Capture c = kevra_tool::read_capture(out);
            EXPECT_EQ(c.parameter.row_num, 3) << out;
            EXPECT_EQ(c.config.lines_per_row, 8);
            EXPECT_EQ(c.parameter.ratio_table[0], float(k.full_scale));
            EXPECT_EQ(c.parameter.line_time, 12.5f);
            EXPECT_EQ(c.parameter.exposure_time, 800.0f);
            const bool dng = k.args[0] == "bggr.dng";
            EXPECT_EQ(c.timestamp_ns, sequence ? 1000 + 20'000'000 * frame : dng ? dng_time : 0);
            for (size_t w = 0; w < c.sum_stream.size(); ++w) {
                EXPECT_EQ(c.sum_stream[w], k.sum[w % 4]) << out << " word " << w;
                EXPECT_EQ(c.count_stream[w], k.clipped[w % 4] << 24 | uint32_t(n)) << out << " word " << w;
            }
            std::filesystem::remove(out);
        }
    }
}

// 600 pixels of 65535 per sample pass 24 bits; two bits less fit.
TEST(StatsCommand, SumsThatWouldPass24BitsAreShiftedDownAndTold) {
    TempDir dir;
    kevra_tool_test::write_tiff(dir.file("bright.tif"), 1200, 12, 1, 16, std::vector<unsigned>(1200 * 12, 65535));
    const auto run = run_cli({"stats", "--line-time", "10", "--exposure", "100", "-o", dir.file("out.json"),
                              dir.file("bright.tif")});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.err.find("shifted down by 2 bits (full scale 16383)"), std::string::npos) << run.err;
    const kevra_tool::Capture c = kevra_tool::read_capture(dir.file("out.json"));
    EXPECT_EQ(c.parameter.ratio_table[0], 16383.0f);
    for (size_t w = 0; w < 24; ++w) {
        EXPECT_EQ(c.sum_stream[w], 16383u * 600u);
        EXPECT_EQ(c.count_stream[w], 255u << 24 | 600u);
    }
}

TEST(StatsCommand, RefusesEveryKindOfBadInputNamingFileAndField) {
    TempDir dir;
    const std::string good = kevra_tool_test::pnm_file(12, 24, 1, 4095, std::vector<unsigned>(12 * 24, 500));
    dir.write("good.pgm", good);
    dir.write("truncated.pgm", good.substr(0, good.size() - 7));
    dir.write("corrupt.png", "\x89PNG\r\n\x1a\n" + std::string(40, 'x'));
    dir.write("small.pgm", kevra_tool_test::pnm_file(10, 24, 1, 4095, std::vector<unsigned>(10 * 24, 500)));
    kevra_tool_test::write_tiff(dir.file("float.tif"), 12, 24, 1, 32, std::vector<unsigned>(12 * 24, 1),
                                SAMPLEFORMAT_IEEEFP);
    const std::set<std::string> inputs = dir.entries();
    const std::string g = dir.file("good.pgm");
    const std::string missing = dir.file("missing.pgm"), unwritable = dir.file("no/such/dir.json");
    const struct {
        std::vector<std::string> args;
        std::string message;
    } cases[] = {
        {{"--line-time", "10", missing}, missing + ": cannot read"},
        {{"--line-time", "10", dir.file("truncated.pgm")}, dir.file("truncated.pgm") + ": corrupt PGM/PPM"},
        {{"--line-time", "10", dir.file("corrupt.png")}, dir.file("corrupt.png") + ": corrupt PNG"},
        {{"--line-time", "10", dir.file("float.tif")}, dir.file("float.tif") + ": unsupported TIFF pixel format"},
        {{"--line-time", "10", dir.file("small.pgm")}, dir.file("small.pgm") + ": size: 10 x 24 is too small"},
        {{"--line-time", "10", g, g, "--timestamps", "5,5"}, g + ": timestamp: 5 ns is not later than the previous"},
        {{g}, g + ": line time: missing"},
        {{"--line-time", "10", g, g}, g + ": timestamp: missing"},
        {{"--line-time", "10", g, "-o", unwritable}, unwritable + ": cannot write"},
    };
    for (const auto& k : cases) {
        std::vector<std::string> args = {"stats", "--exposure", "100"};
        args.insert(args.end(), k.args.begin(), k.args.end());
        if (std::find(args.begin(), args.end(), "-o") == args.end()) args.insert(args.end(), {"-o", dir.file("out.json")});
        const auto run = run_cli(args);
        EXPECT_EQ(run.status, 1) << k.message;
        EXPECT_EQ(run.err.rfind("kevra: " + k.message, 0), 0u) << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        EXPECT_EQ(dir.entries(), inputs) << k.message;
    }
}

}  // namespace
