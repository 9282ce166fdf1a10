#include "frame_statistics.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "default_tuning.h"
#include "input_error.h"

namespace kevra_tool {
namespace {

constexpr uint32_t kMax24 = 0x00FFFFFF;
constexpr int kZones = 6;
// A whole number of periods of both 50 Hz and 60 Hz mains: start_time keeps
// the phase of either and stays small enough for a float's precision.
constexpr int64_t kPhasePeriodNs = 100'000'000;

[[noreturn]] void bad_setting(const std::string& option, const std::string& problem) {
    throw InputError("stats", option, problem);
}

// Offset of the red photosite within the 2 x 2 pattern: (line, column).
std::array<int, 2> red_offset(const std::string& pattern) {
    if (pattern == "RGGB") return {0, 0};
    if (pattern == "GRBG") return {0, 1};
    if (pattern == "GBRG") return {1, 0};
    if (pattern == "BGGR") return {1, 1};
    bad_setting("--bayer", "expected RGGB, BGGR, GRBG or GBRG");
}

}  // namespace

FrameStatistics frame_statistics(const Picture& picture, const StatisticsSettings& settings,
                                 const FrameTiming& timing) {
    const std::string& file = picture.path;
    if (settings.rows < 0 || settings.rows > KEVRA_MAX_ROWS) bad_setting("--rows", "expected 1..256");
    if (settings.lines_per_row < 0 || settings.lines_per_row > 4096) bad_setting("--lines-per-row", "expected 1..4096");
    if (settings.bit_depth < 0 || settings.bit_depth > 16) bad_setting("--bit-depth", "expected 1..16");
    if (!(timing.line_time_us > 0.0 && std::isfinite(timing.line_time_us)))
        bad_setting("--line-time", "expected a time > 0 us");
    if (!(timing.exposure_us >= 0.0 && std::isfinite(timing.exposure_us)))
        bad_setting("--exposure", "expected a time >= 0 us");
    const bool raw = picture.kind == PictureKind::Raw;
    if (raw && settings.bit_depth != 0)
        bad_setting("--bit-depth", "applies to processed pictures; " + file + " is raw and keeps its own values");
    if (!raw && (settings.black_level || settings.white_level))
        bad_setting(settings.black_level ? "--black-level" : "--white-level",
                    "applies to raw pictures; " + file + " is processed");
    if (raw && picture.channels != 1) throw InputError(file, "", "a raw picture has one value per photosite");
    const std::array<int, 2> red =
        red_offset(!settings.bayer.empty() ? settings.bayer : !picture.cfa.empty() ? picture.cfa : "RGGB");

    // Geometry.
    const int height = picture.height;
    int lines_per_row = settings.lines_per_row;
    int rows = settings.rows;
    if (lines_per_row == 0) lines_per_row = rows > 0 ? height / rows : 12;
    if (rows == 0) rows = lines_per_row > 0 ? std::min(KEVRA_MAX_ROWS, height / lines_per_row) : 0;
    const int zone_width = picture.width / kZones;
    if (lines_per_row < 1 || rows < 1 || int64_t(rows) * lines_per_row > height || zone_width < 2)
        throw InputError(file, "size",
                         std::to_string(picture.width) + " x " + std::to_string(height) +
                             " is too small for six zones of 2 columns and " + std::to_string(std::max(rows, 1)) +
                             " rows of " + std::to_string(std::max(lines_per_row, 1)) + " lines");

    // Integer pixel values: raw ones less the black level, processed ones at
    // the stated depth.
    const double black = raw ? settings.black_level.value_or(picture.black_level) : 0.0;
    const double white = raw ? settings.white_level.value_or(picture.white_level) : 1.0;
    const double raw_scale = raw ? std::round(white - black) : 0.0;
    if (raw && !(black >= 0.0 && raw_scale >= 1.0 && raw_scale <= 65535.0))
        throw InputError(file, "white level",
                         "expected 1..65535 above a black level >= 0 (black " + std::to_string(black) + ", white " +
                             std::to_string(white) + ")");
    const uint32_t full_scale =
        raw ? uint32_t(raw_scale) : (uint32_t(1) << (settings.bit_depth > 0 ? settings.bit_depth : 10)) - 1;
    const double scale = raw ? 1.0 : double(full_scale);
    // A sample holds every other line and column of its zone and row.
    const uint64_t pixels = uint64_t(lines_per_row + 1) / 2 * (uint64_t(zone_width + 1) / 2);
    if (pixels > kMax24)
        throw InputError(file, "size", "a statistic sample of " + std::to_string(pixels) +
                                           " pixels passes the 24-bit count; use fewer lines per row");
    int shift = 0;
    while (pixels * (full_scale >> shift) > kMax24) ++shift;

    FrameStatistics out;
    out.shift = shift;
    out.full_scale = full_scale >> shift;
    Capture& c = out.capture;
    c.parameter = default_parameter();
    c.parameter.row_num = rows;
    c.parameter.ratio_table[0] = float(out.full_scale);  // levels as fractions of full scale
    c.parameter.exposure_time = float(timing.exposure_us);
    c.parameter.line_time = float(timing.line_time_us);
    c.timestamp_ns = timing.timestamp_ns;
    const int64_t phase_ns = ((timing.timestamp_ns % kPhasePeriodNs) + kPhasePeriodNs) % kPhasePeriodNs;
    c.start_time = float(double(phase_ns) * 1e-3);
    c.config = default_config();
    c.config.mains_frequency = settings.mains_frequency;
    c.config.lines_per_row = lines_per_row;
    c.confidence_input = default_confidence_input(c.parameter, c.start_time, c.config);

    // A processed picture is mosaicked again: R on channel 0, G on 1 and 2, B on 3.
    const int grey = picture.channels == 1;
    const int component[4] = {0, grey ? 0 : 1, grey ? 0 : 1, grey ? 0 : 2};
    c.sum_stream.assign(size_t(rows) * 24, 0);
    c.count_stream.assign(size_t(rows) * 24, 0);
    for (int r = 0; r < rows; ++r) {
        uint32_t sum[24] = {}, count[24] = {}, clipped[24] = {};  // word 4 * zone + channel
        for (int line = r * lines_per_row; line < (r + 1) * lines_per_row; ++line) {
            const float* row = picture.pixels.data() + size_t(line) * size_t(picture.width) * size_t(picture.channels);
            for (int z = 0; z < kZones; ++z)
                for (int x = z * zone_width; x < (z + 1) * zone_width; ++x) {
                    const int channel = raw ? 2 * ((line + red[0]) & 1) + ((x + red[1]) & 1) : 2 * (line & 1) + (x & 1);
                    const float v = row[size_t(x) * size_t(picture.channels) + size_t(component[channel] * !raw)];
                    const double level = std::round((double(v) - black) * scale);
                    const uint32_t value = level <= 0.0 ? 0 : level >= full_scale ? full_scale : uint32_t(level);
                    const int w = 4 * z + channel;
                    sum[w] += value >> shift;
                    count[w] += 1;
                    clipped[w] += raw ? double(v) >= white : value == full_scale;
                }
        }
        for (int w = 0; w < 24; ++w) {
            c.sum_stream[size_t(r) * 24 + size_t(w)] = sum[w];
            c.count_stream[size_t(r) * 24 + size_t(w)] = std::min<uint32_t>(clipped[w], 255) << 24 | count[w];
        }
    }
    return out;
}

}  // namespace kevra_tool
