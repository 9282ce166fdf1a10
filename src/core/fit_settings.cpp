#include "core/fit_settings.h"

#include <math.h>

#include <cmath>

#include "confidence/cos_to_sin.h"

namespace kevra {

namespace {

constexpr double kPi = 3.141592653589793;

// Single-precision nearest values of 1e6 / (2, 4, 6 times the mains frequency).
constexpr float kPeriods50[3] = {10000.0f, 5000.0f, 3333.3333f};
constexpr float kPeriods60[3] = {8333.333f, 4166.6665f, 2777.7778f};

float cube(float x) { return x * x * x; }

float triple_sine(float s) { return 3.0f * s - 4.0f * cube(s); }
float triple_cosine(float c) { return 4.0f * cube(c) - 3.0f * c; }
float double_sine(float s, float c) { return 2.0f * s * c; }
float double_cosine(float c) { return 2.0f * (c * c) - 1.0f; }

void set_table(HarmonicTable& t, const float cos_lane[4], const float sin_lane[4], float rc, float rs) {
    for (int k = 0; k < 4; ++k) {
        t.cos_lane[k] = cos_lane[k];
        t.sin_lane[k] = sin_lane[k];
    }
    t.rot_cos = rc;
    t.rot_sin = rs;
}

}  // namespace

void make_harmonic_tables(float delta, HarmonicTable out[3]) {
    const float c1 = cosf(delta);
    const float s1 = sine_from_cosine(delta, c1);
    const float s2 = (2.0f * s1) * c1;
    const float s3 = triple_sine(s1);
    const float c2 = c1 * (c1 + c1) - 1.0f;
    const float c3 = triple_cosine(c1);
    const float s4 = c2 * (2.0f * s2);
    const float c4 = double_cosine(c2);
    const float s6 = double_sine(s3, c3);
    const float c6 = double_cosine(c3);
    const float s9 = triple_sine(s3);
    const float c9 = triple_cosine(c3);
    const float s8 = double_sine(s4, c4);
    const float c8 = double_cosine(c4);
    const float s12 = double_sine(s6, c6);
    const float c12 = double_cosine(c6);

    const float cos1[4] = {1.0f, c1, c2, c3}, sin1[4] = {0.0f, s1, s2, s3};
    const float cos2[4] = {1.0f, c2, c4, c6}, sin2[4] = {0.0f, s2, s4, s6};
    const float cos3[4] = {1.0f, c3, c6, c9}, sin3[4] = {0.0f, s3, s6, s9};
    set_table(out[0], cos1, sin1, c4, s4);
    set_table(out[1], cos2, sin2, c8, s8);
    set_table(out[2], cos3, sin3, c12, s12);
}

FitSettings make_fit_settings(const kevra_parameter* param, const kevra_config* config) {
    FitSettings s{};
    s.row_num = param->row_num;
    const float* periods = config->mains_frequency == 50 ? kPeriods50 : kPeriods60;
    for (int h = 0; h < 3; ++h) {
        s.period[h] = periods[h];
        s.half_period[h] = periods[h] * 0.5f;
    }
    const float mains_micro = static_cast<float>(static_cast<double>(config->mains_frequency) * 1e-6);
    const float w = static_cast<float>(static_cast<double>(mains_micro) * kPi);
    s.w = w;
    s.rate[0] = w * 4.0f;
    s.rate[1] = w * 8.0f;
    s.rate[2] = w * 12.0f;
    for (int h = 0; h < 3; ++h) s.neg_rate[h] = -s.rate[h];
    const float exposure = param->exposure_time;
    s.exposure_angle[0] = (w + w) * exposure;
    s.exposure_angle[1] = (w * 4.0f) * exposure;
    s.exposure_angle[2] = (w * 6.0f) * exposure;
    s.row_step = ((w * 4.0f) * param->line_time) * static_cast<float>(config->lines_per_row);
    s.start_time = param->start_time[0];
    s.line_time = param->line_time;
    // Negated in double: -INT_MIN has no int32 value.
    s.epsilon = static_cast<float>(std::pow(10.0, -static_cast<double>(config->convergence_exponent)));
    s.offset_step = config->offset_step;
    s.phase_step = config->phase_step;
    s.amplitude_step = config->amplitude_step;
    s.max_iterations = config->max_iterations;
    make_harmonic_tables(s.row_step, s.harmonic);
    return s;
}

}  // namespace kevra
