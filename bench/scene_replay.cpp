// Replays frames through the scene classifier and prints every answer and its
// evidence as bits, so that two builds (x86-64 and aarch64 under qemu) can be
// compared on a whole benchmark. Input: a text file with one frame per line,
//   SEQUENCE TIMESTAMP_NS EXPOSURE_US LINE_TIME_US ROWS LINES_PER_ROW SUM.bin COUNT.bin
// (little-endian uint32 dumps); a new SEQUENCE name resets the classifier.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "kevra_scene.h"

namespace {

std::vector<uint32_t> words(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    std::vector<uint32_t> out(bytes.size() / 4);
    for (size_t i = 0; i < out.size(); ++i) {
        const auto* b = reinterpret_cast<const unsigned char*>(bytes.data()) + 4 * i;
        out[i] = uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
    }
    return out;
}

uint32_t bits(float x) {
    uint32_t b;
    std::memcpy(&b, &x, sizeof b);
    return b;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FRAME-LIST\n", argv[0]);
        return 2;
    }
    std::ifstream list(argv[1]);
    std::unique_ptr<QORKEVRASCENE, void (*)(QORKEVRASCENE*)> scene(QORKEVRASCENE::createInstance(),
                                                                 [](QORKEVRASCENE* s) { s->destroyInstance(s); });
    std::string line, current;
    while (std::getline(list, line)) {
        std::istringstream f(line);
        std::string sequence, sum_path, count_path;
        kevra_scene_frame frame{};
        f >> sequence >> frame.timestamp_ns >> frame.exposure_time >> frame.line_time >> frame.row_num >>
            frame.lines_per_row >> sum_path >> count_path;
        if (!f) {
            std::fprintf(stderr, "bad line: %s\n", line.c_str());
            return 1;
        }
        if (sequence != current) scene->Reset();
        current = sequence;
        const std::vector<uint32_t> sum = words(sum_path), count = words(count_path);
        frame.sum_stream = sum.data();
        frame.count_stream = count.data();
        kevra_scene_result r{};
        const int32_t status = scene->ProcessFrame(&frame, &r);
        std::printf("%s %d %d %08x", sequence.c_str(), status, r.scene_flicker, bits(r.confidence));
        for (const kevra_scene_evidence& e : r.evidence)
            std::printf(" %d %08x %08x %08x %08x %08x", e.pairs, bits(e.ripple), bits(e.fit), bits(e.drift),
                        bits(e.single_frame), bits(e.score));
        std::printf("\n");
    }
    return 0;
}
