#include "detection.h"

#include <cmath>
#include <cstdio>
#include <limits>

#include "input_error.h"

namespace kevra_tool {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// The plain average the fit sees in the unweighted mode, in its float order.
std::vector<float> row_levels(const std::vector<uint32_t>& stat_sum, const std::vector<uint32_t>& stat_count,
                              int rows, int channel, float frame_ratio) {
    std::vector<float> out(static_cast<size_t>(rows));
    for (int r = 0; r < rows; ++r) {
        float s = 0.0f, n = 0.0f;
        for (int z = 0; z < 6; ++z) {
            const size_t w = size_t(r) * 24 + size_t(6 * channel + z);
            s += float(stat_sum[w]);
            n += float(stat_count[w]);
        }
        out[size_t(r)] = n == 0.0f ? kNaN : (frame_ratio * s) / n;
    }
    return out;
}

// offset - sum of A_h cos(2h * 2 pi f (t_i + phase_h)) with t_i the middle of
// the exposure of row i's first line.
std::vector<float> model_levels(const ChannelReport& fit, const Capture& c) {
    const double w = 3.14159265358979323846 * c.config.mains_frequency * 1e-6;
    const double row_step = double(c.parameter.line_time) * c.config.lines_per_row;
    const double t0 = double(c.start_time) + 0.5 * double(c.parameter.exposure_time);
    std::vector<float> out(size_t(c.parameter.row_num));
    for (size_t i = 0; i < out.size(); ++i) {
        const double t = t0 + double(i) * row_step;
        double m = fit.offset;
        for (int h = 0; h < 3; ++h) m -= fit.amplitude[h] * std::cos(4.0 * (h + 1) * w * (t + fit.phase[h]));
        out[i] = float(m);
    }
    return out;
}

void classify_range(DetectionReport& report, const kevra_config& config) {
    const float range = report.model_range;
    const float* t = config.range_threshold;
    report.band = int32_t(RangeBand::BelowThreshold);
    report.band_high = kNaN;  // no upper limit
    if (std::isnan(range)) {
        report.band = int32_t(RangeBand::NotANumber);
        return;
    }
    if (range < t[0]) {
        report.band_high = t[0];
        return;
    }
    int band = 4;
    for (int k = 0; k < 4; ++k) {
        if (range < t[k + 1]) {
            band = k;
            break;
        }
    }
    report.band = band;
    report.band_low = t[band];
    report.band_high = band < 4 ? t[band + 1] : kNaN;
    report.detect_ratio = config.detect_ratio[band];
    report.rows_required = int32_t(std::ceil(report.detect_ratio * float(report.row_num)));
}

}  // namespace

DetectionReport detect(QORKEVRA& detector, const Capture& capture, const std::string& name) {
    const int rows = capture.parameter.row_num;
    const size_t words = size_t(rows) * 24;
    kevra_parameter parameter = capture.parameter;
    float start_time = capture.start_time;
    parameter.start_time = &start_time;
    kevra_config config = capture.config;
    std::vector<uint32_t> sum_stream = capture.sum_stream, count_stream = capture.count_stream;
    kevra_statistic statistic{sum_stream.data(), count_stream.data()};
    std::vector<uint32_t> stat_sum(words), stat_count(words);
    std::vector<float> stat_level(words);
    kevra_fitting_result result{};
    result.stat_level = stat_level.data();
    result.stat_sum = stat_sum.data();
    result.stat_count = stat_count.data();

    const int32_t status = detector.KevrMain(&parameter, &statistic, &config, &result);
    if (status != KEVRA_STATUS_OK) {
        char code[16];
        std::snprintf(code, sizeof code, "0x%08x", unsigned(status));
        throw InputError(name, "", std::string("the detector refused the capture (status ") + code + ")");
    }
    kevra_confidence_idx_input input = capture.confidence_input;
    kevra_confidence_idx_output output{};
    kevra_confidence_idx_debug_output debug{};
    debug.enable = 1;
    detector.ConfidenceIndex(&input, &result, &output, &debug);

    DetectionReport report;
    report.capture = name;
    report.row_num = rows;
    report.mains_frequency = config.mains_frequency;
    report.lines_per_row = config.lines_per_row;
    report.exposure_time = capture.parameter.exposure_time;
    report.line_time = capture.parameter.line_time;
    const float frame_ratio = parameter.ratio_table[parameter.ratio_index + 1] / parameter.ratio_table[parameter.ratio_index];
    for (int c = 0; c < 4; ++c) {
        ChannelReport& ch = report.channels[size_t(c)];
        ch.offset = result.offset[c];
        ch.amplitude = {result.amplitude1[c], result.amplitude2[c], result.amplitude3[c]};
        ch.phase = {result.phase1[c], result.phase2[c], result.phase3[c]};
        ch.iterations = parameter.fit_iterations[c];
        ch.row_level = row_levels(stat_sum, stat_count, rows, c, frame_ratio);
        ch.model = model_levels(ch, capture);
    }
    // The detector tracks the range from a maximum of 0 and a minimum of 10,
    // NaN-propagating; so does the report.
    report.model_max = 0.0f;
    report.model_min = 10.0f;
    for (float m : report.channels[1].model) {
        report.model_max = std::isnan(m) || m > report.model_max ? m : report.model_max;
        report.model_min = std::isnan(m) || m < report.model_min ? m : report.model_min;
        if (std::isnan(m)) break;
    }
    report.model_range = report.model_max - report.model_min;
    classify_range(report, config);
    report.flicker_detected = result.flicker_detected != 0;
    report.confidence_index = output.confidence_idx[0];
    report.confidence_debug = debug;
    return report;
}

}  // namespace kevra_tool
