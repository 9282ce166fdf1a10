#include "scene/scene_decision.h"

#include <cmath>

#include "kevra_scene.h"

namespace kevra_scene {

namespace {

constexpr double kDetectChiSquare = 25.0;  // the fitted ripple against pair noise: five standard errors
constexpr double kDetectFit = 0.6;         // share of the pairs' change that one lamp phase explains
constexpr double kPreferRatio = 2.0;       // both hypotheses fit: one must explain twice as much
// One pair fits any phasor exactly, so alone it must be far stronger (an
// exposure change in front of a standing ripple gives no more than that).
constexpr double kSinglePairChiSquare = 100.0;

bool detected(const HypothesisSummary& s) {
    if (s.ripple < kVisibleRipple) return false;
    if (s.pairs == 1) return s.explained >= kSinglePairChiSquare;
    return s.pairs >= 2 && s.explained >= kDetectChiSquare && s.fit >= kDetectFit;
}

// No lamp of this frequency can be showing visible ripple.
bool excluded(const HypothesisSummary& s, double sinc_bound) {
    return s.ripple_upper < kVisibleRipple || sinc_bound < kVisibleRipple ||
           s.single_frame < 0.5 * kVisibleRipple;
}

double strength(const HypothesisSummary& s) { return s.explained * s.fit; }

}  // namespace

Verdict frame_verdict(const HypothesisSummary (&summary)[2], const double (&sinc_bound)[2]) {
    const bool d50 = detected(summary[0]), d60 = detected(summary[1]);
    const int32_t mains[2] = {KEVRA_SCENE_50HZ, KEVRA_SCENE_60HZ};
    if (d50 || d60) {
        int h = d50 ? 0 : 1;
        if (d50 && d60) {
            const double a = strength(summary[0]), b = strength(summary[1]);
            if (a < kPreferRatio * b && b < kPreferRatio * a) return {KEVRA_SCENE_UNKNOWN, 0.0};
            h = a > b ? 0 : 1;
        } else if (summary[h].pairs == 1 && summary[1 - h].pairs > 0 &&
                   strength(summary[h]) < 4.0 * kPreferRatio * strength(summary[1 - h])) {
            return {KEVRA_SCENE_UNKNOWN, 0.0};
        }
        const HypothesisSummary& s = summary[h];
        return {mains[h], s.fit * (1.0 - std::exp(-s.explained / (2.0 * kDetectChiSquare)))};
    }
    if (excluded(summary[0], sinc_bound[0]) && excluded(summary[1], sinc_bound[1])) {
        const double margin0 = summary[0].ripple_upper, margin1 = summary[1].ripple_upper;
        const double worst = margin0 > margin1 ? margin0 : margin1;
        return {KEVRA_SCENE_NONE, worst < kVisibleRipple ? 1.0 - worst / kVisibleRipple : 0.5};
    }
    return {KEVRA_SCENE_UNKNOWN, 0.0};
}

Verdict Hysteresis::update(const Verdict& now) {
    if (now.answer == reported_.answer) {
        reported_.confidence = now.confidence;
    } else if (now.answer == previous_) {
        reported_ = now;
    }
    previous_ = now.answer;
    return reported_;
}

}  // namespace kevra_scene
