#include "scene/scene_classifier.h"

#include <cmath>
#include <cstring>

#include "scene/harmonic_projection.h"
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
// A frame's readout and exposure span at most this long (10 s): beyond it the
// row times lose the precision a ripple's phase needs.
constexpr double kLongestFrameUs = 1e7;
// Floor of the per-row noise of a log change (0.01 %), so that a perfectly
// steady synthetic scene does not claim infinite certainty.
constexpr double kNoiseFloor = 1e-8;

bool frame_is_valid(const kevra_scene_frame* f) {
    if (f == nullptr || f->sum_stream == nullptr || f->count_stream == nullptr) return false;
    if (f->row_num < 1 || f->row_num > KEVRA_MAX_ROWS || f->lines_per_row < 1) return false;
    if (!(f->exposure_time > 0.0f && f->line_time > 0.0f)) return false;  // NaN fails too
    const double span = double(f->row_num) * double(f->lines_per_row) * double(f->line_time) + double(f->exposure_time);
    return span <= kLongestFrameUs;  // infinity fails too
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

// After the previous frame, by an interval that an int64 holds.
bool later_frame(int64_t previous, int64_t now) {
    return now > previous && interval_ns(previous, now) <= uint64_t(INT64_MAX);
}

// Angular frequency of the ripple, radians per us.
double ripple_rate(int32_t mains_frequency) { return 2.0 * kPi * 2.0 * double(mains_frequency) * 1e-6; }

float reduced_start_time(int64_t timestamp_ns, int32_t lines_per_row, float line_time) {
    int64_t r = timestamp_ns % kPhaseCycleNs;
    if (r < 0) r += kPhaseCycleNs;
    // A statistic row's mean line lies (lines_per_row - 1) / 2 lines below its first.
    return float(double(r) * 1e-3 + 0.5 * double(lines_per_row - 1) * double(line_time));
}

double fold_shift(double shift_us, double period_us) {
    double f = shift_us / period_us;
    f -= std::floor(f);
    return f > 0.5 ? 1.0 - f : f;
}

}  // namespace

SceneClassifier::SceneClassifier() : settings_(default_settings()) { Reset(); }

SceneClassifier::~SceneClassifier() = default;

void SceneClassifier::destroyInstance(QORKEVRASCENE* instance) { delete instance; }

void SceneClassifier::Reset() {
    request_ = kevra_scene_request{sizeof(kevra_scene_request), 0, 0};
    has_previous_ = false;
    frames_ = 0;
    for (HypothesisEvidence& e : evidence_) e.clear();
    hysteresis_.reset();
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
    if (has_previous_ && !later_frame(previous_.timestamp_ns, frame->timestamp_ns)) return KEVRA_STATUS_INVALID_ARGUMENT;

    const FrameTiming now{frame->timestamp_ns, frame->exposure_time, frame->line_time, frame->row_num,
                          frame->lines_per_row};
    const int rows = now.row_num;
    double* profile = profile_[1 - latest_];
    const int rows_with_data = row_log_levels(frame->sum_stream, frame->count_stream, rows, profile);
    const bool paired = pairs_with_previous(now);
    if (!paired) {
        for (HypothesisEvidence& e : evidence_) e.clear();
        exposures_.clear();
        hysteresis_.reset();
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
    const double row_time = double(now.line_time) * double(now.lines_per_row);
    const double first_row = double(reduced_start_time(now.timestamp_ns, now.lines_per_row, now.line_time)) +
                             0.5 * double(now.exposure_time);
    for (int h = 0; h < 2; ++h) {
        const double rate = ripple_rate(kMains[h]);
        const double sinc_now = scene_sinc(0.5 * rate * double(now.exposure_time));
        // No lamp shows more than its whole light as ripple (relative amplitude
        // 1) through the most revealing exposure of the frames remembered.
        double largest = 0.0;
        for (int j = 0; j < exposures_.size(); ++j)
            largest = std::fmax(largest, std::fabs(scene_sinc(0.5 * rate * double(exposures_[j]))));
        sinc_bound[h] = 2.0 * largest;
        if (usable) harmonic_rows(harmonic_rows_, rows, first_row, row_time, rate);
        if (paired && change_rows >= kFewestRows) {
            harmonic_normal(change_normal_, harmonic_rows_, change_);
            const HarmonicFit change = project_harmonics(harmonic_rows_, change_normal_, change_);
            if (change.valid) {
                const double sinc_before = scene_sinc(0.5 * rate * double(previous_.exposure_time));
                // The earlier row the change compares with was exposed camera_shift
                // rows earlier still.
                const double shift_us = double(interval_ns(previous_.timestamp_ns, now.timestamp_ns)) * 1e-3 +
                                        0.5 * (double(now.exposure_time) - double(previous_.exposure_time)) +
                                        camera_shift * row_time;
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
                pair.informative = std::sqrt(pair.g.re * pair.g.re + pair.g.im * pair.g.im) >=
                                   (pair.camera_moved ? kInformativeMoving : kInformative) * pair.sinc;
                evidence_[h].add(pair);
            }
        }
        HarmonicFit own;
        if (usable) {
            harmonic_normal(frame_normal_, harmonic_rows_, frame_);
            own = project_harmonics(harmonic_rows_, frame_normal_, frame_);
        }
        summary[h] = combine_stretches(evidence_[h], own.valid ? own.fundamental : Phasor{HUGE_VAL, 0.0});
    }

    latest_ = 1 - latest_;
    previous_ = now;
    has_previous_ = true;
    // Saturates: a camera may run for months.
    frames_ = !paired ? 1 : frames_ < INT32_MAX ? frames_ + 1 : frames_;

    const Verdict verdict = hysteresis_.update(frame_verdict(summary, sinc_bound));
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
