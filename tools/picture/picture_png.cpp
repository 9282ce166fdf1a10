// PNG through libpng. Its errors longjmp back to decode_png, so every object
// with a destructor lives in decode_png's frame from before the setjmp.
#include <png.h>

#include <csetjmp>
#include <cstring>
#include <utility>
#include <vector>

#include "input_error.h"
#include "picture_codecs.h"

namespace kevra_tool {
namespace picture_codecs {
namespace {

// Everything decode_png changes after its setjmp lives here: libpng holds a
// pointer to it, so the compiler keeps it in memory across libpng's calls and
// it is whole again after a longjmp.
struct PngState {
    const std::string* bytes = nullptr;
    size_t offset = 0;
    char message[200] = {};
    Picture picture;
    std::vector<png_byte> row;
};

void png_fail(png_structp png, png_const_charp message) {
    auto* state = static_cast<PngState*>(png_get_error_ptr(png));
    std::strncpy(state->message, message, sizeof state->message - 1);
    png_longjmp(png, 1);
}

void png_ignore_warning(png_structp, png_const_charp) {}

void png_read_bytes(png_structp png, png_bytep out, png_size_t length) {
    auto* state = static_cast<PngState*>(png_get_io_ptr(png));
    if (length > state->bytes->size() - state->offset) png_error(png, "truncated file");
    std::memcpy(out, state->bytes->data() + state->offset, length);
    state->offset += length;
}

void append_row(Picture& picture, const png_byte* row, int depth) {
    const size_t n = size_t(picture.width) * size_t(picture.channels);
    const size_t at = picture.pixels.size();
    picture.pixels.resize(at + n);
    float* out = picture.pixels.data() + at;
    if (depth == 16)
        for (size_t i = 0; i < n; ++i) out[i] = srgb_linear16(unsigned(row[2 * i]) << 8 | row[2 * i + 1]);
    else
        for (size_t i = 0; i < n; ++i) out[i] = srgb_linear8(row[i]);
}

struct PngReader {
    png_structp png = nullptr;
    png_infop info = nullptr;
    ~PngReader() { png_destroy_read_struct(&png, info ? &info : nullptr, nullptr); }
};

}  // namespace

Picture decode_png(const std::string& bytes, const std::string& name, uint64_t max_pixels) {
    PngState state;
    state.bytes = &bytes;
    Picture& picture = state.picture;
    std::vector<png_byte>& row = state.row;
    picture.path = name;
    PngReader reader;
    reader.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &state, png_fail, png_ignore_warning);
    if (!reader.png) throw InputError(name, "", "cannot start the PNG decoder");
    reader.info = png_create_info_struct(reader.png);
    if (!reader.info) throw InputError(name, "", "cannot start the PNG decoder");
    if (setjmp(png_jmpbuf(reader.png))) {
        throw InputError(name, "", std::string("corrupt PNG: ") + state.message);
    }
    png_set_read_fn(reader.png, &state, png_read_bytes);
    png_read_info(reader.png, reader.info);
    png_uint_32 width = 0, height = 0;
    int depth = 0, colour = 0, interlace = 0;
    png_get_IHDR(reader.png, reader.info, &width, &height, &depth, &colour, &interlace, nullptr, nullptr);
    check_size(name, width, height, max_pixels);
    picture.width = int(width);
    picture.height = int(height);
    // Palettes become RGB and low bit depths 8 bits; alpha is dropped.
    if (colour == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(reader.png);
    if (colour == PNG_COLOR_TYPE_GRAY && depth < 8) png_set_expand_gray_1_2_4_to_8(reader.png);
    if (colour & PNG_COLOR_MASK_ALPHA) png_set_strip_alpha(reader.png);
    const int passes = png_set_interlace_handling(reader.png);
    png_read_update_info(reader.png, reader.info);
    const int channels = png_get_channels(reader.png, reader.info);
    const int out_depth = png_get_bit_depth(reader.png, reader.info);
    picture.channels = channels;
    picture.kind = PictureKind::Processed;
    const size_t stride = png_get_rowbytes(reader.png, reader.info);
    // An interlaced picture needs all its rows at once; a plain one is
    // converted row by row, so a truncated file fails before it costs memory.
    const bool whole = passes > 1;
    row.resize(whole ? stride * height : stride);
    for (int pass = 0; pass < passes; ++pass)
        for (png_uint_32 y = 0; y < height; ++y) {
            png_bytep at = row.data() + (whole ? stride * y : 0);
            png_read_row(reader.png, at, nullptr);
            if (!whole) append_row(picture, at, out_depth);
        }
    if (whole)
        for (png_uint_32 y = 0; y < height; ++y) append_row(picture, row.data() + stride * y, out_depth);
    png_read_end(reader.png, nullptr);
    return std::move(picture);
}

}  // namespace picture_codecs
}  // namespace kevra_tool
