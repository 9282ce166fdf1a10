#include "picture.h"

#include <array>
#include <cmath>
#include <cstring>
#include <vector>

#include "file_io.h"
#include "input_error.h"
#include "picture_codecs.h"

namespace kevra_tool {
namespace picture_codecs {
namespace {

double srgb_decode(double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); }

template <unsigned N>
std::vector<float> srgb_table() {
    std::vector<float> t(N);
    for (unsigned i = 0; i < N; ++i) t[i] = float(srgb_decode(double(i) / double(N - 1)));
    return t;
}

}  // namespace

void check_size(const std::string& name, uint64_t width, uint64_t height, uint64_t max_pixels) {
    if (width == 0 || height == 0) throw InputError(name, "", "empty picture (" + std::to_string(width) + " x " +
                                                                  std::to_string(height) + ")");
    if (width > 65535 || height > 65535 || width * height > max_pixels)
        throw InputError(name, "", "picture of " + std::to_string(width) + " x " + std::to_string(height) +
                                       " pixels is larger than this tool takes (" + std::to_string(max_pixels) +
                                       " pixels)");
}

float srgb_linear8(unsigned value) {
    static const std::vector<float> table = srgb_table<256>();
    return table[value & 0xFF];
}

float srgb_linear16(unsigned value) {
    static const std::vector<float> table = srgb_table<65536>();
    return table[value & 0xFFFF];
}

}  // namespace picture_codecs

namespace {

// A 64-megapixel frame, as the largest camera sensors give, in RGB floats.
constexpr uint64_t kMaxPixels = uint64_t(1) << 26;

bool starts_with(const std::string& bytes, const char* magic, size_t n) {
    return bytes.size() >= n && std::memcmp(bytes.data(), magic, n) == 0;
}

}  // namespace

Picture decode_picture(const std::string& bytes, const std::string& name) {
    return decode_picture(bytes, name, kMaxPixels);
}

Picture decode_picture(const std::string& bytes, const std::string& name, uint64_t max_pixels) {
    using namespace picture_codecs;
    if (starts_with(bytes, "\x89PNG\r\n\x1a\n", 8)) return decode_png(bytes, name, max_pixels);
    if (starts_with(bytes, "\xFF\xD8\xFF", 3)) return decode_jpeg(bytes, name, max_pixels);
    if (starts_with(bytes, "II*\0", 4) || starts_with(bytes, "MM\0*", 4)) return decode_tiff(bytes, name, max_pixels);
    // Grey and colour maps, plain or raw. libnetpbm leaks when it refuses a
    // PAM header, and bitmaps hold no light levels, so neither is taken.
    if (bytes.size() >= 2 && bytes[0] == 'P' && (bytes[1] == '2' || bytes[1] == '3' || bytes[1] == '5' || bytes[1] == '6'))
        return decode_pnm(bytes, name, max_pixels);
    if (bytes.size() >= 2 && bytes[0] == 'P' && (bytes[1] == '1' || bytes[1] == '4' || bytes[1] == '7'))
        throw InputError(name, "", "unsupported Netpbm format (PBM bitmap or PAM); expected PGM or PPM");
    if (bytes.empty()) throw InputError(name, "", "empty file");
    throw InputError(name, "", "not a picture this tool reads (PNG, JPEG, PGM/PPM, TIFF or DNG)");
}

Picture read_picture(const std::string& path) {
    std::string bytes, reason;
    if (!read_file(path, bytes, reason)) throw InputError(path, "", "cannot read: " + reason);
    return decode_picture(bytes, path);
}

}  // namespace kevra_tool
