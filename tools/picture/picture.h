// Picture files read into linear light: the scene content of `kevra synth
// --scene` and the camera frames of `kevra stats`.
#ifndef KEVRA_TOOLS_PICTURE_H
#define KEVRA_TOOLS_PICTURE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kevra_tool {

enum class PictureKind {
    Processed,  // sRGB-encoded PNG/JPEG/8-bit PGM/PPM/TIFF: decoded to linear light
    Raw,        // sensor values (16-bit PGM/TIFF mosaic, DNG): linear already, one value per photosite
};
// As scene content a raw picture is linear grey: (value - black_level) /
// (white_level - black_level), its mosaic not undone.

struct Picture {
    std::string path;          // for messages
    PictureKind kind = PictureKind::Processed;
    int width = 0;
    int height = 0;
    int channels = 0;          // 1 (grey or a raw mosaic) or 3 (RGB)
    // Row-major, channels interleaved, linear light: 0..1 of full scale for a
    // processed picture; sensor values (0..white_level) for a raw one.
    std::vector<float> pixels;
    double black_level = 0.0;  // raw only
    double white_level = 1.0;  // raw: the largest value; processed: 1
    // What the file says of its capture, where it says it (DNG/TIFF/EXIF).
    std::optional<double> exposure_time_us;
    std::optional<int64_t> timestamp_ns;
    // Raw: the colours of the mosaic's first 2 x 2 photosites, row by row
    // ("RGGB", "BGGR", "GRBG" or "GBRG"), where the file says them (DNG).
    std::string cfa;

    float at(int x, int y, int c) const { return pixels[(size_t(y) * size_t(width) + size_t(x)) * size_t(channels) + size_t(c)]; }
};

// Decodes PNG (8/16 bit), JPEG, PGM/PPM (8/16 bit), TIFF (8/16 bit) and DNG
// with Debian's libraries. Throws InputError(path, "", problem) for an
// unreadable, truncated, corrupt or unsupported file.
Picture read_picture(const std::string& path);

// The same from bytes already in memory; name appears in messages. For the
// fuzz target and for tests.
Picture decode_picture(const std::string& bytes, const std::string& name);

// The same, refusing pictures of more than max_pixels pixels before their
// pixels are decoded (the default is 2^26).
Picture decode_picture(const std::string& bytes, const std::string& name, uint64_t max_pixels);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_PICTURE_H
