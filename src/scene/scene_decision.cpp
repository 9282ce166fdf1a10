#include "scene/scene_decision.h"

#include "kevra_scene.h"
#include "scene/scene_limits.h"

namespace kevra_scene {

// Where content changes as no lamp explains, one or two pairs may agree by
// chance: such frames need the moving camera's path.
bool supports_flicker(const HypothesisSummary& s) {
    return s.zones_agree &&
           meets_limits(s.pairs, s.camera_moved || s.disturbed, s.explained, s.fit, s.shape, s.ripple);
}

double flicker_strength(const HypothesisSummary& s) { return s.explained * s.fit; }

namespace {

// The latest pairs rule the lamp out: it is off now, whatever came before.
bool ruled_out(const HypothesisSummary& s) {
    return s.pairs > 0 && s.ripple_upper < kDecision.none_ripple && s.zone_ripple < kDecision.none_ripple;
}

double strongest(const HypothesisSummary (&s)[2]) {
    double best = -1.0;
    for (const HypothesisSummary& h : s)
        if (supports_flicker(h) && flicker_strength(h) > best) best = flicker_strength(h);
    return best;
}

}  // namespace

void combine_stretches(const HypothesisEvidence (&evidence)[2], const Phasor (&single)[2],
                       const double (&zone_single)[2], HypothesisSummary (&summary)[2]) {
    const int n = evidence[0].size() > evidence[1].size() ? evidence[0].size() : evidence[1].size();
    HypothesisSummary latest[2], best[2];
    for (int h = 0; h < 2; ++h) {
        best[h] = evidence[h].summarize(n, single[h], zone_single[h]);
        latest[h] = evidence[h].summarize(2, single[h], zone_single[h]);
    }
    for (int m = 2; m < n; ++m) {
        HypothesisSummary s[2];
        for (int h = 0; h < 2; ++h) s[h] = evidence[h].summarize(m, single[h], zone_single[h]);
        if (strongest(s) > strongest(best)) {
            best[0] = s[0];
            best[1] = s[1];
        }
    }
    for (int h = 0; h < 2; ++h) summary[h] = n > 2 && ruled_out(latest[h]) ? latest[h] : best[h];
}

namespace {

// No lamp of this frequency can be showing visible ripple: the exposures hide
// any, no zone of the frame itself shows enough, or, with nothing changing
// unexplained, the pairs show too little (all zones together two standard
// errors up, and every zone alone).
bool excluded(const HypothesisSummary& s, double sinc_bound) {
    const double visible = kDecision.visible_ripple;
    if (sinc_bound < visible || s.zone_single_frame < 0.5 * visible) return true;
    return !s.disturbed && s.ripple_upper < kDecision.none_ripple && s.zone_ripple_upper < kDecision.none_ripple;
}

}  // namespace

Verdict frame_verdict(const HypothesisSummary (&summary)[2], const double (&sinc_bound)[2]) {
    const bool d50 = supports_flicker(summary[0]), d60 = supports_flicker(summary[1]);
    const int32_t mains[2] = {KEVRA_SCENE_50HZ, KEVRA_SCENE_60HZ};
    const double prefer = kDecision.prefer_ratio;
    if (d50 || d60) {
        int h = d50 ? 0 : 1;
        if (d50 && d60) {
            const double a = flicker_strength(summary[0]), b = flicker_strength(summary[1]);
            if (a < prefer * b && b < prefer * a) return {KEVRA_SCENE_UNKNOWN, 0.0};
            h = a > b ? 0 : 1;
        }
        // The change must look more like this frequency than the other: a
        // strong ripple standing still at the other frequency creeps by the
        // grid's drift, and that small change projects onto this one too.
        if (summary[h].change_power < summary[1 - h].change_power) return {KEVRA_SCENE_UNKNOWN, 0.0};
        if (summary[h].pairs == 1 && summary[1 - h].pairs > 0 &&
            flicker_strength(summary[h]) < kDecision.single_pair_lead * prefer * flicker_strength(summary[1 - h])) {
            return {KEVRA_SCENE_UNKNOWN, 0.0};
        }
        const HypothesisSummary& s = summary[h];
        const double x = s.explained / kDecision.half_confidence_chi_square;
        return {mains[h], s.fit * x / (1.0 + x)};
    }
    if (excluded(summary[0], sinc_bound[0]) && excluded(summary[1], sinc_bound[1])) {
        const double worst = summary[0].ripple_upper > summary[1].ripple_upper ? summary[0].ripple_upper
                                                                               : summary[1].ripple_upper;
        const double visible = kDecision.visible_ripple;
        return {KEVRA_SCENE_NONE, worst < visible ? 1.0 - worst / visible : 0.5};
    }
    return {KEVRA_SCENE_UNKNOWN, 0.0};
}

Verdict Hysteresis::update(const Verdict& now) {
    if (now.answer == reported_.answer) {
        reported_.confidence = now.confidence;
    } else if (now.answer == previous_) {
        reported_ = now;
    } else if (reported_.answer == KEVRA_SCENE_NONE) {
        // NONE on a lamp that shows costs far more than UNKNOWN: a frame that
        // no longer rules the lamps out withdraws it at once.
        reported_ = {KEVRA_SCENE_UNKNOWN, 0.0};
    }
    previous_ = now.answer;
    return reported_;
}

}  // namespace kevra_scene
