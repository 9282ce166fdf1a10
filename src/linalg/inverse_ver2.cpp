#include "linalg/inverse_ver2.h"

#include "kevra.h"

// The order is fixed at 7; the argument is kept for the interface only.
void AppKEVRA::inverse_ver2(int, float (*matrix)[8], float (*inverse)[8]) {
    kevra::invert_order7<kevra::simd::Native>(matrix, inverse);
}
