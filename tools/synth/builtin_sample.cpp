#include "builtin_sample.h"

namespace kevra_tool {

Scene builtin_sample_scene() {
    Scene s;
    s.seed = 50;
    return s;
}

}  // namespace kevra_tool
