#include "scene/scene_classifier.h"

#include <cmath>
#include <cstring>

#include "scene/answer_hold.h"
#include "scene/hypothesis_fit.h"
#include "scene/probe_planner.h"
#include "scene/row_profile.h"
#include "scene/row_shift.h"
#include "scene/scene_math.h"
#include "scene/scene_settings.h"

namespace kevra_scene {

namespace {

constexpr int32_t kMains[2] = {50, 60};
// 100 ms holds a whole number of periods of both ripples (10 x 10 ms, 12 x
// 8.33 ms): time reduced modulo it keeps every phase and fits a float's
// microseconds to within 0.008 us.
constexpr int64_t kPhaseCycleNs = 100000000;
// Frames further apart than this are not compared: the grid's frequency
// wanders by a few tenths of a percent, which moves the ripple's phase by a
// tenth of a period within a quarter second.
constexpr uint64_t kLongestPairNs = 250000000;
// |G| of a pair relative to the larger exposure's sinc: 2 sin(pi x) for a
// ripple that moved x of a period, 0.25 at x = 0.04.
constexpr double kInformative = 0.25;
// With the camera moving, part of that shift comes from following the
// picture, and what the picture leaves behind turns by the same amount per
// frame: it must turn far enough (0.08 of a period) to be told from a lamp.
constexpr double kInformativeMoving = 0.5;
// Fewer rows than this cannot separate an offset and three harmonics.
constexpr int32_t kFewestRows = 16;
// A change standing this many standard errors above the noise at a frequency
// whose ripple stood still is no accident of noise.
constexpr double kSurpriseChiSquare = 100.0;
// Floor of the per-row noise of a log change (0.01 %), so that a perfectly
// steady synthetic scene does not claim infinite certainty.
constexpr double kNoiseFloor = 1e-8;

bool frame_is_valid(const kevra_scene_frame* f) {
    if (f == nullptr || f->sum_stream == nullptr || f->count_stream == nullptr) return false;
    if (f->row_num < 1 || f->row_num > KEVRA_MAX_ROWS || f->lines_per_row < 1) return false;
    return std::isfinite(f->exposure_time) && f->exposure_time >= 0.0f && std::isfinite(f->line_time) &&
           f->line_time > 0.0f;
}

// Mean and variance of the finite entries.
void moments(const double* v, int n, double& mean, double& variance, int& used) {
    double sum = 0.0;
    used = 0;
    for (int r = 0; r < n; ++r)
        if (v[r] == v[r]) {
            sum += v[r];
            ++used;
        }
    mean = used > 0 ? sum / double(used) : 0.0;
    double squares = 0.0;
    for (int r = 0; r < n; ++r)
        if (v[r] == v[r]) squares += (v[r] - mean) * (v[r] - mean);
    variance = used > 0 ? squares / double(used) : 0.0;
}

// The frame's profile less its least-squares quadratic: a picture's slow
// brightness change down the frame leaks into every harmonic of a fit over a
// few ripple periods, while a ripple of three or more periods hardly projects
// onto a quadratic.
void remove_quadratic_trend(const double* v, int n, double* out) {
    double m[3][3] = {}, b[3] = {};
    for (int r = 0; r < n; ++r) {
        if (v[r] != v[r]) continue;
        const double x = (2.0 * r - (n - 1)) / double(n);
        const double basis[3] = {1.0, x, x * x};
        for (int i = 0; i < 3; ++i) {
            b[i] += basis[i] * v[r];
            for (int j = 0; j < 3; ++j) m[i][j] += basis[i] * basis[j];
        }
    }
    // Cramer's rule on the 3x3 normal equations.
    const double det = m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                       m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                       m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
    double c[3] = {};
    if (det != 0.0) {
        for (int k = 0; k < 3; ++k) {
            double a[3][3];
            for (int i = 0; i < 3; ++i)
                for (int j = 0; j < 3; ++j) a[i][j] = j == k ? b[i] : m[i][j];
            c[k] = (a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) - a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
                    a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0])) /
                   det;
        }
    }
    for (int r = 0; r < n; ++r) {
        const double x = (2.0 * r - (n - 1)) / double(n);
        out[r] = v[r] - (c[0] + c[1] * x + c[2] * x * x);
    }
}

// Time from one timestamp to a later one. Any two int64 timestamps are less
// than 2^64 apart, so the unsigned difference is exact where a signed one
// could overflow.
uint64_t interval_ns(int64_t earlier, int64_t later) { return uint64_t(later) - uint64_t(earlier); }

float reduced_start_time(int64_t timestamp_ns, int32_t lines_per_row, float line_time) {
    int64_t r = timestamp_ns % kPhaseCycleNs;
    if (r < 0) r += kPhaseCycleNs;
    // A statistic row's mean line lies (lines_per_row - 1) / 2 lines below its first.
    return float(double(r) * 1e-3 + 0.5 * double(lines_per_row - 1) * double(line_time));
}

