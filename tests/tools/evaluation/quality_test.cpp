// The detection-quality instrument: labels, score arithmetic, the tuning
// search and the benchmark's reproducibility.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>

#include "benchmark_command.h"
#include "builtin_sample.h"
#include "lamp_catalogue.h"
#include "default_tuning.h"
#include "detection.h"
#include "eval_every_frame.h"
#include "eval_scoring.h"
#include "json_values.h"
#include "labelling.h"
#include "scene_synthesis.h"
#include "tool_test_support.h"
#include "tune_command.h"

namespace {

using kevra_tool::Answer;
using kevra_tool::Truth;

// Visible ripple over the lines of a 3072-line frame, as the benchmark measures it.
double visible_ripple(double mains, double depth, double exposure_us) {
    kevra_tool::Scene s;
    s.mains_frequency = mains;
    s.depth = depth;
    double lo = 1e9, hi = -1e9, sum = 0.0;
    for (int line = 0; line < 3072; ++line) {
        const double l = kevra_tool::lamp_mean(s, 1234.5 + 10.0 * line, exposure_us);
        lo = std::min(lo, l), hi = std::max(hi, l), sum += l;
    }
    return (hi - lo) / (sum / 3072.0);
}

TEST(Labelling, WholeRipplePeriodsAndSteadyLightAreNoneAVisibleRippleIsItsMains) {
    const struct { double mains, depth, exposure_us; Truth label; } cases[] = {
        {50.0, 1.0, 10000.0, Truth::None},        {50.0, 1.0, 20000.0, Truth::None},
        {60.0, 1.0, 1e6 / 120.0, Truth::None},    {60.0, 1.0, 2e6 / 120.0, Truth::None},
        {60.0, 0.0, 4000.0, Truth::None},         {60.0, 0.3, 4000.0, Truth::Hz60},
        {50.0, 0.3, 4000.0, Truth::Hz50},         {60.0, 1.0, 10000.0, Truth::Hz60},  // 1.2 periods
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.mains << " Hz, depth " << c.depth << ", " << c.exposure_us << " us");
        EXPECT_EQ(kevra_tool::label_for(visible_ripple(c.mains, c.depth, c.exposure_us), int(c.mains)), c.label);
    }
    // Ripples from the limit / 1.5 up to the limit are left out.
    EXPECT_EQ(kevra_tool::label_for(0.0099, 50), Truth::None);
    EXPECT_EQ(kevra_tool::label_for(0.0101, 50), Truth::Ambiguous);
    EXPECT_EQ(kevra_tool::label_for(0.0149, 60), Truth::Ambiguous);
    EXPECT_EQ(kevra_tool::label_for(0.0151, 60), Truth::Hz60);
    EXPECT_NEAR(kevra_tool::ripple_shift(1.0 / 30.0, 60.0), 0.0, 1e-9);   // 4 periods: stands
    EXPECT_NEAR(kevra_tool::ripple_shift(1.0 / 30.0, 50.0), 1.0 / 3.0, 1e-9);  // 3 1/3 periods
    EXPECT_NEAR(kevra_tool::ripple_shift(1.0 / 29.97, 60.0), 0.004, 1e-3);
}

TEST(Scoring, ConfusionMatrixAndRatesOnAHandMadeSet) {
    // truth, answer: 3 NONE (one false 60), 3 at 50 (one called 60, one missed),
    // 2 at 60 (one UNKNOWN), 1 ambiguous that must not count.
    const std::pair<Truth, Answer> set[] = {
        {Truth::None, Answer::None}, {Truth::None, Answer::None}, {Truth::None, Answer::Hz60},
        {Truth::Hz50, Answer::Hz50}, {Truth::Hz50, Answer::Hz60}, {Truth::Hz50, Answer::None},
        {Truth::Hz60, Answer::Hz60}, {Truth::Hz60, Answer::Unknown}, {Truth::Ambiguous, Answer::Hz50},
    };
    kevra_tool::Scores s;
    for (const auto& [truth, answer] : set) {
        kevra_tool::SequenceRecord r;
        r.label = truth;
        r.lamp = truth == Truth::None ? "steady" : "lamp";
        add_answer(s, r, answer);
    }
    EXPECT_EQ(s.scored(), 8);
    EXPECT_EQ(s.confusion[0][2], 1);
    EXPECT_EQ(s.confusion[1][2], 1);
    EXPECT_EQ(s.confusion[2][3], 1);
    EXPECT_DOUBLE_EQ(s.accuracy(), 4.0 / 8.0);
    EXPECT_DOUBLE_EQ(s.balanced_accuracy(), (2.0 / 3.0 + 1.0 / 3.0 + 1.0 / 2.0) / 3.0);
    EXPECT_DOUBLE_EQ(s.false_flicker_rate(), 1.0 / 3.0);
    EXPECT_DOUBLE_EQ(s.wrong_frequency_rate(), 1.0 / 5.0);
    EXPECT_DOUBLE_EQ(s.miss_rate(), 2.0 / 5.0);
    EXPECT_EQ(s.by["lamp"]["steady"].total, 3);
    EXPECT_EQ(s.by["lamp"]["lamp"].correct, 2);
}

