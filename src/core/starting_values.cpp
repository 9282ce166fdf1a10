#include "core/starting_values.h"

#include <math.h>

#include <cmath>

namespace kevra {

namespace {

// Widened to double, scaled, rounded back: not the same as x * 0.2f.
float scaled(float x, double factor) { return static_cast<float>(static_cast<double>(x) * factor); }

void derive_higher_amplitudes(ChannelParams& p) {
    p.amplitude[1] = scaled(p.amplitude[0], 0.2);
    p.amplitude[2] = scaled(p.amplitude[0], 0.1);
}

float init_amplitude(const kevra_config* config, int h, int c) {
    const float* table[3] = {config->init_amplitude1, config->init_amplitude2, config->init_amplitude3};
    return table[h][c];
}

void start_channel1(const kevra_config* config, bool configured, ChannelParams& p) {
    if (!configured) {
        derive_higher_amplitudes(p);
        return;
    }
    const float phase[3] = {config->init_phase1[1], config->init_phase2[1], config->init_phase3[1]};
    p.offset = config->init_offset[1];
    for (int h = 0; h < 3; ++h) {
        p.amplitude[h] = init_amplitude(config, h, 1);
        p.phase[h] = phase[h];
    }
}

// Channel 2 starts from channel 1's fit, one line later.
void start_channel2(const FitSettings& s, const kevra_config* config, bool configured, const ChannelParams& ch1,
                    ChannelParams& p) {
    for (int h = 0; h < 3; ++h) {
        p.phase[h] = fmodf(ch1.phase[h], s.period[h]) + std::copysign(s.line_time, ch1.phase[h]);
    }
    if (!configured) {
        p.offset = ch1.offset;
        for (int h = 0; h < 3; ++h) p.amplitude[h] = ch1.amplitude[h];
        return;
    }
    p.offset = config->init_offset[2];
    for (int h = 0; h < 3; ++h) p.amplitude[h] = std::copysign(init_amplitude(config, h, 2), ch1.amplitude[h]);
}

// Channels 0 and 3 keep their own offset estimate; amplitudes follow channel
// 1's sign, phases come from `phase_source` (channel 1 or 2).
void start_outer_channel(int c, const FitSettings& s, const kevra_config* config, bool configured,
                         const ChannelParams& ch1, const ChannelParams& phase_source, ChannelParams& p) {
    for (int h = 0; h < 3; ++h) p.phase[h] = fmodf(phase_source.phase[h], s.period[h]);
    if (!configured) {
        p.amplitude[0] = std::copysign(p.amplitude[0], ch1.amplitude[0]);
        derive_higher_amplitudes(p);
        return;
    }
    p.offset = config->init_offset[c];
    for (int h = 0; h < 3; ++h) p.amplitude[h] = std::copysign(init_amplitude(config, h, c), ch1.amplitude[h]);
}

}  // namespace

void set_starting_values(int stage, const FitSettings& s, const kevra_config* config, FitState& f) {
    const bool configured = config->use_initial_values == 1;
    const ChannelParams& ch1 = f.channel[1];
    switch (stage) {
        case 0: start_channel1(config, configured, f.channel[1]); break;
        case 1: start_channel2(s, config, configured, ch1, f.channel[2]); break;
        case 2: start_outer_channel(0, s, config, configured, ch1, ch1, f.channel[0]); break;
        default: start_outer_channel(3, s, config, configured, ch1, f.channel[2], f.channel[3]); break;
    }
}

}  // namespace kevra
