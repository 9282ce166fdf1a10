#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "frame_statistics.h"
#include "input_error.h"
#include "picture.h"
#include "tool_targets.h"

namespace kevra_fuzz {
namespace {

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "check failed: %s\n", what);
    std::abort();
}

void check(bool ok, const char* what) {
    if (!ok) fail(what);
}

void check_picture(const kevra_tool::Picture& p) {
    check(p.width > 0 && p.height > 0 && (p.channels == 1 || p.channels == 3), "picture size");
    check(p.pixels.size() == size_t(p.width) * size_t(p.height) * size_t(p.channels), "pixel count");
    const bool raw = p.kind == kevra_tool::PictureKind::Raw;
    check(!raw || p.channels == 1, "raw picture with more than one channel");
    const float top = raw ? 65535.0f : 1.0f;
    for (float v : p.pixels) check(v >= 0.0f && v <= top, "pixel value out of range");
}

void check_statistics(const kevra_tool::FrameStatistics& s, const kevra_tool::Picture& p) {
    const kevra_tool::Capture& c = s.capture;
    const int rows = c.parameter.row_num, lines = c.config.lines_per_row;
    check(rows >= 1 && rows <= KEVRA_MAX_ROWS && lines >= 1 && int64_t(rows) * lines <= p.height, "geometry");
    check(c.sum_stream.size() == size_t(rows) * 24 && c.count_stream.size() == c.sum_stream.size(), "stream size");
    check(c.parameter.ratio_table[0] == float(s.full_scale) && s.full_scale > 0, "full scale");
    // A zone's four channels share its lines x columns pixels between them.
    const uint32_t zone_pixels = uint32_t(lines) * uint32_t(p.width / 6);
    for (size_t z = 0; z < c.sum_stream.size() / 4; ++z) {
        uint32_t zone_count = 0;
        for (size_t w = 4 * z; w < 4 * z + 4; ++w) {
            const uint32_t count = c.count_stream[w] & 0xFFFFFF, clipped = c.count_stream[w] >> 24;
            zone_count += count;
            check(clipped <= count && clipped <= 255, "clipped count");
            check(c.sum_stream[w] <= 0xFFFFFF && c.sum_stream[w] <= uint64_t(count) * s.full_scale, "sum");
        }
        check(zone_count == zone_pixels, "a zone's counts are not its pixels");
    }
}

}  // namespace

void picture_stats_target(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    kevra_tool::Picture picture;
    try {
        picture = kevra_tool::decode_picture(bytes, "fuzz", uint64_t(1) << 20);
    } catch (const kevra_tool::InputError&) {
        return;
    }
    check_picture(picture);
    for (int lines : {0, 2}) {
        kevra_tool::StatisticsSettings settings;
        settings.lines_per_row = lines;
        kevra_tool::FrameTiming timing;
        timing.line_time_us = 10.0;
        timing.exposure_us = 1000.0;
        try {
            check_statistics(kevra_tool::frame_statistics(picture, settings, timing), picture);
        } catch (const kevra_tool::InputError&) {
        }
    }
}

}  // namespace kevra_fuzz
