// What the frames say about one mains hypothesis.
//
// For ripple frequency W (twice the mains), the lamp's relative light has a
// fundamental C e^{iWt} in absolute time t. A frame exposed for E sees it
// averaged over its exposure, C s(E) with s the sinc of W E / 2. The log change
// between consecutive frames k-1 and k then has the fundamental
// C (s(E_k) - s(E_k-1) e^{-iWD}), D the shift of the exposure centres, while
// the picture cancels. Each frame pair gives one measured phasor Q and its
// predicted factor G = s(E_k) - s(E_k-1) e^{-iWD}; the hypothesis holds when
// one C explains every pair.
#ifndef KEVRA_SCENE_HYPOTHESIS_EVIDENCE_H
#define KEVRA_SCENE_HYPOTHESIS_EVIDENCE_H

#include "kevra_scene.h"
#include "scene/recent.h"
#include "scene/scene_math.h"

namespace kevra_scene {

struct PairMeasure {
    Phasor q;         // fitted fundamental of the log change, absolute-time phase
    Phasor g;         // what a unit lamp ripple would give for this pair
    double variance;  // expected |noise|^2 of q
    double shift;     // ripple shift against the rows, fraction of a period folded to 0..0.5
    double sinc;      // the larger |s(E)| of the two frames
    double power;     // of the change's fitted harmonics: sum A_h^2 / 2
    bool camera_moved;  // the earlier profile was shifted to follow the picture
    // The ripple moved enough between the two frames for the pair to tell
    // ripple from picture; a pair in which it stood still predicts no change.
    bool informative;
};

struct HypothesisSummary {
    int pairs = 0;
    double ripple = 0.0;        // estimated ripple (peak to peak) in the most exposed frame of the pairs
    double ripple_upper = 0.0;  // the same at two standard errors above
    double explained = 0.0;     // chi-square of the fitted C against noise
    double fit = 0.0;           // share of the pairs' energy that one C explains
    double shift = 0.0;         // of the latest pair
    double single_frame = 0.0;  // ripple-frequency content of the latest frame alone, peak to peak
    double change_power = 0.0;  // mean power of the changes' fitted harmonics over the pairs
    bool camera_moved = false;  // in any of the pairs
};

// The last KEVRA_SCENE_HISTORY - 1 pairs of one hypothesis.
class HypothesisEvidence {
public:
    void clear() { pairs_.clear(); }
    void add(const PairMeasure& pair) { pairs_.add(pair); }
    int size() const { return pairs_.size(); }
    // Over the latest `recent` pairs; single: the latest frame's own
    // fundamental phasor.
    HypothesisSummary summarize(int recent, Phasor single) const;

private:
    Recent<PairMeasure, KEVRA_SCENE_HISTORY - 1> pairs_;
};

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_HYPOTHESIS_EVIDENCE_H
