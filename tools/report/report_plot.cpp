// One picture per capture: a panel per channel with its row levels as dots and
// its fitted model as a line; the decision and confidence in the title.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <string>

#include "report.h"

namespace kevra_tool {
namespace {

constexpr double kWidth = 1000;
constexpr double kLeft = 80, kRight = 30;
constexpr double kHeader = 96;
constexpr double kPanel = 180;
constexpr double kPanelGap = 74;  // panel title above, axis labels below
constexpr const char* kLevelColour = "#3b6ea8";
constexpr const char* kModelColour = "#d1495b";

std::string num(double v, const char* fmt = "%.6g") {
    char text[48];
    std::snprintf(text, sizeof text, fmt, v);
    return text;
}

std::string escaped(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            default: out += c;
        }
    }
    return out;
}

// A step of 1, 2 or 5 times a power of ten giving about `count` intervals.
double tick_step(double span, int count) {
    const double raw = span / count;
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    for (double m : {1.0, 2.0, 5.0})
        if (raw <= m * power) return m * power;
    return 10.0 * power;
}

struct Axis {
    double lo, hi;    // data range
    double from, to;  // pixels
    double at(double v) const { return from + (v - lo) / (hi - lo) * (to - from); }
};

Axis level_axis(const ChannelReport& ch, double top) {
    double lo = INFINITY, hi = -INFINITY;
    for (const std::vector<float>* values : {&ch.row_level, &ch.model})
        for (float v : *values)
            if (std::isfinite(v)) {
                lo = std::min(lo, double(v));
                hi = std::max(hi, double(v));
            }
    if (!(lo <= hi)) lo = 0.0, hi = 1.0;
    if (hi - lo < 1e-3) lo -= 1.0, hi += 1.0;
    const double pad = 0.06 * (hi - lo);
    return {lo - pad, hi + pad, top + kPanel, top};
}

void panel(std::ostringstream& s, const DetectionReport& r, size_t c, double top) {
    const ChannelReport& ch = r.channels[c];
    const double right = kWidth - kRight;
    const Axis x{0.0, std::max(1.0, double(r.row_num - 1)), kLeft, right};
    const Axis y = level_axis(ch, top);

    s << "<text x='" << kLeft << "' y='" << top - 10 << "' class='panel'>Channel " << c
      << (c == 1 ? " (decides)" : "") << "</text>\n"
      << "<text x='" << right << "' y='" << top - 10 << "' class='fit' text-anchor='end'>offset "
      << num(ch.offset, "%.4g") << "  amplitudes " << num(ch.amplitude[0], "%.4g") << " / "
      << num(ch.amplitude[1], "%.4g") << " / " << num(ch.amplitude[2], "%.4g") << "  phases "
      << num(ch.phase[0], "%.0f") << " / " << num(ch.phase[1], "%.0f") << " / " << num(ch.phase[2], "%.0f")
      << " us  " << ch.iterations << " iterations</text>\n";
    s << "<rect x='" << kLeft << "' y='" << top << "' width='" << right - kLeft << "' height='" << kPanel
      << "' class='frame'/>\n";

    const double ystep = tick_step(y.hi - y.lo, 4);
    for (double v = std::ceil(y.lo / ystep) * ystep; v <= y.hi; v += ystep) {
        s << "<line x1='" << kLeft << "' x2='" << right << "' y1='" << num(y.at(v)) << "' y2='" << num(y.at(v))
          << "' class='grid'/><text x='" << kLeft - 6 << "' y='" << num(y.at(v) + 4)
          << "' text-anchor='end' class='tick'>" << num(v) << "</text>\n";
    }
    const double xstep = std::max(1.0, tick_step(x.hi - x.lo, 8));
    for (double v = 0.0; v <= x.hi; v += xstep) {
        s << "<line x1='" << num(x.at(v)) << "' x2='" << num(x.at(v)) << "' y1='" << top + kPanel << "' y2='"
          << top + kPanel + 5 << "' class='axis'/><text x='" << num(x.at(v)) << "' y='" << top + kPanel + 18
          << "' text-anchor='middle' class='tick'>" << num(v) << "</text>\n";
    }
    s << "<text x='" << (kLeft + right) / 2 << "' y='" << top + kPanel + 36
      << "' text-anchor='middle' class='label'>statistic row</text>\n"
      << "<text transform='translate(" << kLeft - 52 << "," << top + kPanel / 2
      << ") rotate(-90)' text-anchor='middle' class='label'>level</text>\n";

    // The model line breaks where it is not a number.
    std::string points;
    auto flush = [&] {
        if (!points.empty())
            s << "<polyline fill='none' stroke='" << kModelColour << "' stroke-width='2' points='" << points
              << "'/>\n";
        points.clear();
    };
    for (size_t i = 0; i < ch.model.size(); ++i) {
        if (!std::isfinite(ch.model[i])) {
            flush();
            continue;
        }
        points += num(x.at(double(i)), "%.1f") + "," + num(y.at(ch.model[i]), "%.1f") + " ";
    }
    flush();
    s << "<g fill='" << kLevelColour << "' fill-opacity='0.85'>";
    for (size_t i = 0; i < ch.row_level.size(); ++i)
        if (std::isfinite(ch.row_level[i]))
            s << "<circle cx='" << num(x.at(double(i)), "%.1f") << "' cy='" << num(y.at(ch.row_level[i]), "%.1f")
              << "' r='1.8'/>";
    s << "</g>\n";
}

}  // namespace

