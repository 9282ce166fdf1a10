// Compiled, not run: the public headers must need nothing before them.
#include "kevra_scene.h"  // includes kevra.h

int kevra_header_alone_probe() { return static_cast<int>(sizeof(AppKEVRA) > 0 && sizeof(kevra_scene_result) > 0); }
