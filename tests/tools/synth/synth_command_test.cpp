// `kevra synth` options: refusals name the option, synth_from_arguments
// builds what the command writes, and a sequence is written whole or not at all.
#include <gtest/gtest.h>

#include "capture.h"
#include "input_error.h"
#include "file_io.h"
#include "synth_options.h"
#include "tool_test_support.h"

namespace {

using kevra_tool_test::run_cli;
using kevra_tool_test::TempDir;

TEST(SynthCommand, RefusesBadSceneAndSequenceOptions) {
    const struct {
        std::vector<std::string> args;
        std::string message;
    } cases[] = {
        {{"--lamp", "sodium"}, "synth: --lamp: unknown lamp 'sodium'; expected one of steady, incandescent"},
        {{"--lamp", "incandescent", "--depth", "0.5"}, "synth: --lamp: replaces --depth"},
        {{"--daylight", "1.5"}, "synth: --daylight: expected a share in 0..1"},
        {{"--mains-drift", "0.2"}, "synth: --mains-drift: expected a fraction"},
        {{"--full-well", "-1"}, "synth: --full-well: expected 0..1e9 electrons"},
        {{"--sensor-mode", "8k"}, "synth: --sensor-mode: unknown mode '8k'"},
        {{"--sensor-mode", "4000-line", "--lines-per-row", "8"}, "synth: --lines-per-row: the 4000-line mode needs 16 or more"},
        {{"--frames", "0"}, "synth: --frames: expected 1..1000000"},
        {{"--fps", "0"}, "synth: --fps: expected a rate"},
        {{"--frames", "2", "--exposure-change", "2:1000"}, "synth: --exposure-change: expected a frame 0..1"},
        {{"--exposure-change", "1000"}, "synth: --exposure-change: expected FRAME:US"},
        {{"--motion", "2"}, "synth: --motion: moves a picture: give one with --scene"},
        {{"--window", "0,0,1,1"}, "synth: --window: chooses part of a picture"},
        {{"--scene", "x.png", "--zone-gain", "1,1,1,1,1,1"}, "synth: --zone-gain: is the scene without a picture"},
        {{"--timestamp", "-5"}, "synth: --timestamp: expected a time >= 0 ns"},
        {{"--lamp-columns", "0.5,0.2"}, "synth: --lamp-columns: expected LEFT,RIGHT fractions"},
        {{"--object", "0.9,0,0.2,0.2"}, "synth: --object: expected x,y,width,height as fractions of the frame"},
        {{"--object-motion", "10"}, "synth: --object-motion: moves an object: give --object"},
        {{"--jitter", "5"}, "synth: --jitter: shakes a picture or an object"},
        {{"--frames", "3", "--brightness-step", "0:2"}, "synth: --brightness-step: expected a frame 1..2"},
        {{"--frames", "3", "--exposure-ramp", "1.1", "--exposure-change", "1:100"}, "synth: --exposure-ramp: give either"},
        {{"--no-such-option"}, "synth: The following argument was not expected: --no-such-option"},
    };
    for (const auto& c : cases) {
        try {
            kevra_tool::synth_from_arguments(c.args);
            ADD_FAILURE() << c.message << ": accepted";
        } catch (const kevra_tool::InputError& e) {
            EXPECT_EQ(std::string(e.what()).rfind(c.message, 0), 0u) << e.what();
        }
    }
}

// The frames the bindings get are the files the command writes; a sequence
// whose later frame cannot be written leaves none of its files behind.
TEST(SynthCommand, SequenceFilesMatchTheFramesAndFailWhole) {
    TempDir dir;
    const std::vector<std::string> scene = {"--frames", "3", "--fps", "30", "--rows", "20", "--lamp", "led-rectified",
                                            "--sensor-mode", "1000-line", "--seed", "7"};
    std::vector<std::string> args = scene;
    args.insert(args.begin(), "synth");
    args.insert(args.end(), {"-o", dir.file("seq.json")});
    ASSERT_EQ(run_cli(args).status, 0);
    EXPECT_EQ(dir.entries(), (std::set<std::string>{"seq-0001.json", "seq-0002.json", "seq-0003.json"}));
    const auto frames = kevra_tool::synth_from_arguments(scene);
    ASSERT_EQ(frames.size(), 3u);
    for (size_t i = 0; i < 3; ++i) {
        const kevra_tool::Capture c = kevra_tool::read_capture(dir.file(kevra_tool::numbered_path("seq.json", i, 3)));
        EXPECT_EQ(c.sum_stream, frames[i].capture.sum_stream);
        EXPECT_EQ(c.timestamp_ns, frames[i].capture.timestamp_ns);
        EXPECT_EQ(c.config.lines_per_row, 4);
        EXPECT_EQ(c.parameter.line_time, 15.0f);
    }

    TempDir fail;
    std::filesystem::create_directory(fail.file("run-0002.json"));
    args.back() = fail.file("run.json");
    args.push_back("--binary");
    const auto run = run_cli(args);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("run-0002.json: cannot write"), std::string::npos) << run.err;
    EXPECT_EQ(fail.entries(), std::set<std::string>{"run-0002.json"});
}

}  // namespace
