#include "scene/hypothesis_evidence.h"

#include <cmath>

#include "scene/scene_limits.h"

namespace kevra_scene {

namespace {

double norm(Phasor a) { return a.re * a.re + a.im * a.im; }

}  // namespace

int HypothesisEvidence::informative() const {
    int n = 0;
    for (int j = 0; j < pairs_.size(); ++j) n += pairs_[j].informative ? 1 : 0;
    return n;
}

LampFit HypothesisEvidence::fit_lamp(int first, int zones, bool whole_shape) const {
    // Weighted least squares for C in q_j = g_j C + noise_j, q_j the mean
    // change of the zones, over the pairs in which the ripple moved.
    LampFit f;
    double gg = 0.0, qq = 0.0, sinc = 0.0;
    Phasor gq;
    f.shape = 1.0;
    for (int j = first; j < pairs_.size(); ++j) {
        const PairMeasure& p = pairs_[j];
        if (!p.informative) continue;
        Phasor q;
        double variance = 0.0, shape = 0.0;
        int used = 0;
        for (int z = 0; z < kZones; ++z) {
            const ZoneMeasure& m = p.zone[z];
            if (!(zones >> z & 1) || !m.valid) continue;
            q.re += m.q.re;
            q.im += m.q.im;
            variance += m.variance;
            shape += m.shape;
            ++used;
        }
        if (used == 0) continue;
        const double k = double(used);
        q = {q.re / k, q.im / k};
        variance /= k * k;
        f.shape = std::fmin(f.shape, whole_shape ? p.shape : shape / k);
        f.camera_moved = f.camera_moved || p.camera_moved;
        ++f.pairs;
        if (p.sinc > sinc) sinc = p.sinc;
        const double w = 1.0 / variance;
        gg += w * norm(p.g);
        qq += w * norm(q);
        gq.re += w * (p.g.re * q.re + p.g.im * q.im);  // conj(g) q
        gq.im += w * (p.g.re * q.im - p.g.im * q.re);
    }
    if (!(gg > 0.0)) {
        f.shape = 0.0;
        return f;
    }
    f.c = {gq.re / gg, gq.im / gg};
    const double c_abs = std::sqrt(norm(f.c));
    // A lamp that showed in any frame of the pairs counts: once exposures
    // hide the ripple, the lamp is still there for the next exposure change.
    const double visible = 2.0 * sinc;
    f.explained = norm(f.c) * gg;
    f.fit = qq > 0.0 ? f.explained / qq : 0.0;
    f.ripple = visible * c_abs;
    f.lamp_upper = c_abs + 2.0 / std::sqrt(gg);
    f.ripple_upper = visible * f.lamp_upper;
    return f;
}

HypothesisSummary HypothesisEvidence::summarize(int recent, Phasor single, double zone_single) const {
    const int count = pairs_.size();
    HypothesisSummary s;
    s.single_frame = 2.0 * std::sqrt(norm(single));
    s.zone_single_frame = zone_single;
    s.ripple_upper = HUGE_VAL;
    if (count == 0) return s;
    const int first = count - recent > 0 ? count - recent : 0;
    const PairMeasure& latest = pairs_[count - 1];
    s.shift = latest.shift;
    // A zone is disturbed where its change keeps, after the ripple's
    // harmonics, more than 1 % rms and far more than its noise.
    const double floor = kDecision.unexplained_change * kDecision.unexplained_change;
    int valid = 0, calm = 0;
    for (int z = 0; z < kZones; ++z) {
        const ZoneMeasure& m = latest.zone[z];
        if (!m.valid) continue;
        valid |= 1 << z;
        if (!(m.residual > floor && m.residual > kDecision.disturbed_over_noise * m.noise)) calm |= 1 << z;
    }
    s.disturbed = (valid & ~calm) != 0;

    // Zones that show the lamp on their own; where none does, a lamp too weak
    // for one zone may still show in all calm zones together, as the whole
    // frame's change does.
    LampFit zone_fit[kZones];
    for (int z = 0; z < kZones; ++z) {
        if (!(valid >> z & 1)) continue;
        const LampFit& f = zone_fit[z] = fit_lamp(first, 1 << z, false);
        if (f.ripple > s.zone_ripple) s.zone_ripple = f.ripple;
        if (f.lamp_upper > s.zone_lamp_upper) s.zone_lamp_upper = f.lamp_upper;
        if (f.ripple_upper > s.zone_ripple_upper) s.zone_ripple_upper = f.ripple_upper;
        if (meets_limits(f.pairs, f.camera_moved, f.explained, f.fit, f.shape, f.ripple)) s.lit_zones |= 1 << z;
    }
    const LampFit together = fit_lamp(first, valid & calm, true);
    const LampFit all = s.lit_zones != 0 ? fit_lamp(first, s.lit_zones, false) : together;
    // One lamp: every lit zone's C within a narrow angle of the lit zones' C.
    for (int z = 0; z < kZones; ++z) {
        if (!(s.lit_zones >> z & 1)) continue;
        const Phasor c = zone_fit[z].c;
        const double along = c.re * all.c.re + c.im * all.c.im;
        s.zones_agree = s.zones_agree && along >= kDecision.zone_phase_cos * std::sqrt(norm(c) * norm(all.c));
    }
    s.pairs = all.pairs;
    s.camera_moved = all.camera_moved;
    s.explained = all.explained;
    s.fit = all.fit;
    s.shape = all.shape;
    s.ripple = all.ripple;
    s.lamp = std::sqrt(norm(all.c));
    s.ripple_upper = together.ripple_upper;
    s.lamp_upper = together.lamp_upper;
    return s;
}

}  // namespace kevra_scene
