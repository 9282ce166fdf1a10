#include "scene/scene_classifier.h"

#include <cmath>
#include <cstring>

#include "scene/answer_hold.h"
#include "scene/harmonic_projection.h"
#include "scene/probe_planner.h"
#include "scene/profile_trend.h"
#include "scene/row_profile.h"
#include "scene/row_shift.h"
#include "scene/scene_limits.h"
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

// Half the mean square step between neighbouring rows: the noise energy per
// row of white noise, little of a smooth ripple or of a few edges.
double step_noise(const double* v, int rows) {
    double sum = 0.0;
    int n = 0;
    for (int r = 1; r < rows; ++r) {
        const double d = v[r] - v[r - 1];
        if (d == d) {
            sum += d * d;
            ++n;
        }
    }
    return n > 0 ? 0.5 * sum / double(n) : 0.0;
}

// A pair in which the ripple stood still predicts no change at its
// frequency; a visible, well-measured one means the light itself changed. It
// must be a change a lamp could make through these exposures (no lamp ripples
// by more than its whole light), and not one a moving picture leaves behind.
bool surprising(const PairMeasure& pair) {
    const double q2 = pair.q.re * pair.q.re + pair.q.im * pair.q.im;
    const double visible = kDecision.visible_ripple;
    return !pair.informative && !pair.camera_moved && q2 >= kDecision.surprise_chi_square * pair.variance &&
           4.0 * q2 >= visible * visible && q2 <= pair.sinc * pair.sinc;
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
    hold_.reset();
    planner_.reset();
    forget_exposures();
}

void SceneClassifier::forget_exposures() {
    for (int h = 0; h < 2; ++h) {
        reveal_max_[h] = 0.0;
        unresolved_[h] = false;
    }
}

