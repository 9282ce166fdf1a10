#include "picture_sampling.h"

#include <algorithm>
#include <cmath>

#include "input_error.h"

namespace kevra_tool {
namespace {

// Outside the picture it is mirrored: ... 1 0 | 0 1 ... n-1 | n-1 n-2 ...
int mirror(long i, int n) {
    const long period = 2L * n;
    long m = i % period;
    if (m < 0) m += period;
    return int(m < n ? m : period - 1 - m);
}

struct Tap {
    int index;
    float weight;
};

// Area-averaging weights of output cell [start, start + width) over unit
// source cells: each cell's overlap, divided by width.
void taps(double start, double width, int n, std::vector<Tap>& out) {
    out.clear();
    const double end = start + width;
    for (long i = long(std::floor(start)); double(i) < end; ++i) {
        const double overlap = std::fmin(end, double(i + 1)) - std::fmax(start, double(i));
        if (overlap > 0.0) out.push_back({mirror(i, n), float(overlap / width)});
    }
}

}  // namespace

PictureSampler::PictureSampler(const Picture& p, const std::array<double, 4>& window, int lines, int zones,
                               int zone_width)
    : height_(p.height), columns_(zones * zone_width) {
    const std::string name = p.path.empty() ? "picture" : p.path;
    if (p.width < 1 || p.height < 1 || (p.channels != 1 && p.channels != 3) ||
        p.pixels.size() != size_t(p.width) * size_t(p.height) * size_t(p.channels))
        throw InputError(name, "", "not a picture of 1 or 3 channels");
    const double black = p.kind == PictureKind::Raw ? p.black_level : 0.0;
    double total = 0.0;
    for (float v : p.pixels) total += double(v) - black;
    const double mean = total / double(p.pixels.size());
    if (!(mean > 0.0) || !std::isfinite(mean)) throw InputError(name, "", "the picture is black: nothing to show");
    const double scale = 1.0 / mean;

    top_ = window[1] * p.height;
    rows_per_line_ = window[3] * p.height / std::max(lines, 1);
    const double left = window[0] * p.width;
    const double per_column = window[2] * p.width / columns_;
    // Lines of even parity show red on even columns and green on odd ones;
    // odd lines green and blue. A grey picture feeds every channel.
    const int rgb[2][2] = {{0, 1}, {1, 2}};
    rows_.assign(size_t(p.height) * 2 * size_t(columns_), 0.0f);
    std::vector<Tap> t;
    for (int c = 0; c < columns_; ++c) {
        taps(left + c * per_column, per_column, p.width, t);
        const int x = c % zone_width;  // the colour pattern restarts with each zone
        for (int parity = 0; parity < 2; ++parity) {
            const int channel = p.channels == 1 ? 0 : rgb[parity][x & 1];
            for (int y = 0; y < p.height; ++y) {
                double v = 0.0;
                for (const Tap& tap : t) v += tap.weight * (double(p.at(tap.index, y, channel)) - black);
                rows_[(size_t(y) * 2 + size_t(parity)) * size_t(columns_) + size_t(c)] = float(v * scale);
            }
        }
    }
}

void PictureSampler::line(int line, double shift, float* out) const {
    thread_local std::vector<Tap> t;
    taps(top_ + (double(line) - shift) * rows_per_line_, rows_per_line_, height_, t);
    const size_t parity = size_t(line & 1);
    for (int c = 0; c < columns_; ++c) out[c] = 0.0f;
    for (const Tap& tap : t) {
        const float* row = &rows_[(size_t(tap.index) * 2 + parity) * size_t(columns_)];
        for (int c = 0; c < columns_; ++c) out[c] += tap.weight * row[c];
    }
}

}  // namespace kevra_tool
