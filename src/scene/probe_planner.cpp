#include "scene/probe_planner.h"

namespace kevra_scene {

namespace {

// Ripple periods as exact fractions of nanoseconds: 10 ms, and 25/3 ms.
struct RipplePeriod {
    int64_t numerator_ns;  // period x denominator
    int64_t denominator;
};
constexpr RipplePeriod kPeriods[2] = {{10000000, 1}, {25000000, 3}};

// Requests go out in bursts of two on consecutive frames: the two longer
// intervals then arrive together, however late, and their pairs meet in the
// five a hypothesis remembers. A lamp seen in one pair waits for the second.
constexpr int32_t kBurst = 2;
// Frames after a burst's last request before another burst: sensor drivers
// apply timing up to three frames late, the pairs across the longer
// intervals need one more, and the answer two more to settle.
constexpr int32_t kRequestWait = 6;
// A ripple moving by less between frames (fraction of a period) stands still
// for the classifier's pairs.
constexpr double kStandingShift = 0.04;
// Moved pairs from which the decision no longer needs a probe.
constexpr int kEnoughPairs = 3;
// Candidate extras tried between 0 and the longest allowed.
constexpr int kExtraSteps = 64;
// A pair whose ripple shifts by less (fraction of a period) tells little:
// 2 sin(pi x) of the change a ripple makes is 0.6 of its size at 0.1.
constexpr double kUsefulShift = 0.1;

// The untested ripples should move most across the probe; the others have
// pairs already, yet moving them too makes the probe pair count for both.
constexpr double kTestedHeadStart = 0.25;

// Shift of ripple h over interval_ns, fraction of a period folded to 0..0.5:
// exact integer arithmetic, so every processor asks for the same interval.
double folded_shift(int64_t interval_ns, int h) {
    const RipplePeriod p = kPeriods[h];
    const int64_t r = (interval_ns % p.numerator_ns * p.denominator) % p.numerator_ns;
    const int64_t folded = r * 2 > p.numerator_ns ? p.numerator_ns - r : r;
    return double(folded) / double(p.numerator_ns);
}

}  // namespace

int64_t probe_extra_ns(int64_t interval_ns, int64_t longest_extra_ns, int untested) {
    int64_t best_extra = 0;
    double best = 0.0, best_untested = 0.0;
    for (int step = 1; step <= kExtraSteps; ++step) {
        const int64_t extra = longest_extra_ns * step / kExtraSteps;
        double score = 1.0, smallest_untested = 0.5;
        for (int h = 0; h < 2; ++h) {
            const double x = folded_shift(interval_ns + extra, h);
            const bool open = (untested & (1 << h)) != 0;
            if (open && x < smallest_untested) smallest_untested = x;
            const double weighed = open ? x : x + kTestedHeadStart;
            if (weighed < score) score = weighed;
        }
        if (score > best) {
            best = score;
            best_untested = smallest_untested;
            best_extra = extra;
        }
    }
    return best_untested >= kUsefulShift ? best_extra : 0;
}

void ProbePlanner::reset() {
    intervals_.clear();
    own_ns_ = 0;
    pairs_ = 0;
    frames_since_request_ = kRequestWait;
    burst_left_ = 0;
    settled_since_ns_ = 0;
    settled_answer_ = KEVRA_SCENE_UNKNOWN;
}

// Hypotheses (bit 0: 50 Hz, bit 1: 60 Hz) whose ripple stands still at the
// camera's own interval, with fewer than three moved pairs in memory, while
// the exposure would let a lamp show through.
int ProbePlanner::untested(const ProbeFacts& facts) const {
    int bits = 0;
    for (int h = 0; h < 2; ++h)
        if (folded_shift(own_ns_, h) < kStandingShift && facts.moved_pairs[h] < kEnoughPairs && !facts.hidden[h])
            bits |= 1 << h;
    return bits;
}

// UNKNOWN with an untested hypothesis asks once the frames have had two
// pairs to decide alone, and again while they still cannot; not while the
// frame's own evidence is about to settle it, unless that is a lamp seen in
// a single pair of an untested ripple, which waits for a second. A settled
// answer asks only once the re-check is due, since a lamp may have been
// switched on or off where its ripple stands still.
bool ProbePlanner::due(const ProbeFacts& facts, const kevra_scene_settings& settings, int untested,
                       bool continuing) const {
    if (settings.probe == 0 || !facts.paired || untested == 0) return false;
    if (facts.answer == KEVRA_SCENE_UNKNOWN) {
        const int h = facts.frame_answer == KEVRA_SCENE_60HZ ? 1 : 0;
        const bool open = facts.frame_answer == KEVRA_SCENE_UNKNOWN ||
                          (facts.frame_single_pair && (untested & (1 << h)) != 0);
        if (!open) return false;
        if (continuing) return true;
        return frames_since_request_ >= kRequestWait && pairs_ >= 2;
    }
    if (frames_since_request_ < kRequestWait || settings.recheck_ns == 0) return false;
    return uint64_t(facts.timestamp_ns) - uint64_t(settled_since_ns_) >= uint64_t(settings.recheck_ns);
}

kevra_scene_request ProbePlanner::plan(const ProbeFacts& facts, const kevra_scene_settings& settings) {
    kevra_scene_request request{sizeof(kevra_scene_request), 0, 0};
    if (frames_since_request_ < kRequestWait) ++frames_since_request_;
    if (facts.paired) {
        intervals_.add(facts.interval_ns);
        if (pairs_ < kRequestWait) ++pairs_;
        // A probe only ever lengthens an interval.
        own_ns_ = intervals_[0];
        for (int j = 1; j < intervals_.size(); ++j)
            if (intervals_[j] < own_ns_) own_ns_ = intervals_[j];
    }
    if (facts.answer != settled_answer_) {
        settled_answer_ = facts.answer;
        settled_since_ns_ = facts.timestamp_ns;
    }
    const int open = untested(facts);
    const bool continuing = burst_left_ > 0;
    burst_left_ = 0;
    if (!due(facts, settings, open, continuing)) return request;
    const int64_t extra = probe_extra_ns(own_ns_, settings.longest_extra_ns, open);
    if (extra == 0) return request;
    request.hypotheses = (open & 1 ? 50 : 0) + (open & 2 ? 60 : 0);
    request.frame_interval_ns = own_ns_ + extra;
    burst_left_ = continuing ? 0 : kBurst - 1;
    frames_since_request_ = 0;
    settled_since_ns_ = facts.timestamp_ns;
    return request;
}

}  // namespace kevra_scene