// A frame whose exposure hid a lamp says nothing of one an earlier exposure
// could have shown: until pairs rule that lamp out at the most revealing
// exposure seen, neither hidden exposures nor pairs and frames taken through
// them do.
void SceneClassifier::track_exposures(const HoldFacts& hold, HypothesisSummary (&summary)[2],
                                      double (&sinc_bound)[2]) {
    const double visible = kDecision.visible_ripple;
    for (int h = 0; h < 2; ++h) {
        reveal_max_[h] = std::fmax(reveal_max_[h], hold.reveal[h]);
        if (hold.reveal[h] >= visible) unresolved_[h] = true;
        // A lamp lighting one zone is diluted in the whole frame: every zone
        // must rule it out.
        const double bound = std::fmax(summary[h].lamp_upper, summary[h].zone_lamp_upper);
        if (summary[h].pairs > 0 && std::fmin(bound, 1.0) * reveal_max_[h] < kDecision.none_ripple) unresolved_[h] = false;
        if (!unresolved_[h]) continue;
        sinc_bound[h] = std::fmax(sinc_bound[h], reveal_max_[h]);
        summary[h].ripple_upper =
            std::fmax(summary[h].ripple_upper, std::fmin(summary[h].lamp_upper, 1.0) * reveal_max_[h]);
        if (hold.reveal[h] < visible) summary[h].zone_single_frame = HUGE_VAL;
    }
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

PairMeasure SceneClassifier::measure_pair(double rate, const FrameTiming& now, double camera_shift, bool moved,
                                          const HarmonicFit& change) const {
    const double sinc_now = scene_sinc(0.5 * rate * double(now.exposure_time));
    const double sinc_before = scene_sinc(0.5 * rate * double(previous_.exposure_time));
    // The earlier row the change compares with was exposed camera_shift rows
    // earlier still.
    const double shift_us = double(interval_ns(previous_.timestamp_ns, now.timestamp_ns)) * 1e-3 +
                            0.5 * (double(now.exposure_time) - double(previous_.exposure_time)) +
                            camera_shift * double(now.line_time) * double(now.lines_per_row);
    const SinCos turn = scene_sincos(-rate * shift_us);
    PairMeasure pair;
    pair.g = {sinc_now - sinc_before * turn.cos, -sinc_before * turn.sin};
    pair.q = change.fundamental;
    pair.variance = 4.0 * (change.residual > kNoiseFloor ? change.residual : kNoiseFloor) / double(change.used);
    pair.shift = fold_shift(shift_us, 2.0 * kPi / rate);
    pair.power = change.power;
    pair.shape = change.variance > 0.0 ? std::fmin(1.0, change.power / change.variance) : 0.0;
    pair.camera_moved = moved;
    pair.sinc = std::fmax(std::fabs(sinc_now), std::fabs(sinc_before));
    pair.informative = std::sqrt(pair.g.re * pair.g.re + pair.g.im * pair.g.im) >=
                       (pair.camera_moved ? kDecision.informative_moving : kDecision.informative) * pair.sinc;
    for (int z = 0; z < kZones; ++z) {
        const HarmonicFit f = project_harmonics(harmonic_rows_, change_normal_, zone_change_[z]);
        ZoneMeasure& m = pair.zone[z];
        m.valid = f.valid && f.used >= kFewestRows;
        if (!m.valid) continue;
        const double row_noise = f.residual > kNoiseFloor ? f.residual : kNoiseFloor;
        m.q = f.fundamental;
        m.variance = 4.0 * row_noise / double(f.used);
        m.shape = f.variance > 0.0 ? std::fmin(1.0, f.power / f.variance) : 0.0;
        m.residual = f.residual;
        m.noise = zone_noise_[z];
    }
    return pair;
}

// Peak to peak of the zone whose own profile shows most at this frequency.
double SceneClassifier::zone_single_frame(const double (*zones)[KEVRA_MAX_ROWS], int rows) {
    if (!zone_frames_ready_)
        for (int z = 0; z < kZones; ++z) remove_quadratic_trend(zones[z], rows, zone_frame_[z]);
    zone_frames_ready_ = true;
    double most = 0.0;
    for (int z = 0; z < kZones; ++z) {
        const HarmonicFit f = project_harmonics(harmonic_rows_, frame_normal_, zone_frame_[z]);
        if (f.valid) most = std::fmax(most, 2.0 * std::sqrt(f.fundamental.re * f.fundamental.re +
                                                            f.fundamental.im * f.fundamental.im));
    }
    return most;
}

int32_t SceneClassifier::ProcessFrame(const kevra_scene_frame* frame, kevra_scene_result* result) {
    if (!frame_is_valid(frame) || result == nullptr) return KEVRA_STATUS_INVALID_ARGUMENT;
    if (has_previous_ && !later_frame(previous_.timestamp_ns, frame->timestamp_ns)) return KEVRA_STATUS_INVALID_ARGUMENT;

    const FrameTiming now{frame->timestamp_ns, frame->exposure_time, frame->line_time, frame->row_num,
                          frame->lines_per_row};
    const int rows = now.row_num;
    double* profile = profile_[1 - latest_];
    double(*zones)[KEVRA_MAX_ROWS] = zone_profile_[1 - latest_];
    const int rows_with_data = row_log_levels(frame->sum_stream, frame->count_stream, rows, profile);
    zone_log_levels(frame->sum_stream, frame->count_stream, rows, zones);
    const bool paired = pairs_with_previous(now);
    if (!paired) {
        for (HypothesisEvidence& e : evidence_) e.clear();
        exposures_.clear();
        hold_.reset();
        planner_.reset();
        forget_exposures();
    }
    exposures_.add(now.exposure_time);

    remove_quadratic_trend(profile, rows, frame_);
    zone_frames_ready_ = false;
    const double row_time = double(now.line_time) * double(now.lines_per_row);
    double camera_shift = 0.0;  // rows the picture moved down since the previous frame
    bool moved = false;         // the picture, or part of it, moved
    int change_rows = 0;
    if (paired) {
        const double* before = profile_[latest_];
        const double rates[2] = {ripple_rate(kMains[0]) * row_time, ripple_rate(kMains[1]) * row_time};
        camera_shift = estimate_row_shift(profile, before, rows, rates, shift_work_);
        // Motion that is not the whole picture's is not followed, but its
        // pairs still need what a moving camera's need.
        moved = camera_shift != 0.0;
        if (moved && !shift_is_global(zones, zone_profile_[latest_], kZones, rows, camera_shift, shift_work_))
            camera_shift = 0.0;
        shifted_change(profile, before, rows, camera_shift, change_);
        for (int z = 0; z < kZones; ++z) {
            shifted_change(zones[z], zone_profile_[latest_][z], rows, camera_shift, zone_change_[z]);
            zone_noise_[z] = step_noise(zone_change_[z], rows);
        }
        for (int r = 0; r < rows; ++r) change_rows += change_[r] == change_[r];
    }
    const bool usable = rows >= kFewestRows && rows_with_data >= kFewestRows;
    if (!usable) change_rows = 0;

    HypothesisSummary summary[2];
    double sinc_bound[2];
    Phasor single[2];
    double zone_single[2] = {HUGE_VAL, HUGE_VAL};  // unmeasured: rules nothing out
    bool added[2] = {false, false};
    HoldFacts hold;
    hold.probing = settings_.probe != 0;
    ProbeFacts probe{};
    probe.timestamp_ns = now.timestamp_ns;
    probe.paired = paired;
    probe.interval_ns = paired ? int64_t(interval_ns(previous_.timestamp_ns, now.timestamp_ns)) : 0;
    const double first_row = double(reduced_start_time(now.timestamp_ns, now.lines_per_row, now.line_time)) +
                             0.5 * double(now.exposure_time);
    for (int h = 0; h < 2; ++h) {
        const double rate = ripple_rate(kMains[h]);
        // No lamp shows more than its whole light as ripple (relative amplitude
        // 1) through the most revealing exposure of the frames remembered.
        double largest = 0.0;
        for (int j = 0; j < exposures_.size(); ++j)
            largest = std::fmax(largest, std::fabs(scene_sinc(0.5 * rate * double(exposures_[j]))));
        sinc_bound[h] = 2.0 * largest;
        hold.reveal[h] = 2.0 * std::fabs(scene_sinc(0.5 * rate * double(now.exposure_time)));
        probe.hidden[h] = hold.reveal[h] < kDecision.visible_ripple;
        single[h] = Phasor{HUGE_VAL, 0.0};
        if (!usable) continue;
        harmonic_rows(harmonic_rows_, rows, first_row, row_time, rate);
        if (paired && change_rows >= kFewestRows) {
            harmonic_normal(change_normal_, harmonic_rows_, change_);
            const HarmonicFit change = project_harmonics(harmonic_rows_, change_normal_, change_);
            if (change.valid) {
                const PairMeasure pair = measure_pair(rate, now, camera_shift, moved, change);
                evidence_[h].add(pair);
                added[h] = true;
                hold.reach[h] = 2.0 * std::sqrt(pair.g.re * pair.g.re + pair.g.im * pair.g.im);
            }
        }
        harmonic_normal(frame_normal_, harmonic_rows_, frame_);
        const HarmonicFit own = project_harmonics(harmonic_rows_, frame_normal_, frame_);
        if (own.valid) single[h] = own.fundamental;
        // The zones matter only where the whole frame shows too little to
        // rule a lamp out: the largest zone shows at least as much.
        const double whole = 2.0 * std::sqrt(own.fundamental.re * own.fundamental.re +
                                             own.fundamental.im * own.fundamental.im);
        zone_single[h] = own.valid && whole >= 0.5 * kDecision.visible_ripple ? whole : zone_single_frame(zones, rows);
    }
    combine_stretches(evidence_, single, zone_single, summary);
    for (int h = 0; h < 2; ++h) {
        // Beside a visible lamp of the other frequency, its changes leak into
        // this fit.
        hold.surprise[h] = added[h] && hold_.answer() != kMains[1 - h] &&
                           summary[1 - h].ripple < kDecision.visible_ripple && surprising(evidence_[h].latest());
        // Whatever the earlier pairs said of this frequency no longer holds.
        if (hold.surprise[h]) evidence_[h].clear();
    }
    if (hold.surprise[0] || hold.surprise[1]) combine_stretches(evidence_, single, zone_single, summary);
    track_exposures(hold, summary, sinc_bound);
    for (int h = 0; h < 2; ++h) {
        hold.lamp[h] = summary[h].lamp;
        hold.lamp_upper[h] = summary[h].lamp_upper;
        hold.pairs[h] = summary[h].pairs;
        // Where the exposure hides this ripple no probe can confirm it.
        hold.single_pair[h] = summary[h].pairs == 1 && hold.reveal[h] >= kDecision.visible_ripple;
        probe.moved_pairs[h] = evidence_[h].informative();
    }

    latest_ = 1 - latest_;
    previous_ = now;
    has_previous_ = true;
    // Saturates: a camera may run for months.
    frames_ = !paired ? 1 : frames_ < INT32_MAX ? frames_ + 1 : frames_;

    const Verdict alone = frame_verdict(summary, sinc_bound);
    const Verdict verdict = hold_.update(alone, hold);
    probe.answer = verdict.answer;
    probe.frame_answer = alone.answer;
    probe.frame_single_pair = (alone.answer == kMains[0] && hold.single_pair[0]) ||
                              (alone.answer == kMains[1] && hold.single_pair[1]);
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
