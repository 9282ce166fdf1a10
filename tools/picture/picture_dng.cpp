// DNG through LibRaw: the undemosaicked Bayer mosaic of the visible area, with
// the file's black and white levels, exposure time and capture time.
#include <libraw/libraw.h>

#include <memory>
#include <string>

#include "input_error.h"
#include "picture_codecs.h"

namespace kevra_tool {
namespace picture_codecs {
namespace {

void count_data_error(void* data, const char*, const int) { ++*static_cast<int*>(data); }

char colour_letter(int colour) { return "RGBG"[colour & 3]; }

}  // namespace

Picture decode_dng(const std::string& bytes, const std::string& name, uint64_t max_pixels) {
    auto raw = std::make_unique<LibRaw>(LIBRAW_OPTIONS_NONE);
    int data_errors = 0;
    raw->set_dataerror_handler(count_data_error, &data_errors);
    int status = raw->open_buffer(const_cast<char*>(bytes.data()), bytes.size());
    if (status != LIBRAW_SUCCESS) throw InputError(name, "", std::string("corrupt DNG: ") + libraw_strerror(status));
    const libraw_data_t& d = raw->imgdata;
    if (d.idata.dng_version == 0) throw InputError(name, "", "corrupt DNG: no DNG version");
    check_size(name, d.sizes.raw_width, d.sizes.raw_height, max_pixels);
    check_size(name, d.sizes.width, d.sizes.height, max_pixels);
    // A Bayer mosaic: a 2 x 2 pattern, not X-Trans (filters 9) nor full colour.
    if (d.idata.filters < 1000 || d.idata.colors != 3)
        throw InputError(name, "", "unsupported DNG: not a Bayer mosaic (expected raw photosites in a 2 x 2 pattern)");
    status = raw->unpack();
    if (status != LIBRAW_SUCCESS) throw InputError(name, "", std::string("corrupt DNG: ") + libraw_strerror(status));
    if (data_errors > 0 || raw->error_count() > 0) throw InputError(name, "", "truncated or corrupt DNG data");
    if (!d.rawdata.raw_image) throw InputError(name, "", "unsupported DNG: not a Bayer mosaic");

    if (d.sizes.top_margin + d.sizes.height > d.sizes.raw_height ||
        d.sizes.left_margin + d.sizes.width > d.sizes.raw_width || d.sizes.raw_pitch / 2 < d.sizes.raw_width)
        throw InputError(name, "", "corrupt DNG: visible area outside the mosaic");

    Picture picture;
    picture.path = name;
    picture.kind = PictureKind::Raw;
    picture.width = d.sizes.width;
    picture.height = d.sizes.height;
    picture.channels = 1;
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 2; ++x) picture.cfa += colour_letter(raw->COLOR(y, x));
    if (picture.cfa != "RGGB" && picture.cfa != "BGGR" && picture.cfa != "GRBG" && picture.cfa != "GBRG")
        throw InputError(name, "", "unsupported DNG colour pattern " + picture.cfa);
    // One black level for the picture: the mean over the pattern's positions.
    const libraw_colordata_t& colour = d.color;
    double black = colour.black + (colour.cblack[0] + colour.cblack[1] + colour.cblack[2] + colour.cblack[3]) / 4.0;
    const unsigned tile = colour.cblack[4] * colour.cblack[5];
    if (tile > 0 && tile <= LIBRAW_CBLACK_SIZE - 6) {
        double sum = 0.0;
        for (unsigned i = 0; i < tile; ++i) sum += colour.cblack[6 + i];
        black += sum / tile;
    }
    picture.black_level = black;
    picture.white_level = colour.maximum > 0 ? colour.maximum : 65535;
    if (d.other.shutter > 0.0f) picture.exposure_time_us = double(d.other.shutter) * 1e6;
    if (d.other.timestamp > 0) picture.timestamp_ns = int64_t(d.other.timestamp) * 1000000000;

    const unsigned pitch = d.sizes.raw_pitch / 2;
    picture.pixels.resize(size_t(picture.width) * size_t(picture.height));
    for (int y = 0; y < picture.height; ++y) {
        const ushort* in = d.rawdata.raw_image + size_t(y + d.sizes.top_margin) * pitch + d.sizes.left_margin;
        float* out = picture.pixels.data() + size_t(y) * size_t(picture.width);
        for (int x = 0; x < picture.width; ++x) out[x] = in[x];
    }
    return picture;
}

}  // namespace picture_codecs
}  // namespace kevra_tool