// From the fourth frame on, any wrong answer counts, wherever it falls; NONE
// is wrong only on a frame that shows its ripple, UNKNOWN never.
TEST(Scoring, EveryFrameCountsAWrongAnswerPartWay) {
    using A = Answer;
    const struct {
        Truth label;
        std::vector<double> ripple;
        std::vector<A> answers;
        int wrong_somewhere, wrong_last, false_flicker, wrong_frequency, missed;
    } cases[] = {
        {Truth::Hz50, {.05, .05, .05, .05, .05, .05}, {A::Hz60, A::Hz50, A::Hz50, A::Hz60, A::Hz50, A::Hz50}, 1, 0, 0, 1, 0},
        {Truth::None, {0, 0, 0, 0, 0, 0}, {A::None, A::None, A::None, A::None, A::Hz50, A::None}, 1, 0, 1, 0, 0},
        {Truth::Hz60, {.05, .05, .05, .05, .001, .001}, {A::Hz60, A::Hz60, A::Hz60, A::Unknown, A::None, A::None}, 0, 0, 0, 0, 0},
        {Truth::Hz60, {.05, .05, .05, .05, .05, .05}, {A::Hz60, A::Hz60, A::Hz60, A::Hz60, A::Hz60, A::None}, 1, 1, 0, 0, 1},
        {Truth::Ambiguous, {.012, .012, .012, .012, .012, .012}, {A::Hz50, A::Hz50, A::Hz50, A::Hz50, A::Hz50, A::Hz50}, 0, 0, 0, 0, 0},
    };
    for (const auto& c : cases) {
        kevra_tool::SequenceRecord r;
        r.label = c.label;
        r.frame_ripple = c.ripple;
        r.frames.resize(6);
        kevra_tool::EveryFrameScores s;
        add_frame_answers(s, r, c.answers);
        EXPECT_EQ(s.sequences, c.label == Truth::Ambiguous ? 0 : 1);
        EXPECT_EQ(s.frames, c.label == Truth::Ambiguous ? 0 : 3);
        EXPECT_EQ(s.wrong_somewhere, c.wrong_somewhere);
        EXPECT_EQ(s.wrong_last, c.wrong_last);
        EXPECT_EQ(s.false_flicker, c.false_flicker);
        EXPECT_EQ(s.wrong_frequency, c.wrong_frequency);
        EXPECT_EQ(s.missed, c.missed);
    }
}

TEST(Tuning, ThresholdChoiceAndSearchFindAPlantedBoundary) {
    // Scores 1..10; labels flicker from 6 on: the boundary lies in [5, 6).
    std::vector<kevra_tool::SequenceRecord> records(10);
    std::vector<kevra_tool::MethodOutput> outputs(10);
    for (int i = 0; i < 10; ++i) {
        records[size_t(i)].label = i >= 5 ? Truth::Hz50 : Truth::None;
        outputs[size_t(i)].score = i + 1;
        outputs[size_t(i)].frequency = Answer::Hz50;
    }
    const double t = kevra_tool::choose_threshold(records, outputs, std::vector<bool>(10, true));
    EXPECT_GE(t, 5.0);
    EXPECT_LT(t, 6.0);

    // Uniform 50 Hz scenes: weak ripples labelled NONE, strong ones 50. The
    // default tuning calls the weak ones flicker; the search must not.
    std::vector<kevra_tool::SequenceRecord> labels;
    std::vector<kevra_tool::LabelledFrame> frames;
    const double depths[] = {0.03, 0.04, 0.05, 0.3, 0.4, 0.5};
    labels.reserve(6);
    for (double depth : depths) {
        kevra_tool::Scene s = kevra_tool::builtin_sample_scene();
        s.zone_gain = {1, 1, 1, 1, 1, 1};
        s.depth = depth;
        s.seed = uint64_t(depth * 1000);
        kevra_tool::SequenceRecord r;
        r.label = depth < 0.1 ? Truth::None : Truth::Hz50;
        labels.push_back(r);
        frames.push_back({&labels.back(), kevra_tool::synthesize(s)});
    }
    const kevra_tool::LibraryTuning start = kevra_tool::tuning_of(kevra_tool::default_config());
    ASSERT_GT(score_tuning(start, frames).false_flicker_rate(), 0.0);
    const kevra_tool::Scores found = score_tuning(search_tuning(start, frames, nullptr), frames);
    EXPECT_EQ(found.false_flicker_rate(), 0.0);
    EXPECT_EQ(found.miss_rate(), 0.0);
}

