// The forms of an evaluation: tables for people, JSON for programs, and a
// plot of detection rate against the visible ripple.
#include <cmath>
#include <cstdio>
#include <sstream>

#include "eval_command.h"
#include "labelling.h"

namespace kevra_tool {
namespace {

const char* const kTruthNames[3] = {"NONE", "50", "60"};
const char* const kAnswerNames[4] = {"NONE", "50", "60", "UNKNOWN"};

std::string pct(double v) {
    char t[16];
    std::snprintf(t, sizeof t, "%5.1f %%", 100.0 * v);
    return t;
}

std::string padded(const std::string& s, size_t width) { return s.size() >= width ? s : s + std::string(width - s.size(), ' '); }

Json scores_to_json(const Scores& s) {
    Json j;
    j["scored"] = s.scored();
    Json matrix = Json::object();
    for (int t = 0; t < 3; ++t)
        for (int a = 0; a < 4; ++a) matrix[kTruthNames[t]][kAnswerNames[a]] = s.confusion[t][a];
    j["confusion"] = matrix;
    j["accuracy"] = s.accuracy();
    j["balanced_accuracy"] = s.balanced_accuracy();
    j["false_flicker_rate"] = s.false_flicker_rate();
    j["wrong_frequency_rate"] = s.wrong_frequency_rate();
    j["miss_rate"] = s.miss_rate();
    Json by = Json::object();
    for (const auto& [group, keys] : s.by)
        for (const auto& [key, tally] : keys)
            by[group][key] = {{"correct", tally.correct}, {"total", tally.total}, {"accuracy", tally.rate()}};
    j["by"] = by;
    return j;
}

// Detection (answer 50 or 60) rate per bin of the visible ripple, held-out sequences.
struct Curve {
    std::vector<double> rate;
    std::vector<int> count;
};

constexpr int kBins = 12;
constexpr double kLogLow = -3.5, kLogHigh = 0.5;  // 0.0003 .. 3

int bin_of(double ripple) {
    if (!(ripple > 0.0)) return 0;
    const int b = int(std::floor((std::log10(ripple) - kLogLow) / (kLogHigh - kLogLow) * kBins));
    return std::clamp(b, 0, kBins - 1);
}

Curve curve_of(const EvalResult& r, const MethodResult& m) {
    Curve c{std::vector<double>(kBins, 0.0), std::vector<int>(kBins, 0)};
    for (size_t i = 0; i < m.answers.size(); ++i) {
        if (!r.is_held_out[i]) continue;
        const int b = bin_of(r.visible_ripple[i]);
        c.count[size_t(b)] += 1;
        c.rate[size_t(b)] += m.answers[i] == Answer::Hz50 || m.answers[i] == Answer::Hz60 ? 1.0 : 0.0;
    }
    for (int b = 0; b < kBins; ++b)
        if (c.count[size_t(b)] > 0) c.rate[size_t(b)] /= c.count[size_t(b)];
    return c;
}

}  // namespace

void write_eval_text(std::ostream& out, const EvalResult& r) {
    out << r.manifest << ": " << r.sequences << " sequences; scored on the held-out " << r.held_out << " ("
        << r.ambiguous << " of them ambiguous, left out); thresholds chosen on the other " << r.sequences - r.held_out
        << "\n";
    for (const MethodResult& m : r.methods) {
        const Scores& s = m.held_out;
        out << "\n" << m.name;
        if (m.thresholded) out << " (threshold " << m.threshold << ", chosen on the tuning split)";
        char cost[64];
        std::snprintf(cost, sizeof cost, "%.1f us CPU per frame", m.cpu_us_per_frame);
        out << "\n  " << s.scored() << " scored, accuracy " << pct(s.accuracy()) << " (balanced "
            << pct(s.balanced_accuracy()) << "), false flicker "
            << pct(s.false_flicker_rate()) << ", wrong frequency " << pct(s.wrong_frequency_rate()) << ", missed "
            << pct(s.miss_rate()) << ", " << cost << "\n";
        out << "  truth \\ answer   NONE     50     60  UNKNOWN\n";
        for (int t = 0; t < 3; ++t) {
            char line[96];
            std::snprintf(line, sizeof line, "  %-14s %6d %6d %6d %8d\n", kTruthNames[t], s.confusion[t][0],
                          s.confusion[t][1], s.confusion[t][2], s.confusion[t][3]);
            out << line;
        }
        for (const auto& [group, keys] : s.by) {
            out << "  " << padded(group + ":", 24);
            bool first = true;
            for (const auto& [key, tally] : keys) {
                out << (first ? "" : ", ") << key << " " << pct(tally.rate()) << " (" << tally.total << ")";
                first = false;
            }
            out << "\n";
        }
        write_every_frame_text(out, m);
    }
}

Json eval_to_json(const EvalResult& r) {
    Json j;
    j["manifest"] = r.manifest;
    j["holdout"] = r.holdout;
    j["sequences"] = r.sequences;
    j["held_out"] = r.held_out;
    j["ambiguous_held_out"] = r.ambiguous;
    j["methods"] = Json::array();
    for (const MethodResult& m : r.methods) {
        Json jm;
        jm["name"] = m.name;
        if (m.thresholded) jm["threshold"] = m.threshold;
        jm["cpu_us_per_frame"] = m.cpu_us_per_frame;
        jm["held_out"] = scores_to_json(m.held_out);
        jm["answers"] = Json::array();  // every sequence, in manifest order
        for (Answer a : m.answers) jm["answers"].push_back(answer_name(a));
        jm["every_frame"] = every_frame_to_json(m);
        const Curve c = curve_of(r, m);
        jm["detection_by_ripple"] = Json::array();
        for (int b = 0; b < kBins; ++b)
            jm["detection_by_ripple"].push_back({{"ripple_low", std::pow(10.0, kLogLow + (kLogHigh - kLogLow) * b / kBins)},
                                                 {"ripple_high", std::pow(10.0, kLogLow + (kLogHigh - kLogLow) * (b + 1) / kBins)},
                                                 {"sequences", c.count[size_t(b)]},
                                                 {"detection_rate", c.rate[size_t(b)]}});
        j["methods"].push_back(jm);
    }
    return j;
}

std::string eval_plot_svg(const EvalResult& r) {
    const double w = 900, h = 520, left = 70, right = 200, top = 50, bottom = 60;
    const double pw = w - left - right, ph = h - top - bottom;
    auto x_of = [&](double log_ripple) { return left + (log_ripple - kLogLow) / (kLogHigh - kLogLow) * pw; };
    auto y_of = [&](double rate) { return top + (1.0 - rate) * ph; };
    static const char* colours[] = {"#3b6ea8", "#d1495b", "#2a9d8f", "#e9a03b", "#6c4f9c", "#555555"};
    std::ostringstream s;
    char t[256];
    std::snprintf(t, sizeof t, "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%g\" height=\"%g\" font-family=\"sans-serif\" font-size=\"12\">\n", w, h);
    s << t << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    s << "<text x=\"" << left << "\" y=\"28\" font-size=\"15\">Detection rate (answer 50 or 60) against visible ripple, held-out sequences</text>\n";
    // Visibility limit and the ambiguous band.
    const double lo = std::log10(kVisibilityLimit / kAmbiguityFactor), hi = std::log10(kVisibilityLimit);
    std::snprintf(t, sizeof t, "<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\" fill=\"#eeeeee\"/>\n", x_of(lo), top, x_of(hi) - x_of(lo), ph);
    s << t;
    std::snprintf(t, sizeof t, "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"#888\" stroke-dasharray=\"4 3\"/>\n",
                  x_of(std::log10(kVisibilityLimit)), top, x_of(std::log10(kVisibilityLimit)), top + ph);
    s << t;
    s << "<rect x=\"" << left << "\" y=\"" << top << "\" width=\"" << pw << "\" height=\"" << ph << "\" fill=\"none\" stroke=\"black\"/>\n";
    for (int e = -3; e <= 0; ++e) {
        std::snprintf(t, sizeof t, "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\">%g %%</text>\n", x_of(e), top + ph + 18, 100.0 * std::pow(10.0, e));
        s << t;
        std::snprintf(t, sizeof t, "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"black\"/>\n", x_of(e), top + ph, x_of(e), top + ph + 5);
        s << t;
    }
    for (int k = 0; k <= 4; ++k) {
        std::snprintf(t, sizeof t, "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"end\">%d %%</text>\n", left - 6, y_of(k / 4.0) + 4, 25 * k);
        s << t;
    }
    s << "<text x=\"" << left + pw / 2 << "\" y=\"" << h - 15 << "\" text-anchor=\"middle\">visible ripple of the last frame, peak to peak / mean (grey: ambiguous band, dashed: limit)</text>\n";
    for (size_t m = 0; m < r.methods.size(); ++m) {
        const Curve c = curve_of(r, r.methods[m]);
        const char* colour = colours[m % 6];
        std::string points;
        for (int b = 0; b < kBins; ++b) {
            if (c.count[size_t(b)] == 0) continue;
            const double x = x_of(kLogLow + (kLogHigh - kLogLow) * (b + 0.5) / kBins), y = y_of(c.rate[size_t(b)]);
            std::snprintf(t, sizeof t, "%.1f,%.1f ", x, y);
            points += t;
            std::snprintf(t, sizeof t, "<circle cx=\"%.1f\" cy=\"%.1f\" r=\"3\" fill=\"%s\"/>\n", x, y, colour);
            s << t;
        }
        s << "<polyline points=\"" << points << "\" fill=\"none\" stroke=\"" << colour << "\" stroke-width=\"2\"/>\n";
        std::snprintf(t, sizeof t, "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"%s\" stroke-width=\"2\"/>\n", left + pw + 15, top + 20 + 22.0 * m, left + pw + 40, top + 20 + 22.0 * m, colour);
        s << t << "<text x=\"" << left + pw + 46 << "\" y=\"" << top + 24 + 22.0 * m << "\">" << r.methods[m].name << "</text>\n";
    }
    s << "</svg>\n";
    return s.str();
}

}  // namespace kevra_tool
