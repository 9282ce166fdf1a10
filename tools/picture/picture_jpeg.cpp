// JPEG through libjpeg. Its errors longjmp back to decode_jpeg, so every
// object with a destructor lives in decode_jpeg's frame from before the
// setjmp. Warnings (a truncated file among them: libjpeg pads it with grey)
// refuse the picture too.
#include <cstdio>  // jpeglib.h needs FILE and size_t first
#include <jpeglib.h>

#include <csetjmp>
#include <utility>
#include <vector>

#include "input_error.h"
#include "picture_codecs.h"

namespace kevra_tool {
namespace picture_codecs {
namespace {

// A progressive file may hold any number of scans, each a pass over the
// whole picture; real ones have about ten.
constexpr int kMaxScans = 200;

// Everything decode_jpeg changes after its setjmp lives here: libjpeg holds a
// pointer to it, so the compiler keeps it in memory across libjpeg's calls and
// it is whole again after a longjmp.
struct JpegError {
    jpeg_error_mgr manager;  // first, so libjpeg's pointer to it is one to this
    std::jmp_buf jump;
    char message[JMSG_LENGTH_MAX] = {};
    Picture picture;
    std::vector<JSAMPLE> row;
};

[[noreturn]] void jpeg_fail(j_common_ptr info) {
    auto* error = reinterpret_cast<JpegError*>(info->err);
    error->manager.format_message(info, error->message);
    std::longjmp(error->jump, 1);
}

void jpeg_message(j_common_ptr info, int level) {
    if (level < 0) jpeg_fail(info);  // a warning: the data are corrupt
}

void jpeg_count_scans(j_common_ptr info) {
    auto* d = reinterpret_cast<j_decompress_ptr>(info);
    if (d->is_decompressor && d->input_scan_number > kMaxScans) {
        auto* error = reinterpret_cast<JpegError*>(info->err);
        std::snprintf(error->message, sizeof error->message, "more than %d scans", kMaxScans);
        std::longjmp(error->jump, 1);
    }
}

struct JpegReader {
    jpeg_decompress_struct info{};
    bool created = false;
    ~JpegReader() {
        if (created) jpeg_destroy_decompress(&info);
    }
};

}  // namespace

Picture decode_jpeg(const std::string& bytes, const std::string& name, uint64_t max_pixels) {
    JpegReader reader;
    JpegError error;
    Picture& picture = error.picture;
    std::vector<JSAMPLE>& row = error.row;
    picture.path = name;
    jpeg_progress_mgr progress{};
    reader.info.err = jpeg_std_error(&error.manager);
    error.manager.error_exit = jpeg_fail;
    error.manager.emit_message = jpeg_message;
    if (setjmp(error.jump)) throw InputError(name, "", std::string("corrupt JPEG: ") + error.message);
    jpeg_create_decompress(&reader.info);
    reader.created = true;
    progress.progress_monitor = jpeg_count_scans;
    reader.info.progress = &progress;
    jpeg_mem_src(&reader.info, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    jpeg_read_header(&reader.info, TRUE);
    check_size(name, reader.info.image_width, reader.info.image_height, max_pixels);
    const J_COLOR_SPACE space = reader.info.jpeg_color_space;
    if (space == JCS_CMYK || space == JCS_YCCK)
        throw InputError(name, "", "unsupported JPEG colour space (CMYK); expected grey or RGB");
    reader.info.out_color_space = reader.info.num_components == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_start_decompress(&reader.info);
    picture.kind = PictureKind::Processed;
    picture.width = int(reader.info.output_width);
    picture.height = int(reader.info.output_height);
    picture.channels = reader.info.output_components;
    const size_t n = size_t(picture.width) * size_t(picture.channels);
    row.resize(n);
    while (reader.info.output_scanline < reader.info.output_height) {
        JSAMPROW rows[1] = {row.data()};
        jpeg_read_scanlines(&reader.info, rows, 1);
        const size_t at = picture.pixels.size();
        picture.pixels.resize(at + n);
        for (size_t i = 0; i < n; ++i) picture.pixels[at + i] = srgb_linear8(row[i]);
    }
    jpeg_finish_decompress(&reader.info);
    return std::move(picture);
}

}  // namespace picture_codecs
}  // namespace kevra_tool
