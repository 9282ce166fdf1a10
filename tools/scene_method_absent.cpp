// Built instead of scene_method.cpp while the library has no scene classifier.
#include "eval_methods.h"

namespace kevra_tool {

std::unique_ptr<Method> make_scene_method() { return nullptr; }

}  // namespace kevra_tool
