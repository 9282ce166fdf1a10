#include <cmath>
#include <cstdio>
#include <string>

#include "report.h"

namespace kevra_tool {
namespace {

std::string format(const char* fmt, double value) {
    char text[64];
    std::snprintf(text, sizeof text, fmt, value);
    return text;
}

std::string band_text(const DetectionReport& r) {
    switch (r.band) {
        case int32_t(RangeBand::BelowThreshold):
            return "below the lowest band (" + format("%g", r.band_high) + "): no flicker whatever the flat runs";
        case int32_t(RangeBand::NotANumber):
            return "not a number: flicker is reported without the flat-run test";
        default:
            break;
    }
    std::string limits = std::isnan(r.band_high) ? ">= " + format("%g", r.band_low)
                                                 : format("%g", r.band_low) + " .. " + format("%g", r.band_high);
    return "band " + std::to_string(r.band) + " (" + limits + ", ratio " + format("%g", r.detect_ratio) +
           "): flicker needs a zone's longest flat run to exceed " + std::to_string(r.rows_required) + " of " +
           std::to_string(r.row_num) + " rows";
}

}  // namespace

void write_text_report(std::ostream& out, const DetectionReport& r) {
    const int f = r.mains_frequency;
    out << r.capture << "\n"
        << "  " << r.row_num << " rows of " << r.lines_per_row << " lines at " << format("%g", r.line_time)
        << " us, exposure " << format("%g", r.exposure_time) << " us, mains " << f << " Hz\n\n";
    char line[200];
    std::snprintf(line, sizeof line, "  %-8s %10s %10s %10s %10s %10s %10s %10s %6s\n", "channel", "offset",
                  ("A " + std::to_string(2 * f) + "Hz").c_str(), "phase us", ("A " + std::to_string(4 * f) + "Hz").c_str(),
                  "phase us", ("A " + std::to_string(6 * f) + "Hz").c_str(), "phase us", "iter");
    out << line;
    for (size_t c = 0; c < 4; ++c) {
        const ChannelReport& ch = r.channels[c];
        std::snprintf(line, sizeof line, "  %-8zu %10.5f %10.5f %10.1f %10.5f %10.1f %10.5f %10.1f %6d\n", c,
                      double(ch.offset), double(ch.amplitude[0]), double(ch.phase[0]), double(ch.amplitude[1]),
                      double(ch.phase[1]), double(ch.amplitude[2]), double(ch.phase[2]), ch.iterations);
        out << line;
    }
    out << "\n  channel 1 model: " << format("%.5f", r.model_min) << " .. " << format("%.5f", r.model_max)
        << ", range " << format("%.5f", r.model_range) << "\n"
        << "  range " << band_text(r) << "\n"
        << "  decision: " << (r.flicker_detected ? "FLICKER" : "no flicker") << "\n"
        << "  confidence index: " << format("%.6g", r.confidence_index) << " (peak error "
        << format("%.6g", r.confidence_debug.peak_error) << " ending at row " << r.confidence_debug.peak_row
        << " in zone " << r.confidence_debug.peak_zone << ", mean error "
        << format("%.6g", r.confidence_debug.mean_error) << " in zone " << r.confidence_debug.mean_zone << ")\n";
}

}  // namespace kevra_tool
