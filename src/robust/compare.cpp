#include "kevra.h"

// Ascending order for a sort routine; NaN compares equal to everything.
int AppKEVRA::compare(const void* a, const void* b) {
    const float x = *static_cast<const float*>(a);
    const float y = *static_cast<const float*>(b);
    if (x < y) return -1;
    if (x > y) return 1;
    return 0;
}
