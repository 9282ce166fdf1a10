// The decoders behind read_picture, one per file format, and what they share.
#ifndef KEVRA_TOOLS_PICTURE_CODECS_H
#define KEVRA_TOOLS_PICTURE_CODECS_H

#include <cstdint>
#include <string>

#include "picture.h"

namespace kevra_tool {
namespace picture_codecs {

// Each fills a Picture from a whole file in memory, or throws InputError(name, "", problem).
Picture decode_png(const std::string& bytes, const std::string& name, uint64_t max_pixels);
Picture decode_jpeg(const std::string& bytes, const std::string& name, uint64_t max_pixels);
Picture decode_pnm(const std::string& bytes, const std::string& name, uint64_t max_pixels);
// TIFF, handing a DNG on to decode_dng.
Picture decode_tiff(const std::string& bytes, const std::string& name, uint64_t max_pixels);
Picture decode_dng(const std::string& bytes, const std::string& name, uint64_t max_pixels);

// Refuses an empty picture or one beyond max_pixels (or 65535 on a side).
void check_size(const std::string& name, uint64_t width, uint64_t height, uint64_t max_pixels);

// sRGB-encoded code values to linear light, 0..1.
float srgb_linear8(unsigned value);
float srgb_linear16(unsigned value);

}  // namespace picture_codecs
}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_PICTURE_CODECS_H
