#include "scene_confounders.h"

#include <algorithm>
#include <cmath>

#include "input_error.h"
#include "sensor_noise.h"

namespace kevra_tool {
namespace {

double symmetric_unit(uint64_t bits) { return double(bits >> 11) * 0x1.0p-52 - 1.0; }  // [-1, 1)

// Share of [a, a + 1) inside [lo, hi).
double overlap(double a, double lo, double hi) { return std::max(0.0, std::min(a + 1.0, hi) - std::max(a, lo)); }

// Index i folded into 0..n-1 by mirroring, keeping i's parity so that a
// column keeps its colour.
int mirror_same_parity(int i, int n) {
    const int period = 2 * n;
    int m = i % period;
    if (m < 0) m += period;
    if (m >= n) m = period - 1 - m;
    if ((m & 1) != (i & 1)) m = (m ^ 1) < n ? (m ^ 1) : m - 1;
    return m;
}

}  // namespace

void check_lamp_coverage(const LampCoverage& c) {
    if (!(c.left >= 0.0 && c.left < c.right && c.right <= 1.0))
        throw InputError("synth", "--lamp-columns", "expected LEFT,RIGHT fractions of the width, 0 <= LEFT < RIGHT <= 1");
    if (!(c.edge >= 0.0 && c.edge <= 1.0)) throw InputError("synth", "--lamp-columns", "expected an edge of 0..1 of the width");
    if (!(c.outside >= 0.0 && c.outside <= 1.0))
        throw InputError("synth", "--lamp-columns", "expected a share of 0..1 of the light outside");
}

void check_object(const MovingObject& o) {
    const auto [x, y, w, h] = o.box;
    if (!(x >= 0.0 && y >= 0.0 && w > 0.0 && h > 0.0 && x + w <= 1.0 && y + h <= 1.0))
        throw InputError("synth", "--object", "expected x,y,width,height as fractions of the frame, inside it");
    if (!(std::fabs(o.lines_per_frame) <= 1e5 && std::fabs(o.columns_per_frame) <= 1e5))
        throw InputError("synth", "--object-motion", "expected finite lines and columns per frame");
    if (o.look == ObjectLook::Picture && !o.picture)
        throw InputError("synth", "--object-look", "a picture object needs its picture");
}

std::vector<double> lamp_weights(const LampCoverage& c, int columns) {
    std::vector<double> w(static_cast<size_t>(columns));
    for (int x = 0; x < columns; ++x) {
        const double at = (double(x) + 0.5) / double(columns);
        double lit = at >= c.left && at < c.right ? 1.0 : 0.0;
        if (c.edge > 0.0) lit = std::clamp(std::min(at - c.left, c.right - at) / c.edge + 0.5, 0.0, 1.0);
        w[size_t(x)] = c.outside + (1.0 - c.outside) * lit;
    }
    return w;
}

double partial_lamp_ripple(const std::vector<double>& weights, int zone_width, double lo, double hi, double mean) {
    double largest = 0.0;
    for (size_t z = 0; z * size_t(zone_width) < weights.size(); ++z) {
        double share = 0.0;
        for (int x = 0; x < zone_width; ++x) share += weights[z * size_t(zone_width) + size_t(x)];
        share /= zone_width;
        // The zone's light is 1 + share x (lamp - 1): steady light fills the rest.
        const double zone_mean = 1.0 + share * (mean - 1.0);
        if (zone_mean > 0.0) largest = std::max(largest, share * (hi - lo) / zone_mean);
    }
    return largest;
}

Displacement jitter(uint64_t seed, int n, double lines, double columns) {
    if (n == 0) return {};
    const uint64_t h = mix64(seed ^ 0x6A09E667F3BCC909ull ^ mix64(uint64_t(n)));
    Displacement d;
    d.lines = lines * symmetric_unit(h);
    d.columns = 2 * int(std::lround(columns * symmetric_unit(mix64(h)) / 2.0));
    return d;
}

void shift_line(std::vector<float>& content, int columns, std::vector<float>& scratch) {
    if (columns == 0) return;
    const int n = int(content.size());
    scratch.resize(content.size());
    for (int c = 0; c < n; ++c) scratch[size_t(c)] = content[size_t(mirror_same_parity(c - columns, n))];
    content.swap(scratch);
}

ObjectPainter::ObjectPainter(const MovingObject& object, int lines, int zones, int zone_width)
    : object_(object), columns_(zones * zone_width) {
    left0_ = object.box[0] * columns_;
    top0_ = object.box[1] * lines;
    width_ = object.box[2] * columns_;
    height_ = object.box[3] * lines;
    if (object.look == ObjectLook::Picture)
        texture_ = std::make_unique<PictureSampler>(*object.picture, std::array<double, 4>{0.0, 0.0, 1.0, 1.0}, lines,
                                                    zones, zone_width);
}

void ObjectPainter::paint(int line, double top, double left, std::vector<float>& content) const {
    const double rows = overlap(double(line), top, top + height_);
    // Clamped in double: an object far outside the frame must not overflow an int.
    const int first = int(std::clamp(std::floor(left), 0.0, double(columns_)));
    const int end = int(std::clamp(std::ceil(left + width_), 0.0, double(columns_)));
    if (rows <= 0.0 || first >= end) return;
    if (texture_) {
        // The texture travels with the box: down by whole lines and fractions,
        // across by whole colour cells.
        row_.resize(size_t(columns_));
        texture_->line(line, top - top0_, row_.data());
        shift_line(row_, 2 * int(std::lround((left - left0_) / 2.0)), scratch_);
    }
    const float flat = object_.look == ObjectLook::Dark ? kDarkObject : kBrightObject;
    for (int c = first; c < end; ++c) {
        const double cover = rows * overlap(double(c), left, left + width_);
        const double value = texture_ ? double(row_[size_t(c)]) : double(flat);
        content[size_t(c)] = float((1.0 - cover) * double(content[size_t(c)]) + cover * value);
    }
}

}  // namespace kevra_tool
