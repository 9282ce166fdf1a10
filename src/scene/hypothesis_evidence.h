// What the frames say about one mains hypothesis, zone by zone.
//
// For ripple frequency W (twice the mains), the lamp's relative light has a
// fundamental C e^{iWt} in absolute time t. A frame exposed for E sees it
// averaged over its exposure, C s(E) with s the sinc of W E / 2. The log change
// between consecutive frames k-1 and k then has the fundamental
// C (s(E_k) - s(E_k-1) e^{-iWD}), D the shift of the exposure centres, while
// the picture cancels. Each frame pair gives per zone one measured phasor Q and
// the pair's predicted factor G = s(E_k) - s(E_k-1) e^{-iWD}; a zone shows the
// lamp when one C explains every pair. With steady light mixed in, a zone's
// relative ripple is smaller but its phase the same: zones lit by one lamp
// share the phase of C.
#ifndef KEVRA_SCENE_HYPOTHESIS_EVIDENCE_H
#define KEVRA_SCENE_HYPOTHESIS_EVIDENCE_H

#include "kevra_scene.h"
#include "scene/recent.h"
#include "scene/scene_math.h"

namespace kevra_scene {

constexpr int kZones = 6;

struct ZoneMeasure {
    bool valid = false;
    Phasor q;               // fitted fundamental of the zone's log change, absolute-time phase
    double variance = 0.0;  // expected |noise|^2 of q
    double shape = 0.0;     // share of the change's energy the ripple's harmonics explain
    double residual = 0.0;  // per-row energy of the change they leave
    double noise = 0.0;     // per-row noise energy, from the change's steps between rows
};

struct PairMeasure {
    ZoneMeasure zone[kZones];
    Phasor g;           // what a unit lamp ripple would give for this pair
    Phasor q;           // fitted fundamental of the whole frame's change
    double variance;    // expected |noise|^2 of q
    double shift;       // ripple shift against the rows, fraction of a period folded to 0..0.5
    double sinc;        // the larger |s(E)| of the two frames
    double power;       // of the whole frame's change's fitted harmonics: sum A_h^2 / 2
    double shape;       // share of the whole frame's change they explain
    bool camera_moved;  // the earlier profile was shifted to follow the picture
    // The ripple moved enough between the two frames for the pair to tell
    // ripple from picture; a pair in which it stood still predicts no change.
    bool informative;
};

// One C fitted to some zones' pairs.
struct LampFit {
    int pairs = 0;              // informative pairs
    bool camera_moved = false;  // in any of them
    Phasor c;
    double explained = 0.0;     // chi-square of the fitted C against noise
    double fit = 0.0;           // share of the pairs' energy that one C explains
    double shape = 0.0;         // the least share of a pair's change the ripple's harmonics explain
    double ripple = 0.0;        // peak to peak in the most exposed frame of the pairs
    double ripple_upper = HUGE_VAL;  // the same at two standard errors above
    double lamp_upper = HUGE_VAL;    // |C| at two standard errors above
};

struct HypothesisSummary {
    int pairs = 0;
    double lamp = 0.0;          // |C|: the lamp's relative ripple amplitude at this frequency
    double lamp_upper = HUGE_VAL;  // |C| at two standard errors above, over the calm zones
    double ripple = 0.0;        // estimated ripple (peak to peak) in the most exposed frame of the pairs
    double ripple_upper = 0.0;  // of all calm zones together, two standard errors above
    double zone_ripple = 0.0;   // the largest estimate of any zone alone
    double zone_lamp_upper = 0.0;  // the largest |C| two standard errors up of any zone alone
    double zone_ripple_upper = 0.0;  // the largest estimate two standard errors up of any zone alone
    double explained = 0.0;     // chi-square of the fitted C against noise
    double fit = 0.0;           // share of the pairs' energy that one C explains
    double shape = 0.0;         // share of the changes the ripple's harmonics explain
    double shift = 0.0;         // of the latest pair
    double single_frame = 0.0;  // ripple-frequency content of the latest frame alone, peak to peak
    double zone_single_frame = 0.0;  // the same in the zone that shows most
    double change_power = 0.0;  // mean power of the changes' fitted harmonics over the pairs
    bool camera_moved = false;  // in any of the pairs
    int lit_zones = 0;          // zones that show the lamp on their own (bit z: zone z)
    bool zones_agree = true;    // the lit zones share one phase
    bool disturbed = false;     // some zone changed in the latest pair as no lamp explains
};

// The last KEVRA_SCENE_HISTORY - 1 pairs of one hypothesis.
class HypothesisEvidence {
public:
    void clear() { pairs_.clear(); }
    void add(const PairMeasure& pair) { pairs_.add(pair); }
    int size() const { return pairs_.size(); }
    const PairMeasure& latest() const { return pairs_[pairs_.size() - 1]; }
    // Pairs in memory in which the ripple moved.
    int informative() const;
    // Over the latest `recent` pairs; single: the latest frame's own
    // fundamental phasor, zone_single: the largest zone's peak to peak.
    HypothesisSummary summarize(int recent, Phasor single, double zone_single) const;

private:
    // One C for the mean change of `zones` over pairs first.. of the ring;
    // whole_shape: the shape of the whole frame's change rather than the zones'.
    LampFit fit_lamp(int first, int zones, bool whole_shape) const;

    Recent<PairMeasure, KEVRA_SCENE_HISTORY - 1> pairs_;
};

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_HYPOTHESIS_EVIDENCE_H
