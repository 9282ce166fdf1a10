#include "kevra.h"

// -p0*p3 - p1*p4 - p2*p5, each product rounded on its own, in this order.
float AppKEVRA::flk_func(float p0, float p1, float p2, float p3, float p4, float p5) {
    return ((-(p4 * p1)) - (p0 * p3)) - (p2 * p5);
}
