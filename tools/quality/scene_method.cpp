// The scene classifier as a camera stack drives it: every frame through
// ProcessFrame (classify_frame fills the frame record from the capture), the
// answer after the last one.
#include "eval_methods.h"
#include "input_error.h"
#include "kevra_scene.h"
#include "scene_answer.h"

namespace kevra_tool {
namespace {

class SceneMethod : public Method {
public:
    SceneMethod() : scene_(QORKEVRASCENE::createInstance()) {}
    ~SceneMethod() override { scene_->destroyInstance(scene_); }
    std::string name() const override { return "kevra-scene"; }
    MethodOutput run(const std::vector<Capture>& frames) override {
        scene_->Reset();
        kevra_scene_result result{};
        result.scene_flicker = KEVRA_SCENE_UNKNOWN;
        try {
            for (const Capture& c : frames) result = classify_frame(*scene_, c, "");
        } catch (const InputError&) {
            result.scene_flicker = KEVRA_SCENE_UNKNOWN;  // a refused frame leaves no answer
        }
        MethodOutput out;
        switch (result.scene_flicker) {
            case KEVRA_SCENE_NONE: out.answer = Answer::None; break;
            case KEVRA_SCENE_50HZ: out.answer = Answer::Hz50; break;
            case KEVRA_SCENE_60HZ: out.answer = Answer::Hz60; break;
            default: out.answer = Answer::Unknown;
        }
        return out;
    }

private:
    QORKEVRASCENE* scene_;
};

}  // namespace

std::unique_ptr<Method> make_scene_method() { return std::make_unique<SceneMethod>(); }

}  // namespace kevra_tool
