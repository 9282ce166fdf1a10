#include "simulate_plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <sstream>


namespace kevra_tool {
namespace {

constexpr double kWidth = 1000, kLeft = 80, kRight = 30;
constexpr double kTop = 50, kBand = 40, kPanel = 130, kGap = 40;

struct AnswerStyle {
    int32_t answer;
    const char* colour;
};
constexpr AnswerStyle kAnswerStyles[] = {
    {KEVRA_SCENE_UNKNOWN, "#c8c8c8"}, {KEVRA_SCENE_NONE, "#7fbf7f"}, {KEVRA_SCENE_50HZ, "#3b6ea8"}, {KEVRA_SCENE_60HZ, "#d1495b"}};

const char* answer_colour(int32_t answer) {
    for (const AnswerStyle& s : kAnswerStyles)
        if (s.answer == answer) return s.colour;
    return kAnswerStyles[0].colour;
}

std::string num(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.5g", v);
    return text;
}

struct Series {
    const char* title;
    std::function<double(const CameraFrame&)> value;  // NaN: no point
    const char* colour;
    double floor;     // the axis reaches down to this at least
    double min_span;  // nanosecond rounding of nominal intervals is no feature
};

class Plot {
public:
    explicit Plot(const std::vector<CameraFrame>& frames) : frames_(frames) {
        step_ = (kWidth - kLeft - kRight) / double(std::max<size_t>(frames.size(), 1));
    }
    double x(size_t i) const { return kLeft + step_ * (double(i) + 0.5); }

    void bands(std::ostream& svg, double top) const {
        svg << "<text x='" << kLeft << "' y='" << top - 6 << "'>answer (grey unknown, green none, blue 50 Hz, red 60 Hz); "
            << "dark tick: lamp on</text>\n";
        for (size_t i = 0; i < frames_.size(); ++i) {
            svg << "<rect x='" << num(kLeft + step_ * double(i)) << "' y='" << top << "' width='" << num(step_ + 0.3)
                << "' height='" << kBand << "' fill='" << answer_colour(frames_[i].result.scene_flicker) << "'/>\n";
            if (frames_[i].lamp_lit)
                svg << "<rect x='" << num(kLeft + step_ * double(i)) << "' y='" << top + kBand << "' width='"
                    << num(step_ + 0.3) << "' height='5' fill='#333'/>\n";
        }
    }

    void panel(std::ostream& svg, double top, const Series& s) const {
        double lo = s.floor, hi = s.floor;
        for (const CameraFrame& f : frames_) {
            if (std::isnan(s.value(f))) continue;
            lo = std::min(lo, s.value(f));
            hi = std::max(hi, s.value(f));
        }
        hi = std::max(hi, lo + s.min_span) + 0.08 * std::max(hi - lo, s.min_span);
        const auto y = [&](double v) { return top + kPanel - (v - lo) / (hi - lo) * kPanel; };
        svg << "<text x='" << kLeft << "' y='" << top - 6 << "'>" << s.title << "</text>\n";
        svg << "<rect x='" << kLeft << "' y='" << top << "' width='" << kWidth - kLeft - kRight << "' height='" << kPanel
            << "' fill='none' stroke='#999'/>\n";
        for (double v : {lo, hi})
            svg << "<text x='" << kLeft - 6 << "' y='" << num(y(v) + 4) << "' text-anchor='end'>" << num(v) << "</text>\n";
        svg << "<polyline fill='none' stroke='" << s.colour << "' stroke-width='1.5' points='";
        for (size_t i = 0; i < frames_.size(); ++i)
            if (!std::isnan(s.value(frames_[i]))) svg << num(x(i)) << "," << num(y(s.value(frames_[i]))) << " ";
        svg << "'/>\n";
        for (size_t i = 0; i < frames_.size(); ++i)
            if (!std::isnan(s.value(frames_[i])))
                svg << "<circle cx='" << num(x(i)) << "' cy='" << num(y(s.value(frames_[i]))) << "' r='2.5' fill='" << s.colour
                << "'/>\n";
    }

private:
    const std::vector<CameraFrame>& frames_;
    double step_ = 0.0;
};

}  // namespace

std::string simulate_plot_svg(const std::vector<CameraFrame>& frames, double fps) {
    const Series series[] = {
        {"exposure, us", [](const CameraFrame& f) { return double(f.exposure_us); }, "#3b6ea8", 0.0, 1000.0},
        // The first frame has no interval before it.
        {"frame interval, ms (nominal at the bottom)",
         [](const CameraFrame& f) { return f.index == 0 ? std::nan("") : f.interval_ms; }, "#8a5a00",
         std::floor(1e3 / fps * 100.0) / 100.0, 1.0},
        {"visible ripple, % peak to peak", [](const CameraFrame& f) { return 100.0 * f.visible_ripple; }, "#d1495b",
         0.0, 1.0},
    };
    const double height = kTop + kBand + 30 + 3 * (kPanel + kGap) + 20;
    std::ostringstream svg;
    svg << "<svg xmlns='http://www.w3.org/2000/svg' width='" << kWidth << "' height='" << height
        << "' font-family='sans-serif' font-size='12'>\n<rect width='100%' height='100%' fill='white'/>\n";
    svg << "<text x='" << kLeft << "' y='24' font-size='15'>kevra simulate: " << frames.size() << " frames at "
        << num(fps) << " fps</text>\n";
    const Plot plot(frames);
    plot.bands(svg, kTop);
    double top = kTop + kBand + 30 + kGap - 10;
    for (const Series& s : series) {
        plot.panel(svg, top, s);
        top += kPanel + kGap;
    }
    const double axis = top - kGap + 16;
    for (size_t i = 0; i < frames.size(); i += std::max<size_t>(1, frames.size() / 15))
        svg << "<text x='" << num(plot.x(i)) << "' y='" << axis << "' text-anchor='middle'>" << i << "</text>\n";
    svg << "</svg>\n";
    return svg.str();
}

}  // namespace kevra_tool
