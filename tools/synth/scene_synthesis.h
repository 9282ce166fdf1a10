// Synthetic rolling-shutter scenes under a mains-powered lamp, turned into the
// raw statistics streams the image-signal hardware would produce.
#ifndef KEVRA_TOOLS_SCENE_SYNTHESIS_H
#define KEVRA_TOOLS_SCENE_SYNTHESIS_H

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "capture.h"
#include "lamp_catalogue.h"
#include "picture.h"
#include "scene_confounders.h"

namespace kevra_tool {

struct Scene {
    // Lamp.
    double mains_frequency = 50.0;  // Hz; the light ripples at twice this
    double mains_drift = 0.0;       // the supply runs at mains_frequency x (1 + drift)
    double mains_phase = 0.0;       // us: a zero crossing of the supply voltage
    double depth = 0.25;            // share of the light that follows the supply; 0 = steady light
    std::vector<double> harmonics;  // empty: rectified sine; else amplitudes at 2, 4 and 6 x mains
    std::optional<Lamp> lamp;       // when set, replaces depth and harmonics
    double daylight = 0.0;          // share of steady light mixed into the lamp's, 0..1
    std::optional<LampCoverage> lamp_coverage;  // unset: the lamp lights every column

    // Sensor timing and statistics geometry.
    float exposure_time = 4000.0f;  // us
    float line_time = 10.0f;        // us per sensor line
    float start_time = 0.0f;        // us: start of line 0's exposure
    int lines_per_row = 12;
    int rows = 256;
    int zone_width = 128;  // pixel columns of one zone that the statistics sample

    // Scene content: a picture, or else constant zone gains down the frame.
    // The picture's window (x, y, width, height as fractions of it) is
    // resampled by area averaging onto the sensor: rows x lines_per_row lines
    // by 6 x zone_width columns. Outside the picture it is mirrored.
    std::shared_ptr<const Picture> picture;
    std::array<double, 4> window{0.0, 0.0, 1.0, 1.0};
    std::array<double, 6> zone_gain{0.85, 1.0, 1.15, 1.1, 0.95, 0.8};  // without a picture
    std::optional<MovingObject> object;  // over the picture or the zone gains

    // Sensor. A pixel's mean is level x content x channel_gain x light, where
    // content is zone_gain, or the picture divided by its mean over all
    // pixels and channels.
    double level = 400.0;  // mean pixel value under the lamp's mean light
    std::array<double, 4> channel_gain{0.55, 1.0, 1.0, 0.7};
    int bit_depth = 10;
    double noise = 3.0;      // read noise: standard deviation of each pixel, in pixel values
    double full_well = 0.0;  // electrons at full scale (shot noise); 0: none
    std::vector<int> empty_zones;
    uint64_t seed = 1;
};

struct SequenceOptions {
    int frames = 1;
    double fps = 30.0;
    double motion_lines = 0.0;  // the picture moves this many sensor lines down per frame (may be fractional)
    // From this frame on the exposure is exposure_after (auto-exposure); the
    // level stays, the gain making up for it (fewer electrons per value).
    int exposure_change_frame = -1;
    float exposure_after = 0.0f;
    // Auto-exposure creeping: frame n's exposure is exposure_ramp^n times
    // frame 0's, the gain keeping the level. Not with exposure_change_frame.
    double exposure_ramp = 1.0;
    // From this frame on all light, lamp and daylight, is brightness_step
    // times brighter (a door opens, a cloud passes).
    int brightness_step_frame = -1;
    double brightness_step = 1.0;
    // Handheld shake: frame n > 0 is displaced from frame 0 by up to this
    // many lines and columns either way, drawn from the scene's seed.
    double jitter_lines = 0.0;
    double jitter_columns = 0.0;
    // Start of frame 0's line 0 exposure on a monotonic clock; < 0: a large
    // value derived from the scene's seed. Frame n starts n / fps later.
    int64_t first_timestamp_ns = -1;
};

struct SynthFrame {
    Capture capture;  // capture.timestamp_ns set
    // Peak-to-peak of the exposure-integrated lamp light over the frame's
    // sensor lines, divided by its mean: what the rows would show without
    // picture and noise; under a partial lamp, that of the most lit zone.
    double visible_ripple = 0.0;
};

struct SensorMode {
    const char* name;
    const char* description;
    int lines;  // sensor lines read out
    float line_time;
    int lines_per_row;
};

// Row geometries of common readouts; rows x lines_per_row covers the lines.
const std::vector<SensorMode>& sensor_modes();
const SensorMode* find_sensor_mode(const std::string& name);  // nullptr when unknown

// Throws InputError naming the offending option.
void check_scene(const Scene& scene);
void check_sequence(const Scene& scene, const SequenceOptions& options);

// Mean lamp brightness over [start, start + duration] us, relative to the
// lamp's long-run mean (which is 1); daylight included.
double lamp_mean(const Scene& scene, double start, double duration);

// The capture a camera would hand the detector for this scene: default tuning
// with the scene's mains frequency and lines per row.
Capture synthesize(const Scene& scene);

// Frames at options.fps; the lamp's phase runs on in absolute time, so frame
// n's line j sees the lamp over [start_time + (t_n - t_0) + j x line_time,
// ... + exposure]. Frame 0 is synthesize(scene) with a timestamp; frame n's
// noise is drawn from seed + n x 0x9E3779B97F4A7C15. Every capture keeps
// the scene's start_time.
std::vector<SynthFrame> synthesize_sequence(const Scene& scene, const SequenceOptions& options);

// The same one frame at a time, for sequences too long to hold: everything
// is checked before the first call of each(index, frame).
void synthesize_sequence(const Scene& scene, const SequenceOptions& options,
                         const std::function<void(int, SynthFrame&&)>& each);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_SCENE_SYNTHESIS_H
