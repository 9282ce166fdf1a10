#include "scene/probe_planner.h"

namespace kevra_scene {

namespace {

// Ripple periods as exact fractions of nanoseconds: 10 ms, and 25/3 ms.
struct RipplePeriod {
    int64_t numerator_ns;  // period x denominator
    int64_t denominator;
};
constexpr RipplePeriod kPeriods[2] = {{10000000, 1}, {25000000, 3}};

// Frames after a request before another: sensor drivers apply timing up to
// three frames late, and the pair across the longer interval needs one more.
// Two probes then still meet in the five pairs a hypothesis remembers.
constexpr int32_t kRequestWait = 4;
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
    pairs_ = 0;
    frames_since_request_ = kRequestWait;
    confirmed_ = false;
    settled_since_ns_ = 0;
    settled_answer_ = KEVRA_SCENE_UNKNOWN;
}

// UNKNOWN with an untested hypothesis asks once the frames have had two
// pairs to decide alone. A lamp named from one probe is probed once more
// while exposures would show it: a lamp switched off across the first probe
// looks the same to a single pair. A settled answer asks again once the
// re-check is due, since a lamp may have been switched on or off where its
// ripple stands still. Exposures that hide a ripple ask nothing of it.
bool ProbePlanner::due(const ProbeFacts& facts, const kevra_scene_settings& settings) const {
    if (settings.probe == 0 || !facts.paired || frames_since_request_ < kRequestWait) return false;
    if (!facts.untested[0] && !facts.untested[1]) return false;
    if (facts.answer == KEVRA_SCENE_UNKNOWN) return pairs_ >= 2;
    const bool lamp = facts.answer == KEVRA_SCENE_50HZ || facts.answer == KEVRA_SCENE_60HZ;
    if (lamp && !confirmed_ && facts.untested[facts.answer == KEVRA_SCENE_60HZ ? 1 : 0]) return true;
    if (settings.recheck_ns == 0) return false;
    return uint64_t(facts.timestamp_ns) - uint64_t(settled_since_ns_) >= uint64_t(settings.recheck_ns);
}

kevra_scene_request ProbePlanner::plan(const ProbeFacts& facts, const kevra_scene_settings& settings) {
    kevra_scene_request request{sizeof(kevra_scene_request), 0, 0};
    if (frames_since_request_ < kRequestWait) ++frames_since_request_;
    if (facts.paired) {
        intervals_.add(facts.interval_ns);
        if (pairs_ < kRequestWait) ++pairs_;
    }
    if (facts.answer != settled_answer_) {
        settled_answer_ = facts.answer;
        settled_since_ns_ = facts.timestamp_ns;
        confirmed_ = false;
    }
    if (!due(facts, settings)) return request;
    // The camera's own interval: the shortest recent one, as a probe only
    // ever lengthens an interval.
    int64_t own = intervals_[0];
    for (int j = 1; j < intervals_.size(); ++j)
        if (intervals_[j] < own) own = intervals_[j];
    const int untested = (facts.untested[0] ? 1 : 0) | (facts.untested[1] ? 2 : 0);
    const int64_t extra = probe_extra_ns(own, settings.longest_extra_ns, untested);
    if (extra == 0) return request;
    request.hypotheses = (untested & 1 ? 50 : 0) + (untested & 2 ? 60 : 0);
    request.frame_interval_ns = own + extra;
    frames_since_request_ = 0;
    settled_since_ns_ = facts.timestamp_ns;
    confirmed_ = facts.answer != KEVRA_SCENE_UNKNOWN;
    return request;
}

}  // namespace kevra_scene
