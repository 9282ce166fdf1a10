// The scene classifier as a camera stack drives it: every frame through
// ProcessFrame, the answer after the last one.
#include "eval_methods.h"
#include "kevra_scene.h"

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
        for (const Capture& c : frames) {
            kevra_scene_frame f{};
            f.sum_stream = c.sum_stream.data();
            f.count_stream = c.count_stream.data();
            f.timestamp_ns = frame_time_ns(c);
            f.exposure_time = c.parameter.exposure_time;
            f.line_time = c.parameter.line_time;
            f.row_num = c.parameter.row_num;
            f.lines_per_row = c.config.lines_per_row;
            if (scene_->ProcessFrame(&f, &result) != KEVRA_STATUS_OK) result.scene_flicker = KEVRA_SCENE_UNKNOWN;
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