std::string plot_svg(const DetectionReport& r) {
    const double height = kHeader + 4 * (kPanel + kPanelGap);
    std::ostringstream s;
    s << "<svg xmlns='http://www.w3.org/2000/svg' width='" << kWidth << "' height='" << height
      << "' viewBox='0 0 " << kWidth << " " << height << "' font-family='DejaVu Sans, Helvetica, Arial, sans-serif'>\n"
      << "<style>.title{font-size:20px;font-weight:bold}.sub{font-size:13px;fill:#444}"
         ".panel{font-size:14px;font-weight:bold}.fit{font-size:12px;fill:#333}.tick{font-size:11px;fill:#555}"
         ".label{font-size:12px;fill:#333}.frame{fill:none;stroke:#888}.grid{stroke:#e4e4e4}.axis{stroke:#888}"
         "</style>\n<rect width='100%' height='100%' fill='white'/>\n";

    const char* colour = r.flicker_detected ? "#b3261e" : "#1d7a3a";
    s << "<text x='" << kLeft << "' y='30' class='title' fill='" << colour << "'>"
      << (r.flicker_detected ? "Flicker detected" : "No flicker") << " at " << r.mains_frequency
      << " Hz mains, confidence index " << num(r.confidence_index, "%.4g") << "</text>\n"
      << "<text x='" << kLeft << "' y='52' class='sub'>" << escaped(r.capture) << "</text>\n"
      << "<text x='" << kLeft << "' y='70' class='sub'>" << r.row_num << " rows of " << r.lines_per_row
      << " lines at " << num(r.line_time) << " us, exposure " << num(r.exposure_time)
      << " us; channel 1 model range " << num(r.model_range, "%.4g") << "</text>\n";
    const double lx = kWidth - kRight - 230;
    s << "<circle cx='" << lx << "' cy='26' r='4' fill='" << kLevelColour << "'/><text x='" << lx + 10
      << "' y='30' class='label'>row level (measured)</text>\n"
      << "<line x1='" << lx - 6 << "' x2='" << lx + 6 << "' y1='46' y2='46' stroke='" << kModelColour
      << "' stroke-width='2'/><text x='" << lx + 10 << "' y='50' class='label'>fitted model</text>\n";
    for (size_t c = 0; c < 4; ++c) panel(s, r, c, kHeader + 28 + double(c) * (kPanel + kPanelGap));
    s << "</svg>\n";
    return s.str();
}

}  // namespace kevra_tool
