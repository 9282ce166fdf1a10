// What real scenes add to a lamp over a still picture and fools detectors:
// a lamp lighting only part of the frame, an object crossing it, a shaking
// camera. The synthesis draws them; the options live on Scene and
// SequenceOptions.
#ifndef KEVRA_TOOLS_SCENE_CONFOUNDERS_H
#define KEVRA_TOOLS_SCENE_CONFOUNDERS_H

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "picture.h"
#include "picture_sampling.h"

namespace kevra_tool {

// The lamp lights the columns from `left` to `right` (fractions of the frame's
// width), fading in and out over `edge`; `outside` of its light still falls
// elsewhere. The rest is steady light of the lamp's mean, so the level holds.
struct LampCoverage {
    double left = 0.0;
    double right = 1.0;
    double edge = 0.0;
    double outside = 0.0;
};

enum class ObjectLook { Bright, Dark, Picture };

// A rectangle in front of the picture: box is x, y, width, height as
// fractions of the frame at frame 0; it moves by lines_per_frame down and
// columns_per_frame right each frame. A Picture look shows `picture` spread
// over the whole frame, the piece under the box carried along with it.
struct MovingObject {
    std::array<double, 4> box{0.0, 0.0, 0.2, 0.2};
    double lines_per_frame = 0.0;
    double columns_per_frame = 0.0;
    ObjectLook look = ObjectLook::Bright;
    std::shared_ptr<const Picture> picture;
};

// Content of a white and of a black object against the picture's mean of 1.
constexpr float kBrightObject = 2.5f;
constexpr float kDarkObject = 0.1f;

// Throw InputError naming the synth option.
void check_lamp_coverage(const LampCoverage& coverage);
void check_object(const MovingObject& object);

// Lamp share of each sensor column, 0..1.
std::vector<double> lamp_weights(const LampCoverage& coverage, int columns);

// Largest peak-to-peak over mean of any zone's light, given the lamp's
// light over the frame's lines (lo, hi, mean) and the lamp share per column.
double partial_lamp_ripple(const std::vector<double>& weights, int zone_width, double lo, double hi, double mean);

// A handheld camera's displacement of frame n from frame 0: lines uniform in
// +-lines, columns in +-columns rounded to whole 2 x 2 colour cells. Frame 0
// stays put; the draw depends only on seed and n.
struct Displacement {
    double lines = 0.0;
    int columns = 0;
};
Displacement jitter(uint64_t seed, int n, double lines, double columns);

// Moves one line's content right by `columns` (even), mirrored at the sides.
void shift_line(std::vector<float>& content, int columns, std::vector<float>& scratch);

// Draws the object over one sensor line's content.
class ObjectPainter {
public:
    // lines x columns: the sensor; zones x zone_width columns.
    ObjectPainter(const MovingObject& object, int lines, int zones, int zone_width);
    // top, left: the box's corner now, in lines and columns.
    void paint(int line, double top, double left, std::vector<float>& content) const;
    double top0() const { return top0_; }
    double left0() const { return left0_; }

private:
    MovingObject object_;
    int columns_;
    double top0_, left0_, height_, width_;
    std::unique_ptr<PictureSampler> texture_;
    mutable std::vector<float> row_, scratch_;
};

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_SCENE_CONFOUNDERS_H