// A pair in which the ripple stood still predicts no change at its
// frequency; a visible, well-measured one means the light itself changed. It
// must be a change a lamp could make through these exposures (no lamp ripples
// by more than its whole light), and not one a moving picture leaves behind.
bool surprising(const PairMeasure& pair) {
    const double q2 = pair.q.re * pair.q.re + pair.q.im * pair.q.im;
    return !pair.informative && !pair.camera_moved && q2 >= kSurpriseChiSquare * pair.variance &&
           4.0 * q2 >= kVisibleRipple * kVisibleRipple && q2 <= pair.sinc * pair.sinc;
}

double fold_shift(double shift_us, double period_us) {
    double f = shift_us / period_us;
    f -= std::floor(f);
    return f > 0.5 ? 1.0 - f : f;
}

}  // namespace

SceneClassifier::SceneClassifier() : detector_(QORKEVRA::createInstance()), settings_(default_settings()) { Reset(); }

SceneClassifier::~SceneClassifier() { detector_->destroyInstance(detector_); }

void SceneClassifier::destroyInstance(QORKEVRASCENE* instance) { delete instance; }

void SceneClassifier::Reset() {
    request_ = kevra_scene_request{sizeof(kevra_scene_request), 0, 0};
    has_previous_ = false;
    frames_ = 0;
    for (HypothesisEvidence& e : evidence_) e.clear();
    hold_.reset();
    planner_.reset();
}

int32_t SceneClassifier::SetSettings(const kevra_scene_settings* settings) {
    kevra_scene_settings next = settings_;
    if (!read_settings(settings, next)) return KEVRA_STATUS_INVALID_ARGUMENT;
    settings_ = next;
    return KEVRA_STATUS_OK;
}

int32_t SceneClassifier::GetSettings(kevra_scene_settings* settings) const {
    if (!record_size_ok(settings)) return KEVRA_STATUS_INVALID_ARGUMENT;
    copy_record(settings_, settings);
    return KEVRA_STATUS_OK;
}

int32_t SceneClassifier::GetTimingRequest(kevra_scene_request* request) const {
    if (!record_size_ok(request)) return KEVRA_STATUS_INVALID_ARGUMENT;
    copy_record(request_, request);
    return KEVRA_STATUS_OK;
}

bool SceneClassifier::pairs_with_previous(const FrameTiming& now) const {
    return has_previous_ && now.row_num == previous_.row_num && now.lines_per_row == previous_.lines_per_row &&
           now.line_time == previous_.line_time && interval_ns(previous_.timestamp_ns, now.timestamp_ns) <= kLongestPairNs;
}

