#include "scene/hypothesis_evidence.h"

#include <cmath>

namespace kevra_scene {

namespace {

double norm(Phasor a) { return a.re * a.re + a.im * a.im; }

}  // namespace

int HypothesisEvidence::informative() const {
    int n = 0;
    for (int j = 0; j < pairs_.size(); ++j) n += pairs_[j].informative ? 1 : 0;
    return n;
}

HypothesisSummary HypothesisEvidence::summarize(int recent, Phasor single) const {
    const int count = pairs_.size();
    HypothesisSummary s;
    s.single_frame = 2.0 * std::sqrt(norm(single));
    if (count == 0) {
        s.ripple_upper = HUGE_VAL;
        return s;
    }
    s.shift = pairs_[count - 1].shift;
    // Weighted least squares for C in q_j = g_j C + noise_j, over the pairs in
    // which the ripple moved.
    double gg = 0.0, qq = 0.0, sinc = 0.0;
    Phasor gq;
    s.pairs = 0;
    int all = 0;
    for (int j = count - recent; j < count; ++j) {
        if (j < 0) continue;
        const PairMeasure& p = pairs_[j];
        s.change_power += p.power;
        s.camera_moved = s.camera_moved || p.camera_moved;
        ++all;
        if (!p.informative) continue;
        ++s.pairs;
        if (p.sinc > sinc) sinc = p.sinc;
        const double w = 1.0 / p.variance;
        gg += w * norm(p.g);
        qq += w * norm(p.q);
        gq.re += w * (p.g.re * p.q.re + p.g.im * p.q.im);  // conj(g) q
        gq.im += w * (p.g.re * p.q.im - p.g.im * p.q.re);
    }
    if (all > 0) s.change_power /= double(all);
    if (!(gg > 0.0)) {
        s.ripple_upper = HUGE_VAL;
        return s;
    }
    const Phasor c{gq.re / gg, gq.im / gg};
    const double c_abs = std::sqrt(norm(c));
    const double c_error = 1.0 / std::sqrt(gg);
    // A lamp that showed in any frame of the pairs counts: once exposures
    // hide the ripple, the lamp is still there for the next exposure change.
    const double visible = 2.0 * sinc;
    s.explained = norm(c) * gg;
    s.fit = qq > 0.0 ? s.explained / qq : 0.0;
    s.lamp = c_abs;
    s.ripple = visible * c_abs;
    s.ripple_upper = visible * (c_abs + 2.0 * c_error);
    return s;
}

}  // namespace kevra_scene
