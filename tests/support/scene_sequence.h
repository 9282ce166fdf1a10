// Frame sequences made from first principles for the scene classifier's tests:
// a picture fixed to the sensor lines (moving with the camera), a lamp whose
// ripple follows absolute time, each line's light averaged over its exposure
// in closed form. Only basic arithmetic and the scene layer's own sine, so the
// same frames come out on every processor.
#ifndef KEVRA_TESTS_SUPPORT_SCENE_SEQUENCE_H
#define KEVRA_TESTS_SUPPORT_SCENE_SEQUENCE_H

#include <cstdint>
#include <random>
#include <vector>

#include "kevra_scene.h"
#include "scene/scene_math.h"

namespace kevra_test {

enum class Picture { Uniform, Gradient, WindowOverDesk };

struct SequencePlan {
    double mains = 50.0;     // supply frequency, Hz (before drift)
    double drift = 0.0;      // relative error of the supply frequency
    double ripple[3] = {};   // lamp: relative amplitudes at 2, 4 and 6 x the supply
    double fps = 30.0;
    float exposure = 4000.0f;
    int change_frame = -1;   // from this frame on the exposure is exposure_after
    float exposure_after = 0.0f;
    int lamp_off_before = 0;  // frames before this one are lit steadily
    int lamp_off_from = 1 << 30;  // frames from this one on are lit steadily
    Picture picture = Picture::Uniform;
    int motion = 0;          // picture moves down this many lines per frame
    double exposure_ramp = 0.0;  // exposure grows by this share per frame (auto-exposure)
    int lamp_zones = 0x3F;   // zones the lamp lights (bit z: zone z)
    double daylight = 0.0;   // share of steady light mixed into the lit zones
    // An object in some zones: a band of band_lines lines whose level is
    // band_gain times the picture's, moving down band_speed lines per frame.
    int band_zones = 0;
    double band_gain = 1.0;
    int band_lines = 320;
    int band_speed = 0;
    int band_first = 0;      // its top line in frame 0
    double noise = 0.002;    // relative noise of each sample
    int rows = 250;
    int lines_per_row = 16;
    float line_time = 7.5f;
    int frames = 6;
    uint64_t seed = 1;
    int64_t first_ns = INT64_C(1234567890123);
};

struct SequenceFrame {
    std::vector<uint32_t> sum, count;
    kevra_scene_frame frame;
};

inline double picture_level(Picture p, double line, double lines, int zone) {
    const double y = line / lines;
    switch (p) {
        case Picture::Gradient: return 1.3 - 0.6 * y;
        case Picture::WindowOverDesk: {
            const double base = y < 0.4 ? 1.6 + 0.1 * zone : 0.25 + 0.05 * zone;
            // Fine texture, and shading near the ripple's period down the rows.
            return base * (1.0 + 0.3 * kevra_scene::scene_sincos(0.37 * line + zone).sin +
                           0.2 * kevra_scene::scene_sincos(0.0045 * line + 2.0 * zone).sin);
        }
        default: return 1.0;
    }
}

// Mean of 1 + sum a_h cos(h W t) over [t, t + e], W = 2 pi x twice the supply.
inline double lamp_light(const double (&a)[3], double w, double t, double e) {
    double light = 1.0;
    for (int h = 1; h <= 3; ++h) {
        const double k = h * w;
        light += a[h - 1] * (kevra_scene::scene_sincos(k * (t + e)).sin - kevra_scene::scene_sincos(k * t).sin) /
                 (k * e);
    }
    return light;
}

inline std::vector<SequenceFrame> make_sequence(const SequencePlan& s) {
    std::mt19937_64 rng(s.seed);
    const double w = 2.0 * kevra_scene::kPi * 2.0 * s.mains * (1.0 + s.drift) * 1e-6;
    const double steady[3] = {};
    const int lines = s.rows * s.lines_per_row;
    std::vector<SequenceFrame> out(size_t(s.frames));
    for (int k = 0; k < s.frames; ++k) {
        SequenceFrame& f = out[size_t(k)];
        const int64_t ts = s.first_ns + int64_t(double(k) * 1e9 / s.fps + 0.5);
        float e = k >= s.change_frame && s.change_frame >= 0 ? s.exposure_after : s.exposure;
        e = float(double(e) * (1.0 + s.exposure_ramp * k));
        const bool lit = k >= s.lamp_off_before && k < s.lamp_off_from;
        f.sum.assign(size_t(s.rows) * 24, 0);
        f.count.assign(size_t(s.rows) * 24, 0);
        for (int r = 0; r < s.rows; ++r) {
            // A statistic row averages its lines, each the picture there times
            // the light over that line's exposure.
            double level[6] = {};
            for (int l = 0; l < s.lines_per_row; ++l) {
                const int line = r * s.lines_per_row + l;
                const double t = double(ts) * 1e-3 + double(line) * double(s.line_time);
                const double light = lamp_light(lit ? s.ripple : steady, w, t, double(e));
                const double mixed = s.daylight + (1.0 - s.daylight) * light;
                const int band_top = s.band_first + s.band_speed * k;
                const bool in_band = line >= band_top && line < band_top + s.band_lines;
                for (int z = 0; z < 6; ++z) {
                    const double lamp = (s.lamp_zones >> z & 1) ? mixed : 1.0;
                    const double object = in_band && (s.band_zones >> z & 1) ? s.band_gain : 1.0;
                    level[z] += picture_level(s.picture, double(line + s.motion * k), lines, z) * object * lamp;
                }
            }
            for (int z = 0; z < 6; ++z) {
                level[z] *= double(e) / 4000.0 / double(s.lines_per_row);
                for (int c = 0; c < 4; ++c) {
                    // Irwin-Hall: a unit normal from twelve uniforms, the same on every library.
                    double n = -6.0;
                    for (int i = 0; i < 12; ++i) n += double(rng() >> 11) * 0x1.0p-53;
                    const double mean = 512.0 * 400.0 * level[z] * (c == 0 ? 0.6 : c == 3 ? 0.5 : 1.0);
                    f.sum[size_t(24 * r + 4 * z + c)] = uint32_t(mean * (1.0 + s.noise * n) + 0.5);
                    f.count[size_t(24 * r + 4 * z + c)] = 512;
                }
            }
        }
        f.frame = {f.sum.data(), f.count.data(), ts, e, s.line_time, s.rows, s.lines_per_row};
    }
    return out;
}

}  // namespace kevra_test

#endif  // KEVRA_TESTS_SUPPORT_SCENE_SEQUENCE_H
