// The reported answer over frames. A camera stack obeys it: once 50 or 60 Hz
// is reported, auto-exposure keeps exposures at whole ripple periods, which
// hide the lamp. So an answer is only given up for evidence from frames that
// could have contradicted it, never for a lack of evidence.
#ifndef KEVRA_SCENE_ANSWER_HOLD_H
#define KEVRA_SCENE_ANSWER_HOLD_H

#include <cmath>
#include <cstdint>

#include "scene/scene_decision.h"

namespace kevra_scene {

// What the latest frame pair could show, per hypothesis ([0] 50 Hz, [1] 60 Hz).
struct HoldFacts {
    // Twice the change a unit lamp ripple makes in the latest pair, |G| times
    // two: times a lamp's amplitude, the peak-to-peak change it would show.
    double reach[2] = {0.0, 0.0};
    // The latest pair changed at this frequency by a visible amount that its
    // timing cannot explain: a lamp switched on or off where the ripple
    // stands still against the rows.
    bool surprise[2] = {false, false};
    // Twice |s(E)| of the latest exposure: times a lamp's amplitude, the
    // peak-to-peak ripple it shows in the latest frame.
    double reveal[2] = {0.0, 0.0};
    // The lamp amplitude |C| the frame's evidence estimates, the most it may
    // be (two standard errors up), and whether that evidence is a single pair.
    double lamp[2] = {0.0, 0.0};
    double lamp_upper[2] = {HUGE_VAL, HUGE_VAL};
    int pairs[2] = {0, 0};
    bool single_pair[2] = {false, false};
    // The camera may be asked for another probe: a lamp seen in one pair
    // waits for a second rather than settle (a lamp switched off across a
    // probe looks the same to one pair).
    bool probing = false;
};

class AnswerHold {
public:
    void reset();
    // The frame's verdict in, the reported answer out.
    Verdict update(const Verdict& frame, const HoldFacts& facts);
    int32_t answer() const { return reported_.answer; }

private:
    bool gives_way(int32_t candidate, const HoldFacts& facts) const;

    Hysteresis hysteresis_;
    Verdict reported_{KEVRA_SCENE_UNKNOWN, 0.0};
    double held_lamp_ = 0.0;  // amplitude of the reported lamp when it was last seen
    int32_t named_ = KEVRA_SCENE_UNKNOWN;  // the lamp named since the last reset, if any
    // The most a lamp of each frequency may be, by the evidence of the last
    // frame that said NONE: frames that cannot show more keep NONE.
    double none_bound_[2] = {HUGE_VAL, HUGE_VAL};
};

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_ANSWER_HOLD_H
