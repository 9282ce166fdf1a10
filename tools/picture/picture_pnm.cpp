// PGM and PPM through libnetpbm. Its errors longjmp back to
// decode_pnm through a jump buffer the library keeps globally, so one picture
// is decoded at a time, and everything decode_pnm changes after its setjmp
// lives in a struct the library can reach.
#include <pam.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <utility>
#include <vector>

#include "input_error.h"
#include "picture_codecs.h"

namespace kevra_tool {
namespace picture_codecs {
namespace {

std::mutex pnm_mutex;
char pnm_message[200];

void pnm_record_error(const char* message) {
    std::strncpy(pnm_message, message, sizeof pnm_message - 1);
    // libnetpbm's messages end in a newline.
    const size_t n = std::strlen(pnm_message);
    if (n > 0 && pnm_message[n - 1] == '\n') pnm_message[n - 1] = '\0';
}

void pnm_ignore_message(const char*) {}

struct PnmState {
    std::FILE* file = nullptr;
    tuple* row = nullptr;
    Picture picture;
    std::vector<float> table;
    struct pam header {};
    ~PnmState() {
        if (row) pnm_freepamrow(row);
        if (file) std::fclose(file);
    }
};

}  // namespace

Picture decode_pnm(const std::string& bytes, const std::string& name, uint64_t max_pixels) {
    std::lock_guard<std::mutex> lock(pnm_mutex);
    static const bool initialised = [] {
        pm_init("kevra", 0);
        pm_setusererrormsgfn(pnm_record_error);
        pm_setusermessagefn(pnm_ignore_message);
        return true;
    }();
    (void)initialised;
    PnmState state;
    Picture& picture = state.picture;
    picture.path = name;
    state.file = fmemopen(const_cast<char*>(bytes.data()), bytes.size(), "rb");
    if (!state.file) throw InputError(name, "", "cannot read the picture from memory");
    std::jmp_buf jump;
    std::jmp_buf* saved = nullptr;
    pnm_message[0] = '\0';
    pm_setjmpbufsave(&jump, &saved);
    struct Restore {
        std::jmp_buf* saved;
        ~Restore() { pm_setjmpbuf(saved); }
    } restore{saved};
    if (setjmp(jump)) throw InputError(name, "", std::string("corrupt PGM/PPM: ") + pnm_message);
    struct pam& header = state.header;
    // PAM_STRUCT_SIZE computes this through a null pointer, which UBSan rightly refuses.
    pnm_readpaminit(state.file, &header, int(offsetof(struct pam, tuple_type) + sizeof header.tuple_type));
    check_size(name, unsigned(header.width), unsigned(header.height), max_pixels);
    const unsigned channels = header.depth >= 3 ? 3 : 1;
    const unsigned maxval = unsigned(header.maxval);
    picture.width = header.width;
    picture.height = header.height;
    picture.channels = int(channels);
    // More than 8 bits in one plane is a raw sensor mosaic; everything else is sRGB.
    const bool raw = channels == 1 && maxval > 255;
    picture.kind = raw ? PictureKind::Raw : PictureKind::Processed;
    picture.white_level = raw ? double(maxval) : 1.0;
    if (!raw) {
        state.table.resize(maxval + 1);
        for (unsigned v = 0; v <= maxval; ++v)
            state.table[v] = maxval == 255     ? srgb_linear8(v)
                             : maxval == 65535 ? srgb_linear16(v)
                                               : srgb_linear16(unsigned(std::lround(65535.0 * v / maxval)));
    }
    state.row = pnm_allocpamrow(&header);
    const size_t n = size_t(header.width) * channels;
    for (int y = 0; y < header.height; ++y) {
        pnm_readpamrow(&header, state.row);
        const size_t at = picture.pixels.size();
        picture.pixels.resize(at + n);
        float* out = picture.pixels.data() + at;
        for (int x = 0; x < header.width; ++x)
            for (unsigned c = 0; c < channels; ++c) {
                const sample v = std::min<sample>(state.row[x][c], maxval);
                out[size_t(x) * channels + c] = raw ? float(v) : state.table[v];
            }
    }
    return std::move(picture);
}

}  // namespace picture_codecs
}  // namespace kevra_tool
