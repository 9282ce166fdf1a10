// Writes the tool targets' seeds: small captures (inline, binary streams,
// version 1, cut short) into CORPUS/capture_reader, their stream files into
// STREAMS, and one tiny picture of every kind the tool reads into
// CORPUS/picture_stats. Usage: kevra_fuzz_tool_seeds CORPUS STREAMS
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "capture.h"
#include "file_io.h"
#include "scene_synthesis.h"
#include "tools/picture_files.h"

namespace fs = std::filesystem;
using namespace kevra_tool_test;

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s CORPUS STREAMS\n", argv[0]);
        return 2;
    }
    const fs::path captures = fs::path(argv[1]) / "capture_reader", pictures = fs::path(argv[1]) / "picture_stats";
    const fs::path streams = argv[2];
    for (const fs::path& dir : {captures, pictures, streams}) fs::create_directories(dir);

    kevra_tool::Scene scene;
    scene.rows = 2;
    kevra_tool::Capture capture = kevra_tool::synthesize(scene);
    capture.timestamp_ns = 1'000'000'007;
    const std::string text = kevra_tool::capture_to_json_text(capture);
    kevra_tool::write_file_atomically((captures / "two-rows").string(), text);
    kevra_tool::write_file_atomically((captures / "cut-short").string(), text.substr(0, text.size() / 2));
    capture.timestamp_ns.reset();
    std::string version_1 = kevra_tool::capture_to_json_text(capture);
    version_1.replace(version_1.find("\"version\": 2"), 12, "\"version\": 1");
    kevra_tool::write_file_atomically((captures / "version-1").string(), version_1);
    kevra_tool::write_capture((streams / "binary.json").string(), capture, kevra_tool::StreamStorage::Binary);
    fs::rename(streams / "binary.json", captures / "binary-streams");

    // Six zones of 2 columns and two rows of 12 lines.
    const int w = 12, h = 24;
    std::vector<unsigned> grey, rgb, wide, raw;
    for (int i = 0; i < w * h; ++i) {
        grey.push_back(unsigned(i % 256));
        rgb.insert(rgb.end(), {unsigned(i % 256), unsigned(255 - i % 256), 128});
        wide.push_back(unsigned(i * 227 % 65536));
        raw.push_back(unsigned(64 + i * 13 % 4000));
    }
    const auto put = [&](const char* name, const std::string& bytes) {
        kevra_tool::write_file_atomically((pictures / name).string(), bytes);
    };
    put("grey8.pgm", pnm_file(w, h, 1, 255, grey));
    put("rgb8.ppm", pnm_file(w, h, 3, 255, rgb));
    put("raw16.pgm", pnm_file(w, h, 1, 4095, raw));
    put("grey8.png", png_file(w, h, 1, 8, grey));
    put("rgb8.png", png_file(w, h, 3, 8, rgb));
    put("grey16.png", png_file(w, h, 1, 16, wide));
    put("grey.jpg", jpeg_file(w, h, grey));
    write_tiff((pictures / "rgb8.tif").string(), w, h, 3, 8, rgb);
    write_tiff((pictures / "raw16.tif").string(), w, h, 1, 16, raw);
    write_dng((pictures / "bggr.dng").string(), w, h, raw, "BGGR", 64, 4095, 0.01, "2024:01:02 03:04:05");
    return 0;
}
