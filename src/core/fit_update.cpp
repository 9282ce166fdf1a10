#include "core/fit_update.h"

#include <math.h>

#include <cmath>

namespace kevra {

namespace {

double phase_term(float d) { return (static_cast<double>(d) * 1e-6) * static_cast<double>(d); }

bool counts(float amplitude) { return std::fabs(static_cast<double>(amplitude)) > 0.001; }

}  // namespace

void apply_update(const FitSettings& s, const float delta[7], ChannelParams& p) {
    p.offset += delta[0] * s.offset_step;
    for (int h = 0; h < 3; ++h) p.amplitude[h] += delta[1 + 2 * h] * s.amplitude_step;
    for (int h = 0; h < 3; ++h) p.phase[h] += delta[2 + 2 * h] * s.phase_step;
    for (int h = 0; h < 3; ++h) {
        if (p.amplitude[h] < 0.0f) {
            p.amplitude[h] = -p.amplitude[h];
            p.phase[h] += s.half_period[h];
        }
        p.phase[h] = fmodf(p.phase[h], s.period[h]);
    }
}

float convergence_measure(const float delta[7], const ChannelParams& p) {
    double m = static_cast<double>(delta[0] * delta[0] + delta[1] * delta[1]);
    m += phase_term(delta[2]);
    for (int h = 1; h < 3; ++h) {
        if (!counts(p.amplitude[h])) continue;
        const float d = delta[1 + 2 * h];
        m += static_cast<double>(d * d);
        m += phase_term(delta[2 + 2 * h]);
    }
    return static_cast<float>(m);
}

}  // namespace kevra
