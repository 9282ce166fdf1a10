// TIFF through libtiff, read from memory; a DNG (a TIFF with a DNGVersion
// tag) goes on to LibRaw. libtiff reports errors through the handler given at
// open and by its return values, so no jumps are involved.
#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "input_error.h"
#include "picture_codecs.h"

namespace kevra_tool {
namespace picture_codecs {
namespace {

struct TiffSource {
    const std::string* bytes = nullptr;
    toff_t offset = 0;
    std::string message;  // libtiff's first error
};

tmsize_t tiff_read(thandle_t handle, void* out, tmsize_t size) {
    auto* s = static_cast<TiffSource*>(handle);
    if (size < 0 || s->offset >= s->bytes->size()) return 0;
    const tmsize_t n = tmsize_t(std::min<toff_t>(toff_t(size), s->bytes->size() - s->offset));
    std::memcpy(out, s->bytes->data() + s->offset, size_t(n));
    s->offset += toff_t(n);
    return n;
}

tmsize_t tiff_write(thandle_t, void*, tmsize_t) { return 0; }

toff_t tiff_seek(thandle_t handle, toff_t offset, int whence) {
    auto* s = static_cast<TiffSource*>(handle);
    const toff_t base = whence == SEEK_CUR ? s->offset : whence == SEEK_END ? toff_t(s->bytes->size()) : 0;
    s->offset = base + offset;
    return s->offset;
}

int tiff_close(thandle_t) { return 0; }
toff_t tiff_size(thandle_t handle) { return static_cast<TiffSource*>(handle)->bytes->size(); }
int tiff_map(thandle_t, void**, toff_t*) { return 0; }
void tiff_unmap(thandle_t, void*, toff_t) {}

int tiff_error(TIFF*, void* user, const char* module, const char* format, va_list args) {
    auto* s = static_cast<TiffSource*>(user);
    if (s->message.empty()) {
        char text[256];
        std::vsnprintf(text, sizeof text, format, args);
        s->message = module && *module ? std::string(module) + ": " + text : text;
    }
    return 1;
}

int tiff_warning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

struct TiffCloser {
    void operator()(TIFF* t) const { TIFFClose(t); }
};

bool is_dng(TIFF* tiff) {
    const TIFFField* field = TIFFFieldWithTag(tiff, TIFFTAG_DNGVERSION);
    if (!field) return false;
    uint32_t count = 0;
    void* value = nullptr;
    return TIFFFieldPassCount(field) ? TIFFGetField(tiff, TIFFTAG_DNGVERSION, &count, &value) != 0
                                     : TIFFGetField(tiff, TIFFTAG_DNGVERSION, &value) != 0;
}

}  // namespace

Picture decode_tiff(const std::string& bytes, const std::string& name, uint64_t max_pixels) {
    TiffSource source;
    source.bytes = &bytes;
    std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(TIFFOpenOptionsAlloc(), TIFFOpenOptionsFree);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), tiff_error, &source);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), tiff_warning, &source);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), tmsize_t(max_pixels) * 8);
    std::unique_ptr<TIFF, TiffCloser> tiff(TIFFClientOpenExt(name.c_str(), "rm", &source, tiff_read, tiff_write,
                                                             tiff_seek, tiff_close, tiff_size, tiff_map, tiff_unmap,
                                                             options.get()));
    const auto fail = [&](const std::string& what) {
        return InputError(name, "", what + (source.message.empty() ? "" : ": " + source.message));
    };
    if (!tiff) throw fail("corrupt TIFF");
    if (is_dng(tiff.get())) {
        tiff.reset();
        return decode_dng(bytes, name, max_pixels);
    }

    uint32_t width = 0, height = 0;
    uint16_t bits = 0, samples = 0, planar = 0, photometric = 0, format = 0;
    if (!TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &width) || !TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &height))
        throw fail("corrupt TIFF: no picture size");
    check_size(name, width, height, max_pixels);
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, &samples);
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_PLANARCONFIG, &planar);
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_SAMPLEFORMAT, &format);
    if (!TIFFGetField(tiff.get(), TIFFTAG_PHOTOMETRIC, &photometric)) photometric = PHOTOMETRIC_MINISBLACK;
    const bool grey = photometric == PHOTOMETRIC_MINISBLACK && samples >= 1;
    const bool rgb = photometric == PHOTOMETRIC_RGB && samples >= 3;
    if ((bits != 8 && bits != 16) || format != SAMPLEFORMAT_UINT || !(grey || rgb) ||
        (samples > 1 && planar != PLANARCONFIG_CONTIG))
        throw InputError(name, "", "unsupported TIFF pixel format (" + std::to_string(bits) + "-bit, " +
                                       std::to_string(samples) + " samples, photometric " +
                                       std::to_string(photometric) +
                                       "); expected 8 or 16-bit unsigned grey or RGB, samples interleaved");

    Picture picture;
    picture.path = name;
    picture.width = int(width);
    picture.height = int(height);
    picture.channels = grey ? 1 : 3;
    // A 16-bit single-plane TIFF is a raw sensor mosaic; everything else is sRGB.
    const bool raw = grey && bits == 16;
    picture.kind = raw ? PictureKind::Raw : PictureKind::Processed;
    if (raw) {
        uint16_t white = 0xFFFF;
        TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_MAXSAMPLEVALUE, &white);
        picture.white_level = white > 0 ? white : 0xFFFF;
    }

    // The file's pieces are strips (whole rows) or tiles; either is a
    // rectangle of pixels, decoded into one buffer and copied out. The
    // picture grows a band of rows at a time, so a file that claims a large
    // picture and ends early fails before it costs the memory.
    const bool tiled = TIFFIsTiled(tiff.get()) != 0;
    uint32_t piece_width = width, piece_height = 0;
    if (tiled) {
        TIFFGetField(tiff.get(), TIFFTAG_TILEWIDTH, &piece_width);
        TIFFGetField(tiff.get(), TIFFTAG_TILELENGTH, &piece_height);
    } else {
        TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_ROWSPERSTRIP, &piece_height);
        piece_height = std::min(piece_height, height);
    }
    if (piece_width == 0 || piece_height == 0) throw fail("corrupt TIFF: no strip or tile size");
    const size_t bytes_per_sample = bits / 8;
    const size_t piece_stride = size_t(piece_width) * samples * bytes_per_sample;
    const tmsize_t piece_size = tiled ? TIFFTileSize(tiff.get()) : TIFFStripSize(tiff.get());
    if (piece_size <= 0 || size_t(piece_size) < piece_stride * std::min(piece_height, height))
        throw fail("corrupt TIFF: strip or tile size");
    std::vector<uint8_t> piece(static_cast<size_t>(piece_size));
    const int channels = picture.channels;
    for (uint32_t y0 = 0; y0 < height; y0 += piece_height) {
        const uint32_t rows = std::min(piece_height, height - y0);
        picture.pixels.resize(size_t(y0 + rows) * width * size_t(channels));
        for (uint32_t x0 = 0; x0 < width; x0 += piece_width) {
            const uint32_t columns = std::min(piece_width, width - x0);
            const tmsize_t got =
                tiled ? TIFFReadEncodedTile(tiff.get(), TIFFComputeTile(tiff.get(), x0, y0, 0, 0), piece.data(),
                                            piece_size)
                      : TIFFReadEncodedStrip(tiff.get(), TIFFComputeStrip(tiff.get(), y0, 0), piece.data(),
                                             piece_size);
            if (got < tmsize_t(piece_stride * (rows - 1) + size_t(columns) * samples * bytes_per_sample))
                throw fail("truncated or corrupt TIFF");
            for (uint32_t y = 0; y < rows; ++y) {
                const uint8_t* in = piece.data() + piece_stride * y;
                float* out = picture.pixels.data() + (size_t(y0 + y) * width + x0) * size_t(channels);
                for (uint32_t x = 0; x < columns; ++x)
                    for (int c = 0; c < channels; ++c) {
                        const size_t i = size_t(x) * samples + size_t(c);
                        if (bits == 8) {
                            out[size_t(x) * size_t(channels) + size_t(c)] = srgb_linear8(in[i]);
                        } else {
                            uint16_t v;
                            std::memcpy(&v, in + 2 * i, 2);
                            out[size_t(x) * size_t(channels) + size_t(c)] = raw ? float(v) : srgb_linear16(v);
                        }
                    }
            }
        }
    }

    // The exposure time, where the file has an EXIF directory that gives it.
    toff_t exif = 0;
    if (TIFFGetField(tiff.get(), TIFFTAG_EXIFIFD, &exif) && TIFFReadEXIFDirectory(tiff.get(), exif)) {
        double seconds = 0.0;
        if (TIFFGetField(tiff.get(), EXIFTAG_EXPOSURETIME, &seconds) && std::isfinite(seconds) && seconds > 0.0)
            picture.exposure_time_us = seconds * 1e6;
    }
    return picture;
}

}  // namespace picture_codecs
}  // namespace kevra_tool
