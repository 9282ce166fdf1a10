#include "stats_command.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <vector>

#include "capture.h"
#include "file_io.h"
#include "frame_statistics.h"
#include "input_error.h"
#include "picture.h"
#include "progress.h"

namespace kevra_tool {

struct StatsOptions {
    std::vector<std::string> frames;
    std::string output;
    StatisticsSettings settings;
    std::optional<double> line_time, exposure, fps;
    std::optional<int64_t> first_timestamp;
    std::vector<int64_t> timestamps;
};

namespace {


void check_options(const StatsOptions& o) {
    if (o.settings.mains_frequency != 50 && o.settings.mains_frequency != 60)
        throw InputError("stats", "--mains", "expected 50 or 60");
    if (o.fps && !(*o.fps > 0.0 && std::isfinite(*o.fps))) throw InputError("stats", "--fps", "expected a rate > 0");
    if (!o.timestamps.empty() && o.timestamps.size() != o.frames.size())
        throw InputError("stats", "--timestamps",
                         "expected " + std::to_string(o.frames.size()) + " values, one per frame; got " +
                             std::to_string(o.timestamps.size()));
}

FrameTiming frame_timing(const StatsOptions& o, const Picture& picture, size_t index) {
    const std::string& file = picture.path;
    FrameTiming t;
    if (!o.line_time) throw InputError(file, "line time", "missing: give --line-time US, the time per sensor line");
    t.line_time_us = *o.line_time;
    if (o.exposure)
        t.exposure_us = *o.exposure;
    else if (picture.exposure_time_us)
        t.exposure_us = *picture.exposure_time_us;
    else
        throw InputError(file, "exposure time", "missing: the file does not give it; give --exposure US");
    if (!o.timestamps.empty())
        t.timestamp_ns = o.timestamps[index];
    else if (o.fps)
        t.timestamp_ns = o.first_timestamp.value_or(0) + std::llround(double(index) * 1e9 / *o.fps);
    else if (picture.timestamp_ns)
        t.timestamp_ns = *picture.timestamp_ns;
    else if (o.frames.size() == 1)
        t.timestamp_ns = o.first_timestamp.value_or(0);
    else
        throw InputError(file, "timestamp", "missing: give --timestamps NS,..., or --fps F (with --first-timestamp NS)");
    return t;
}

// Writes every capture under a temporary name first, then renames them all,
// so a failure leaves none of them behind.
void write_all(const std::vector<std::string>& paths, const std::vector<std::string>& texts) {
    std::vector<std::string> written;
    try {
        for (size_t i = 0; i < paths.size(); ++i) {
            const std::string temp = paths[i] + ".kevra-partial";
            try {
                write_file_atomically(temp, texts[i]);
            } catch (const InputError& e) {
                const std::string what = e.what();
                throw InputError(paths[i], "", what.substr(std::min(what.size(), e.file().size() + 2)));
            }
            written.push_back(temp);
        }
        for (size_t i = 0; i < paths.size(); ++i) {
            std::error_code error;
            std::filesystem::rename(written[i], paths[i], error);
            if (error) throw InputError(paths[i], "", "cannot write: " + error.message());
        }
    } catch (...) {
        for (const std::string& temp : written) std::remove(temp.c_str());
        throw;
    }
}

}  // namespace

StatsCommand::StatsCommand(CLI::App& app) : options_(std::make_unique<StatsOptions>()) {
    StatsOptions& o = *options_;
    StatisticsSettings& s = o.settings;
    subcommand_ = app.add_subcommand("stats", "Form the row statistics of camera frames (picture files) as captures");
    CLI::App& c = *subcommand_;
    c.add_option("frames", o.frames, "Frames in time order: 16-bit PGM/TIFF or DNG raw mosaics, or PNG/JPEG/PGM/PPM/TIFF")
        ->required();
    c.add_option("-o,--output", o.output, "Capture to write (numbered -0001, ... for several frames)")->required();
    c.add_option("--line-time", o.line_time, "Time per sensor line, us");
    c.add_option("--exposure", o.exposure, "Exposure time, us (default: the file's)");
    auto* timestamps =
        c.add_option("--timestamps", o.timestamps, "Start of each frame's exposure, ns, one per frame")->delimiter(',');
    c.add_option("--fps", o.fps, "Frame rate: frame i starts at first-timestamp + i / fps")->excludes(timestamps);
    c.add_option("--first-timestamp", o.first_timestamp, "Start of the first frame's exposure, ns (default 0)")
        ->excludes(timestamps);
    c.add_option("--lines-per-row", s.lines_per_row, "Sensor lines per statistic row (default 12, or height / rows)");
    c.add_option("--rows", s.rows, "Statistic rows, 1..256 (default min(256, height / lines per row))");
    c.add_option("--bayer", s.bayer, "Colour of a raw mosaic's first 2 x 2 photosites (default: the file's, or RGGB)")
        ->check(CLI::IsMember({"RGGB", "BGGR", "GRBG", "GBRG"}));
    c.add_option("--bit-depth", s.bit_depth, "Bits per pixel value of a processed picture (default 10)");
    c.add_option("--black-level", s.black_level, "A raw picture's black level (default: the file's, else 0)");
    c.add_option("--white-level", s.white_level,
                 "A raw picture's largest value (default: the file's, else its largest code)");
    c.add_option("--mains", s.mains_frequency, "Mains frequency the detector is tuned for, 50 or 60")
        ->capture_default_str();
}

StatsCommand::~StatsCommand() = default;

int StatsCommand::run(std::ostream& err, bool progress_wanted) const {
    const StatsOptions& o = *options_;
    Progress progress(err, progress_wanted && o.frames.size() > 1);
    try {
        check_options(o);
        std::vector<std::string> paths, texts;
        std::optional<int64_t> previous;
        bool shift_told = false;
        for (size_t i = 0; i < o.frames.size(); ++i) {
            progress.show(i, o.frames.size(), o.frames[i]);
            const Picture picture = read_picture(o.frames[i]);
            const FrameTiming timing = frame_timing(o, picture, i);
            if (previous && timing.timestamp_ns <= *previous)
                throw InputError(picture.path, "timestamp",
                                 std::to_string(timing.timestamp_ns) + " ns is not later than the previous frame's " +
                                     std::to_string(*previous) + " ns; give the frames in time order");
            previous = timing.timestamp_ns;
            const FrameStatistics stats = frame_statistics(picture, o.settings, timing);
            if (stats.shift > 0 && !shift_told) {
                progress.clear();
                err << "kevra: " << picture.path << ": pixel values shifted down by " << stats.shift
                    << " bits (full scale " << stats.full_scale << ") so that zone sums stay within 24 bits\n";
                shift_told = true;
            }
            paths.push_back(numbered_path(o.output, i, o.frames.size()));
            texts.push_back(capture_to_json_text(stats.capture));
        }
        progress.clear();
        write_all(paths, texts);
    } catch (const std::exception& e) {
        progress.clear();
        err << "kevra: " << e.what() << "\n";
        return 1;
    }
    return 0;
}

}  // namespace kevra_tool