// The classic detectors on uniform scenes: the row DFT names the lamp's
// frequency from one frame; the frame ratio sees the ripple only where it
// moves between frames, which at 30 fps it does under 50 Hz and not under 60.
TEST(ClassicMethods, NameTheRippleFrequencyAndTheRatioNeedsItToMove) {
    const struct { double mains; const char* lamp; Answer frequency; bool dft_sees, ratio_sees; } cases[] = {
        {50.0, "led-rectified", Answer::Hz50, true, true},
        {60.0, "led-rectified", Answer::Hz60, true, false},
        {50.0, "steady", Answer::None, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.mains << " Hz, " << c.lamp);
        kevra_tool::Scene s;
        s.mains_frequency = c.mains;
        if (c.frequency != Answer::None) s.lamp = *kevra_tool::find_lamp(c.lamp);
        else s.depth = 0.0;
        s.full_well = 6000.0;
        kevra_tool::SequenceOptions o;
        o.frames = 3;
        o.fps = 30.0;
        std::vector<kevra_tool::Capture> frames;
        for (auto& f : kevra_tool::synthesize_sequence(s, o)) frames.push_back(std::move(f.capture));
        const kevra_tool::MethodOutput dft = kevra_tool::make_row_dft_method()->run(frames);
        const kevra_tool::MethodOutput ratio = kevra_tool::make_frame_ratio_method()->run(frames);
        EXPECT_EQ(dft.score > 0.01, c.dft_sees) << dft.score;
        EXPECT_EQ(ratio.score > 0.01, c.ratio_sees) << ratio.score;
        if (c.dft_sees) {
            EXPECT_EQ(dft.frequency, c.frequency);
        }
        if (c.ratio_sees) {
            EXPECT_EQ(ratio.frequency, c.frequency);
        }
    }
}

std::string file_bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

TEST(Benchmark, RegeneratesBitForBitAndEvaluatesEndToEnd) {
    kevra_tool_test::TempDir dir;
    std::filesystem::create_directory(dir.file("pictures"));  // uniform scenes only
    for (const char* out : {"a", "b"})
        ASSERT_EQ(kevra_tool_test::run_cli({"benchmark", "-o", dir.file(out), "--seed", "7", "--sequences", "4",
                                            "--pictures", dir.file("pictures")}).status, 0);
    size_t files = 0;
    for (const auto& e : std::filesystem::recursive_directory_iterator(dir.file("a"))) {
        if (!e.is_regular_file()) continue;
        const std::string rel = std::filesystem::relative(e.path(), dir.file("a")).string();
        EXPECT_EQ(file_bytes(e.path().string()), file_bytes(dir.file("b/" + rel))) << rel;
        ++files;
    }
    EXPECT_EQ(files, 1u + 4u * 6u * 3u);  // manifest, and per frame a capture and two streams

    const auto manifest = kevra_tool::read_manifest(dir.file("a/manifest.json"));
    EXPECT_EQ(kevra_tool::manifest_to_json_text(manifest), file_bytes(dir.file("a/manifest.json")));

    // tune's result feeds eval; a method the build lacks is refused by name.
    ASSERT_EQ(kevra_tool_test::run_cli({"tune", dir.file("a/manifest.json"), "-o", dir.file("tuned.json")}).status, 0);
    const auto run = kevra_tool_test::run_cli(
        {"eval", dir.file("a/manifest.json"), "--json", "--holdout", "0.5", "--tuning", dir.file("tuned.json")});
    ASSERT_EQ(run.status, 0) << run.err;
    const auto bad = kevra_tool_test::run_cli({"eval", dir.file("a/manifest.json"), "--methods", "oracle"});
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.err.find("kevra: eval: --methods: no method 'oracle'"), std::string::npos) << bad.err;
    const kevra_tool::Json j = kevra_tool::Json::parse(run.out);
    EXPECT_EQ(j["sequences"], 4);
    for (const auto& m : j["methods"]) {
        int scored = 0;
        for (const auto& [truth, answers] : m["held_out"]["confusion"].items())
            for (const auto& [answer, n] : answers.items()) scored += n.get<int>();
        EXPECT_EQ(scored, m["held_out"]["scored"].get<int>()) << m["name"];
        EXPECT_EQ(m["every_frame"]["answers"].size(), 4u) << m["name"];
        EXPECT_EQ(m["every_frame"]["answers"][0].size(), 6u) << m["name"];
    }
}

}  // namespace
