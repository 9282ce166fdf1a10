#include "synth_command.h"

#include <CLI/CLI.hpp>

#include <filesystem>

#include "capture.h"
#include "file_io.h"
#include "progress.h"
#include "synth_options.h"

namespace kevra_tool {
namespace {

std::vector<std::string> written_files(const std::string& json_path, bool binary) {
    std::vector<std::string> files{json_path};
    if (binary) {
        const std::filesystem::path p(json_path);
        files.push_back((p.parent_path() / (p.stem().string() + ".sum.bin")).string());
        files.push_back((p.parent_path() / (p.stem().string() + ".count.bin")).string());
    }
    return files;
}

}  // namespace

SynthCommand::SynthCommand(CLI::App& app) : options_(std::make_unique<SynthOptions>()) {
    subcommand_ = app.add_subcommand("synth", "Write captures of a synthetic rolling-shutter scene or frame sequence");
    add_synth_options(*subcommand_, *options_, true);
}

SynthCommand::~SynthCommand() = default;

int SynthCommand::run(std::ostream& err, bool progress_wanted) const {
    SynthOptions o = *options_;
    std::vector<std::string> written;
    Progress progress(err, progress_wanted && o.sequence.frames > 1);
    try {
        finish_synth_options(*subcommand_, o);
        const size_t count = size_t(o.sequence.frames);
        const StreamStorage storage = o.binary ? StreamStorage::Binary : StreamStorage::Inline;
        synthesize_sequence(o.scene, o.sequence, [&](int n, SynthFrame&& frame) {
            const std::string path = numbered_path(o.output, size_t(n), count);
            progress.show(size_t(n), count, path);
            // Files this run creates go again when anything fails; a file of
            // the same name from before is replaced as it is written.
            for (const std::string& f : written_files(path, o.binary))
                if (!std::filesystem::exists(f)) written.push_back(f);
            write_capture(path, frame.capture, storage);
        });
    } catch (const std::exception& e) {
        progress.clear();
        std::error_code ignored;
        for (const std::string& f : written) std::filesystem::remove(f, ignored);
        err << "kevra: " << e.what() << "\n";
        return 1;
    }
    progress.clear();
    return 0;
}

}  // namespace kevra_tool
