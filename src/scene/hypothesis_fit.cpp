#include "scene/hypothesis_fit.h"

#include <cstring>
#include <initializer_list>

#include "scene/derived_streams.h"
#include "scene/harmonic_projection.h"
#include "scene/scene_math.h"

namespace kevra_scene {

namespace {

constexpr int kSignalChannel = 1;
// Flat, and started with no harmonics: their fits stop after one iteration.
constexpr int kFlatChannels[3] = {0, 2, 3};

// Plain row means (weighting off), levels used as encoded (frame_ratio 1); the
// decision's own fields are left at zero, since only the fit is read.
// Started from the least-squares solution the fit has converged after two or
// three iterations; the limit of six bounds a harmonic that is only noise,
// whose phase can wander without changing the fundamental.
kevra_config scene_config(int32_t mains_frequency, int32_t lines_per_row, const HarmonicModel& start) {
    kevra_config c;
    std::memset(&c, 0, sizeof c);
    c.mains_frequency = mains_frequency;
    c.lines_per_row = lines_per_row;
    c.use_initial_values = 1;
    c.init_offset[kSignalChannel] = float(kDerivedLevelBase + start.offset);
    c.init_amplitude1[kSignalChannel] = float(start.amplitude[0]);
    c.init_amplitude2[kSignalChannel] = float(start.amplitude[1]);
    c.init_amplitude3[kSignalChannel] = float(start.amplitude[2]);
    for (int ch : kFlatChannels) c.init_offset[ch] = float(kDerivedLevelBase);
    c.init_phase1[kSignalChannel] = float(start.phase[0]);
    c.init_phase2[kSignalChannel] = float(start.phase[1]);
    c.init_phase3[kSignalChannel] = float(start.phase[2]);
    c.offset_step = 1.0f;
    c.phase_step = 1.0f;
    c.amplitude_step = 1.0f;
    c.convergence_exponent = 7;
    c.max_iterations = 5;
    return c;
}

// Model O - A cos(W (t + phase)): its fundamental's coefficient of e^{iWt} is
// -A e^{iW phase}.
Phasor fundamental(double amplitude, double phase_us, double rate) {
    const SinCos sc = scene_sincos(rate * phase_us);
    return {-amplitude * sc.cos, -amplitude * sc.sin};
}

bool finite(double x) { return x - x == 0.0; }

}  // namespace

void prepare_fit_streams(const FitBuffers& buffers, int row_num) {
    for (int ch : kFlatChannels) encode_flat_channel(buffers.sum_stream, buffers.count_stream, row_num, ch);
}

double ripple_rate(int32_t mains_frequency) { return 2.0 * kPi * 2.0 * double(mains_frequency) * 1e-6; }

SignalFit fit_signal(QORKEVRA& detector, int32_t mains_frequency, const FitTiming& timing, const double* signal,
                     const FitBuffers& buffers) {
    SignalFit out;
    const int rows = timing.row_num;
    const double rate = ripple_rate(mains_frequency);
    const double step = double(timing.line_time) * double(timing.lines_per_row);
    const double first_row = double(timing.start_time) + 0.5 * double(timing.exposure_time);
    const HarmonicModel start = project_harmonics(signal, rows, first_row, step, rate);
    if (!start.valid) return out;

    encode_channel(buffers.sum_stream, buffers.count_stream, rows, kSignalChannel, signal);

    float start_time = timing.start_time;
    kevra_parameter param;
    std::memset(&param, 0, sizeof param);
    param.ratio_table[0] = param.ratio_table[1] = param.ratio_table[2] = param.ratio_table[3] = 1.0f;
    param.row_num = rows;
    param.start_time = &start_time;
    param.tolerance_ref = 4.0f;
    param.exposure_time = timing.exposure_time;
    param.line_time = timing.line_time;
    kevra_statistic stat{buffers.sum_stream, buffers.count_stream};
    kevra_config config = scene_config(mains_frequency, timing.lines_per_row, start);
    kevra_fitting_result result;
    std::memset(&result, 0, sizeof result);
    result.stat_sum = buffers.sum;
    result.stat_count = buffers.count;
    result.stat_level = buffers.level;
    if (detector.KevrMain(&param, &stat, &config, &result) != KEVRA_STATUS_OK) return out;

    const int c = kSignalChannel;
    const double a1 = result.amplitude1[c], a2 = result.amplitude2[c], a3 = result.amplitude3[c];
    out.fundamental = fundamental(a1, result.phase1[c], rate);
    out.power = 0.5 * (a1 * a1 + a2 * a2 + a3 * a3);
    out.valid = finite(out.fundamental.re) && finite(out.fundamental.im) && finite(out.power);
    return out;
}

}  // namespace kevra_scene
