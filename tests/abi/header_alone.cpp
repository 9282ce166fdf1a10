// Compiled, not run: the public header must need nothing before it.
#include "kevra.h"

int kevra_header_alone_probe() { return static_cast<int>(sizeof(AppKEVRA) > 0); }
