#include "scene/answer_hold.h"

#include "kevra_scene.h"
#include "scene/scene_limits.h"

namespace kevra_scene {

namespace {

int hypothesis_of(int32_t answer) { return answer == KEVRA_SCENE_60HZ ? 1 : 0; }

bool names_lamp(int32_t answer) { return answer == KEVRA_SCENE_50HZ || answer == KEVRA_SCENE_60HZ; }

}  // namespace

void AnswerHold::reset() {
    hysteresis_.reset();
    reported_ = {KEVRA_SCENE_UNKNOWN, 0.0};
    held_lamp_ = 0.0;
    none_bound_[0] = none_bound_[1] = HUGE_VAL;
    named_ = KEVRA_SCENE_UNKNOWN;
}

// A lamp gives way to NONE or UNKNOWN from pairs in which the held lamp would
// have changed visibly and which find it at less than half its size; NONE
// gives way to a lamp, or to UNKNOWN once the exposure could show a lamp its
// evidence did not rule out. Otherwise neither gives way to UNKNOWN, which
// only says the frames cannot tell.
bool AnswerHold::gives_way(int32_t candidate, const HoldFacts& facts) const {
    const double visible = kDecision.visible_ripple;
    if (reported_.answer == KEVRA_SCENE_NONE) {
        if (names_lamp(candidate)) return true;
        // No lamp ripples by more than its whole light.
        for (int h = 0; h < 2; ++h)
            if (std::fmin(none_bound_[h], 1.0) * facts.reveal[h] >= visible) return true;
        return false;
    }
    if (!names_lamp(reported_.answer)) return true;
    const int h = hypothesis_of(reported_.answer);
    if (held_lamp_ * facts.reach[h] < visible) return false;
    if (candidate == KEVRA_SCENE_NONE) return true;
    return facts.pairs[h] >= 2 && 2.0 * facts.lamp[h] < held_lamp_;
}

Verdict AnswerHold::update(const Verdict& frame, const HoldFacts& facts) {
    // A visible change that no timing explains: what was settled may have
    // changed, so the answer is open again until the frames show which way.
    if (facts.surprise[0] || facts.surprise[1]) {
        reset();
        return reported_;
    }
    const bool unconfirmed = facts.probing && names_lamp(frame.answer) && facts.single_pair[hypothesis_of(frame.answer)];
    // One room has one mains: once a lamp has been named, evidence for the
    // other frequency contradicts itself and opens the answer instead.
    const bool contradicts = names_lamp(frame.answer) && named_ != KEVRA_SCENE_UNKNOWN && frame.answer != named_;
    if (contradicts && names_lamp(reported_.answer)) {
        hysteresis_.reset();
        reported_ = {KEVRA_SCENE_UNKNOWN, 0.0};
        held_lamp_ = 0.0;
        return reported_;
    }
    const Verdict candidate =
        hysteresis_.update(unconfirmed || contradicts ? Verdict{KEVRA_SCENE_UNKNOWN, 0.0} : frame);
    if (candidate.answer == reported_.answer) {
        reported_.confidence = candidate.confidence;
    } else if (gives_way(candidate.answer, facts)) {
        reported_ = candidate;
    }
    if (names_lamp(reported_.answer) && frame.answer == reported_.answer) {
        held_lamp_ = facts.lamp[hypothesis_of(reported_.answer)];
        named_ = reported_.answer;
    }
    if (reported_.answer == KEVRA_SCENE_NONE && frame.answer == KEVRA_SCENE_NONE)
        for (int h = 0; h < 2; ++h) none_bound_[h] = facts.lamp_upper[h];
    return reported_;
}

}  // namespace kevra_scene
