#include "scene/scene_decision.h"

#include <cmath>

#include "kevra_scene.h"

namespace kevra_scene {

namespace {

constexpr double kDetectChiSquare = 25.0;  // the fitted ripple against pair noise: five standard errors
constexpr double kDetectFit = 0.6;         // share of the pairs' change that one lamp phase explains
// Two phasors of random phase share 60 % of their energy four times in ten;
// 85 % about once in four, and with twice the chi-square that is rare.
constexpr double kTwoPairFit = 0.85;
constexpr double kMovingFit = 0.8;
constexpr double kPreferRatio = 2.0;       // both hypotheses fit: one must explain twice as much
// One pair fits any phasor exactly, so alone it must be far stronger (an
// exposure change in front of a standing ripple gives no more than that).
constexpr double kSinglePairChiSquare = 100.0;

}  // namespace

bool supports_flicker(const HypothesisSummary& s) {
    if (s.ripple < kVisibleRipple) return false;
    // A moving picture never cancels exactly (the rows average lines that
    // moved by fractions of a row): more pairs must agree more closely.
    if (s.camera_moved) return s.pairs >= 3 && s.explained >= kDetectChiSquare && s.fit >= kMovingFit;
    if (s.pairs == 1) return s.explained >= kSinglePairChiSquare;
    if (s.pairs == 2) return s.explained >= 2.0 * kDetectChiSquare && s.fit >= kTwoPairFit;
    return s.pairs >= 3 && s.explained >= kDetectChiSquare && s.fit >= kDetectFit;
}

double flicker_strength(const HypothesisSummary& s) { return s.explained * s.fit; }

HypothesisSummary combine_stretches(const HypothesisEvidence& evidence, Phasor single) {
    const int n = evidence.size();
    HypothesisSummary best = evidence.summarize(n, single);
    for (int m = 2; m < n; ++m) {
        const HypothesisSummary s = evidence.summarize(m, single);
        // The latest pairs rule the lamp out: it is off now, whatever came before.
        if (m == 2 && s.pairs > 0 && s.ripple_upper < kVisibleRipple) return s;
        if (supports_flicker(s) && (!supports_flicker(best) || flicker_strength(s) > flicker_strength(best))) best = s;
    }
    return best;
}

namespace {

// No lamp of this frequency can be showing visible ripple.
bool excluded(const HypothesisSummary& s, double sinc_bound) {
    return s.ripple_upper < kVisibleRipple || sinc_bound < kVisibleRipple ||
           s.single_frame < 0.5 * kVisibleRipple;
}


}  // namespace

Verdict frame_verdict(const HypothesisSummary (&summary)[2], const double (&sinc_bound)[2]) {
    const bool d50 = supports_flicker(summary[0]), d60 = supports_flicker(summary[1]);
    const int32_t mains[2] = {KEVRA_SCENE_50HZ, KEVRA_SCENE_60HZ};
    if (d50 || d60) {
        int h = d50 ? 0 : 1;
        if (d50 && d60) {
            const double a = flicker_strength(summary[0]), b = flicker_strength(summary[1]);
            if (a < kPreferRatio * b && b < kPreferRatio * a) return {KEVRA_SCENE_UNKNOWN, 0.0};
            h = a > b ? 0 : 1;
        }
        // The change must look more like this frequency than the other: a
        // strong ripple standing still at the other frequency creeps by the
        // grid's drift, and that small change projects onto this one too.
        if (summary[h].change_power < summary[1 - h].change_power) return {KEVRA_SCENE_UNKNOWN, 0.0};
        if (summary[h].pairs == 1 && summary[1 - h].pairs > 0 &&
                   flicker_strength(summary[h]) < 4.0 * kPreferRatio * flicker_strength(summary[1 - h])) {
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
