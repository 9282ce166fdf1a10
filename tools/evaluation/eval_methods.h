// The detection methods `kevra eval` scores side by side, each answering
// NONE, 50, 60 or UNKNOWN for a sequence of frames (docs/detection-quality.md).
#ifndef KEVRA_TOOLS_EVAL_METHODS_H
#define KEVRA_TOOLS_EVAL_METHODS_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "capture.h"
#include "json_values.h"

namespace kevra_tool {

enum class Answer { None, Hz50, Hz60, Unknown };

std::string answer_name(Answer a);

// What a method says after one frame.
struct FrameOutput {
    Answer answer = Answer::Unknown;
    double score = 0.0;
    Answer frequency = Answer::None;
};

struct MethodOutput {
    Answer answer = Answer::Unknown;
    // Thresholded methods: the answer is `frequency` when score exceeds the
    // threshold, else NONE; the threshold is chosen after all sequences ran.
    double score = 0.0;
    Answer frequency = Answer::None;
    // The same after each frame, the last being the sequence's; empty when
    // the method answers only at the end.
    std::vector<FrameOutput> frames;
};

class Method {
public:
    virtual ~Method() = default;
    virtual std::string name() const = 0;
    // A threshold is chosen on the tuning split (choose_threshold).
    virtual bool thresholded() const { return false; }
    virtual MethodOutput run(const std::vector<Capture>& frames) = 0;
};

// Tuning fields of the library's decision that `kevra tune` searches, applied
// over a capture's own configuration.
struct LibraryTuning {
    float range_threshold[5];
    float detect_ratio[5];
    int32_t local_flicker_level;
    float local_tolerance_gain;
    float ratio_scale;  // multiplies parameter.ratio_table[0]
    int32_t weight_enable;
    int32_t weight_fixed;
};

LibraryTuning tuning_of(const kevra_config& config);  // ratio_scale 1
void apply_tuning(const LibraryTuning& tuning, Capture& capture);
Json tuning_to_json(const LibraryTuning& tuning);
// Throws InputError naming file and field.
LibraryTuning tuning_from_json(const Json& json, const std::string& file);

// The library on single frames under both mains hypotheses, decided as
// `kevra detect --mains auto` decides (detect_auto_mains): flicker under
// exactly one gives that one, under both the one with the higher confidence
// index, under neither NONE. The sequence's answer is that of its last frame,
// or (majority) the most frequent frame answer; a tie goes to the last frame's
// answer when it is among the most frequent, else NONE before 50 before 60.
std::unique_ptr<Method> make_library_method(std::optional<LibraryTuning> tuning, bool majority);

// The frame's answer alone, as the library method gives it.
Answer library_frame_answer(QORKEVRA& detector, const Capture& capture, const std::optional<LibraryTuning>& tuning);

// Classic single frame: the detrended row-mean profile's amplitude at twice
// each mains frequency (a DFT over the rows' times); the larger wins.
std::unique_ptr<Method> make_row_dft_method();

// Classic multi-frame: the ratio of consecutive frames' row profiles, which
// cancels a still picture, then the same amplitudes, averaged over the pairs.
std::unique_ptr<Method> make_frame_ratio_method();

// The scene classifier through its interface, one frame at a time after a
// Reset(); nullptr when the build has no implementation of it.
std::unique_ptr<Method> make_scene_method();

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_EVAL_METHODS_H
