// A picture resampled onto the sensor by area averaging, as the colour
// pattern sees it: one value per sensor pixel, of that pixel's channel.
#ifndef KEVRA_TOOLS_PICTURE_SAMPLING_H
#define KEVRA_TOOLS_PICTURE_SAMPLING_H

#include <array>
#include <vector>

#include "picture.h"

namespace kevra_tool {

class PictureSampler {
public:
    // window: x, y, width, height as fractions of the picture, spread over
    // lines x (zones x zone_width) sensor pixels. Throws InputError when the
    // picture is unusable (empty, black, malformed).
    PictureSampler(const Picture& picture, const std::array<double, 4>& window, int lines, int zones, int zone_width);

    // Sensor line `line` with the picture moved down by shift lines: one
    // value per column, zone by zone; even columns of even lines hold red,
    // odd columns of odd lines blue, the rest green. Values are relative to
    // the picture's mean over all pixels and channels.
    void line(int line, double shift, float* out) const;

    int columns() const { return columns_; }

private:
    int height_ = 0;  // picture rows
    int columns_ = 0;
    double top_ = 0.0;          // window's first picture row
    double rows_per_line_ = 0;  // picture rows per sensor line
    // Per picture row, the columns already resampled: [row][parity][column]
    // with the channel that lines of that parity show.
    std::vector<float> rows_;
};

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_PICTURE_SAMPLING_H
