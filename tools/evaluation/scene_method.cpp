// The scene classifier as a camera stack drives it: every frame through
// ProcessFrame (classify_frame fills the frame record from the capture), the
// answer after each frame, the sequence's after the last one.
#include "eval_methods.h"
#include "input_error.h"
#include "kevra_scene.h"
#include "scene_answer.h"

namespace kevra_tool {
namespace {

Answer answer_of(const kevra_scene_result& result) {
    switch (result.scene_flicker) {
        case KEVRA_SCENE_NONE: return Answer::None;
        case KEVRA_SCENE_50HZ: return Answer::Hz50;
        case KEVRA_SCENE_60HZ: return Answer::Hz60;
        default: return Answer::Unknown;
    }
}

class SceneMethod : public Method {
public:
    SceneMethod() : scene_(QORKEVRASCENE::createInstance()) {}
    ~SceneMethod() override { scene_->destroyInstance(scene_); }
    std::string name() const override { return "kevra-scene"; }
    MethodOutput run(const std::vector<Capture>& frames) override {
        scene_->Reset();
        MethodOutput out;
        try {
            for (const Capture& c : frames) out.frames.push_back({answer_of(classify_frame(*scene_, c, "")), 0.0, Answer::None});
        } catch (const InputError&) {
            out.frames.resize(frames.size());  // a refused frame leaves no answer from there on
        }
        out.answer = out.frames.empty() ? Answer::Unknown : out.frames.back().answer;
        return out;
    }

private:
    QORKEVRASCENE* scene_;
};

}  // namespace

std::unique_ptr<Method> make_scene_method() { return std::make_unique<SceneMethod>(); }

}  // namespace kevra_tool
