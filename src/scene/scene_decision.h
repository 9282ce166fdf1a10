// From the two hypotheses' evidence to an answer, and hysteresis over frames.
#ifndef KEVRA_SCENE_SCENE_DECISION_H
#define KEVRA_SCENE_SCENE_DECISION_H

#include <cstdint>

#include "scene/hypothesis_evidence.h"

namespace kevra_scene {

// The evidence of these pairs shows a lamp of this frequency.
bool supports_flicker(const HypothesisSummary& s);

// How strongly: the chi-square of the lamp's fit weighted by how much of the
// change it explains.
double flicker_strength(const HypothesisSummary& s);

// Both hypotheses' summaries, scored on the same frame pairs. A lamp switched
// on or off makes the pairs before and after it disagree, so the latest pairs
// alone may rule a lamp out (the latest two) or show it (the stretch of
// latest pairs in which either hypothesis is strongest).
void combine_stretches(const HypothesisEvidence (&evidence)[2], const Phasor (&single)[2],
                       const double (&zone_single)[2], HypothesisSummary (&summary)[2]);

struct Verdict {
    int32_t answer;     // KEVRA_SCENE_*
    double confidence;  // 0..1
};

// The answer this frame's evidence alone supports. sinc_bound[h]: 2 |s(E)| of
// the latest exposure under hypothesis h, the largest ripple any lamp could
// still show through it.
Verdict frame_verdict(const HypothesisSummary (&summary)[2], const double (&sinc_bound)[2]);

// The reported answer changes only when two consecutive frames agree on a new
// one (UNKNOWN included), so that one odd frame does not flip it; but NONE
// gives way to UNKNOWN at the first frame that does not rule the lamps out.
class Hysteresis {
public:
    void reset() {
        reported_ = {KEVRA_SCENE_UNKNOWN, 0.0};
        previous_ = KEVRA_SCENE_UNKNOWN;
    }
    Verdict update(const Verdict& now);

private:
    Verdict reported_{KEVRA_SCENE_UNKNOWN, 0.0};
    int32_t previous_ = KEVRA_SCENE_UNKNOWN;
};

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_SCENE_DECISION_H
