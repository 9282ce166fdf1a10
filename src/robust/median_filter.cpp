#include "robust/median_filter.h"

#include "kevra.h"

void AppKEVRA::median_filter(float* data, int n, kevra_parameter*) {
    kevra::median4_filter<kevra::simd::Native>(data, n);
}
