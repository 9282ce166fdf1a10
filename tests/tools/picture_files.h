// Small picture files written with the same Debian libraries the tool reads
// them with, for the picture and stats tests.
#ifndef KEVRA_TESTS_TOOLS_PICTURE_FILES_H
#define KEVRA_TESTS_TOOLS_PICTURE_FILES_H

#include <cstddef>
#include <cstdio>  // jpeglib.h needs FILE first
#include <cstdlib>
#include <string>
#include <vector>

#include <jpeglib.h>
#include <pam.h>
#include <png.h>
#include <tiffio.h>

namespace kevra_tool_test {

// samples: row-major, channels interleaved (1 or 3 channels).
inline std::string pnm_file(int width, int height, int channels, unsigned maxval, const std::vector<unsigned>& samples) {
    char* data = nullptr;
    size_t size = 0;
    std::FILE* file = open_memstream(&data, &size);
    struct pam pam {};
    pam.size = sizeof pam;
    pam.len = unsigned(offsetof(struct pam, tuple_type) + sizeof pam.tuple_type);
    pam.file = file;
    pam.format = channels == 1 ? RPGM_FORMAT : RPPM_FORMAT;
    pam.width = width;
    pam.height = height;
    pam.depth = unsigned(channels);
    pam.maxval = maxval;
    pam.bytes_per_sample = maxval > 255 ? 2 : 1;
    std::snprintf(pam.tuple_type, sizeof pam.tuple_type, "%s", channels == 1 ? PAM_PGM_TUPLETYPE : PAM_PPM_TUPLETYPE);
    pnm_writepaminit(&pam);
    tuple* row = pnm_allocpamrow(&pam);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < channels; ++c) row[x][c] = samples[(size_t(y) * size_t(width) + size_t(x)) * size_t(channels) + size_t(c)];
        pnm_writepamrow(&pam, row);
    }
    pnm_freepamrow(row);
    std::fclose(file);
    std::string bytes(data, size);
    std::free(data);
    return bytes;
}

// 8 or 16 bits per sample; format SAMPLEFORMAT_IEEEFP with bits 32 makes a
// picture the tool refuses.
inline void write_tiff(const std::string& path, int width, int height, int channels, int bits,
                       const std::vector<unsigned>& samples, int format = SAMPLEFORMAT_UINT) {
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, uint32_t(width));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, uint32_t(height));
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, uint16_t(channels));
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, uint16_t(bits));
    TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, uint16_t(format));
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, channels == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, uint32_t(3));
    std::vector<unsigned char> row(size_t(width) * size_t(channels) * size_t(bits / 8));
    for (int y = 0; y < height; ++y) {
        for (size_t i = 0; i < size_t(width) * size_t(channels); ++i) {
            const unsigned v = samples[size_t(y) * size_t(width) * size_t(channels) + i];
            if (bits == 8) row[i] = (unsigned char)v;
            if (bits == 16) reinterpret_cast<uint16_t*>(row.data())[i] = uint16_t(v);
            if (bits == 32) reinterpret_cast<float*>(row.data())[i] = float(v);
        }
        TIFFWriteScanline(tiff, row.data(), uint32_t(y), 0);
    }
    TIFFClose(tiff);
}

// A 16-bit Bayer DNG of the colours `pattern` (say "BGGR"), with its black
// and white levels, exposure time and capture time.
inline void write_dng(const std::string& path, int width, int height, const std::vector<unsigned>& samples,
                      const char* pattern, unsigned black, unsigned white, double exposure_s, const char* date) {
    static const TIFFFieldInfo exposure_field[] = {
        {33434, 1, 1, TIFF_RATIONAL, FIELD_CUSTOM, 1, 0, const_cast<char*>("ExposureTime")}};
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    TIFFMergeFieldInfo(tiff, exposure_field, 1);
    TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, 0);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, uint32_t(width));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, uint32_t(height));
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, uint16_t(1));
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, uint16_t(16));
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_CFA);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_MAKE, "Kevra");
    TIFFSetField(tiff, TIFFTAG_MODEL, "Test");
    TIFFSetField(tiff, TIFFTAG_DATETIME, date);
    const uint8_t version[4] = {1, 4, 0, 0};
    TIFFSetField(tiff, TIFFTAG_DNGVERSION, version);
    TIFFSetField(tiff, TIFFTAG_UNIQUECAMERAMODEL, "Kevra Test");
    const uint16_t dim[2] = {2, 2};
    TIFFSetField(tiff, TIFFTAG_CFAREPEATPATTERNDIM, dim);
    uint8_t cfa[4];
    for (int i = 0; i < 4; ++i) cfa[i] = pattern[i] == 'R' ? 0 : pattern[i] == 'G' ? 1 : 2;
    TIFFSetField(tiff, TIFFTAG_CFAPATTERN, 4, cfa);
    const float black_level[1] = {float(black)};
    TIFFSetField(tiff, TIFFTAG_BLACKLEVEL, 1, black_level);
    const uint32_t white_level[1] = {white};
    TIFFSetField(tiff, TIFFTAG_WHITELEVEL, 1, white_level);
    const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    TIFFSetField(tiff, TIFFTAG_COLORMATRIX1, 9, identity);
    TIFFSetField(tiff, 33434, exposure_s);
    std::vector<uint16_t> row(static_cast<size_t>(width));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) row[size_t(x)] = uint16_t(samples[size_t(y) * size_t(width) + size_t(x)]);
        TIFFWriteScanline(tiff, row.data(), uint32_t(y), 0);
    }
    TIFFClose(tiff);
}

// 8-bit grey or RGB, or 16-bit grey.
inline std::string png_file(int width, int height, int channels, int bits, const std::vector<unsigned>& samples) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = png_uint_32(width);
    image.height = png_uint_32(height);
    image.format = bits == 16 ? PNG_FORMAT_LINEAR_Y : channels == 1 ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
    std::vector<png_uint_16> wide(samples.begin(), samples.end());
    std::vector<png_byte> narrow(samples.begin(), samples.end());
    const void* pixels = bits == 16 ? static_cast<const void*>(wide.data()) : narrow.data();
    png_alloc_size_t size = 0;
    png_image_write_to_memory(&image, nullptr, &size, 0, pixels, 0, nullptr);
    std::string bytes(size, '\0');
    png_image_write_to_memory(&image, bytes.data(), &size, 0, pixels, 0, nullptr);
    bytes.resize(size);
    return bytes;
}

// 8-bit grey at the best quality.
inline std::string jpeg_file(int width, int height, const std::vector<unsigned>& samples) {
    jpeg_compress_struct info{};
    jpeg_error_mgr error{};
    info.err = jpeg_std_error(&error);
    jpeg_create_compress(&info);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &data, &size);
    info.image_width = JDIMENSION(width);
    info.image_height = JDIMENSION(height);
    info.input_components = 1;
    info.in_color_space = JCS_GRAYSCALE;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 100, TRUE);
    jpeg_start_compress(&info, TRUE);
    std::vector<JSAMPLE> row(static_cast<size_t>(width));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) row[size_t(x)] = JSAMPLE(samples[size_t(y) * size_t(width) + size_t(x)]);
        JSAMPROW rows[1] = {row.data()};
        jpeg_write_scanlines(&info, rows, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::string bytes(reinterpret_cast<char*>(data), size);
    std::free(data);
    return bytes;
}

}  // namespace kevra_tool_test

#endif  // KEVRA_TESTS_TOOLS_PICTURE_FILES_H