int32_t SceneClassifier::ProcessFrame(const kevra_scene_frame* frame, kevra_scene_result* result) {
    if (!frame_is_valid(frame) || result == nullptr) return KEVRA_STATUS_INVALID_ARGUMENT;
    if (has_previous_ && frame->timestamp_ns <= previous_.timestamp_ns) return KEVRA_STATUS_INVALID_ARGUMENT;

    const FrameTiming now{frame->timestamp_ns, frame->exposure_time, frame->line_time, frame->row_num,
                          frame->lines_per_row};
    const int rows = now.row_num;
    double* profile = profile_[1 - latest_];
    const int rows_with_data = row_log_levels(frame->sum_stream, frame->count_stream, rows, profile);
    const bool paired = pairs_with_previous(now);
    if (!paired) {
        for (HypothesisEvidence& e : evidence_) e.clear();
        exposures_.clear();
        hold_.reset();
        planner_.reset();
    }
    exposures_.add(now.exposure_time);

    remove_quadratic_trend(profile, rows, frame_);
    double change_variance = 0.0;
    int change_rows = 0;
    double camera_shift = 0.0;  // rows the picture moved down since the previous frame
    if (paired) {
        const double* before = profile_[latest_];
        const double row_time = double(now.line_time) * double(now.lines_per_row);
        const double rates[2] = {ripple_rate(kMains[0]) * row_time, ripple_rate(kMains[1]) * row_time};
        camera_shift = estimate_row_shift(profile, before, rows, rates, shift_work_);
        shifted_change(profile, before, rows, camera_shift, change_);
        double change_mean = 0.0;
        moments(change_, rows, change_mean, change_variance, change_rows);
    }
    const bool usable = rows >= kFewestRows && rows_with_data >= kFewestRows;
    if (!usable) change_rows = 0;

    HypothesisSummary summary[2];
    double sinc_bound[2];
    HoldFacts hold;
    hold.probing = settings_.probe != 0;
    bool added[2] = {false, false};
    Phasor single[2];
    double sinc_latest[2];
    ProbeFacts probe{now.timestamp_ns, paired, paired ? int64_t(interval_ns(previous_.timestamp_ns, now.timestamp_ns)) : 0,
                     KEVRA_SCENE_UNKNOWN, KEVRA_SCENE_UNKNOWN, false, {0, 0}, {false, false}};
    const FitTiming timing{rows, now.lines_per_row, now.line_time, now.exposure_time,
                           reduced_start_time(now.timestamp_ns, now.lines_per_row, now.line_time)};
    const FitBuffers buffers{sum_stream_, count_stream_, unpacked_sum_, unpacked_count_, unpacked_level_};
    if (usable) prepare_fit_streams(buffers, rows);
    for (int h = 0; h < 2; ++h) {
        const double rate = ripple_rate(kMains[h]);
        const double sinc_now = scene_sinc(0.5 * rate * double(now.exposure_time));
        // No lamp shows more than its whole light as ripple (relative amplitude
        // 1) through the most revealing exposure of the frames remembered.
        double largest = 0.0;
        for (int j = 0; j < exposures_.size(); ++j)
            largest = std::fmax(largest, std::fabs(scene_sinc(0.5 * rate * double(exposures_[j]))));
        sinc_bound[h] = 2.0 * largest;
        if (paired && change_rows >= kFewestRows) {
            const SignalFit change = fit_signal(*detector_, kMains[h], timing, change_, buffers);
            if (change.valid) {
                const double sinc_before = scene_sinc(0.5 * rate * double(previous_.exposure_time));
                // The earlier row the change compares with was exposed camera_shift
                // rows earlier still.
                const double shift_us = double(interval_ns(previous_.timestamp_ns, now.timestamp_ns)) * 1e-3 +
                                        0.5 * (double(now.exposure_time) - double(previous_.exposure_time)) +
                                        camera_shift * double(now.line_time) * double(now.lines_per_row);
                const SinCos turn = scene_sincos(-rate * shift_us);
                PairMeasure pair;
                pair.q = change.fundamental;
                pair.g = {sinc_now - sinc_before * turn.cos, -sinc_before * turn.sin};
                const double residual = change_variance - change.power;
                const double row_noise = residual > kNoiseFloor ? residual : kNoiseFloor;
                pair.variance = 4.0 * row_noise / double(change_rows);
                pair.shift = fold_shift(shift_us, 2.0 * kPi / rate);
                pair.power = change.power;
                pair.camera_moved = camera_shift != 0.0;
                pair.sinc = std::fmax(std::fabs(sinc_now), std::fabs(sinc_before));
                const double g_abs = std::sqrt(pair.g.re * pair.g.re + pair.g.im * pair.g.im);
                pair.informative = g_abs >= (pair.camera_moved ? kInformativeMoving : kInformative) * pair.sinc;
                evidence_[h].add(pair);
                added[h] = true;
                hold.reach[h] = 2.0 * g_abs;
            }
        }
        const SignalFit own = usable ? fit_signal(*detector_, kMains[h], timing, frame_, buffers) : SignalFit{};
        single[h] = own.valid ? own.fundamental : Phasor{HUGE_VAL, 0.0};
        sinc_latest[h] = sinc_now;
    }
    for (int h = 0; h < 2; ++h) summary[h] = combine_stretches(evidence_[h], single[h]);
    for (int h = 0; h < 2; ++h) {
        // Beside a visible lamp of the other frequency, its changes leak into
        // this fit.
        hold.surprise[h] = added[h] && hold_.answer() != kMains[1 - h] && summary[1 - h].ripple < kVisibleRipple &&
                           surprising(evidence_[h].latest());
        // Whatever the earlier pairs said of this frequency no longer holds.
        if (hold.surprise[h]) {
            evidence_[h].clear();
            summary[h] = combine_stretches(evidence_[h], single[h]);
        }
        hold.lamp[h] = summary[h].lamp;
        hold.single_pair[h] = summary[h].pairs == 1;
        probe.moved_pairs[h] = evidence_[h].informative();
        probe.hidden[h] = 2.0 * std::fabs(sinc_latest[h]) < kVisibleRipple;
    }

    latest_ = 1 - latest_;
    previous_ = now;
    has_previous_ = true;
    frames_ = paired ? frames_ + 1 : 1;

    const Verdict alone = frame_verdict(summary, sinc_bound);
    const Verdict verdict = hold_.update(alone, hold);
    probe.answer = verdict.answer;
    probe.frame_answer = alone.answer;
    probe.frame_single_pair = alone.answer == kMains[0] ? hold.single_pair[0] : alone.answer == kMains[1] && hold.single_pair[1];
    request_ = planner_.plan(probe, settings_);
    result->scene_flicker = verdict.answer;
    result->confidence = float(verdict.confidence);
    result->ripple_period_us = verdict.answer == KEVRA_SCENE_50HZ   ? 10000.0f
                               : verdict.answer == KEVRA_SCENE_60HZ ? float(1e6 / 120.0)
                                                                    : 0.0f;
    result->frames = frames_;
    for (int h = 0; h < 2; ++h) {
        kevra_scene_evidence& e = result->evidence[h];
        std::memset(&e, 0, sizeof e);
        e.mains_frequency = kMains[h];
        e.pairs = summary[h].pairs;
        e.ripple = float(summary[h].ripple);
        e.fit = float(summary[h].fit);
        e.drift = float(summary[h].shift);
        e.single_frame = float(summary[h].single_frame);
        e.score = float(summary[h].explained);
    }
    return KEVRA_STATUS_OK;
}

}  // namespace kevra_scene

QORKEVRASCENE* QORKEVRASCENE::createInstance() { return new kevra_scene::SceneClassifier(); }

QORKEVRASCENE::~QORKEVRASCENE() = default;
