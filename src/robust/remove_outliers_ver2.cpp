#include "robust/remove_outliers_ver2.h"

#include "kevra.h"

void AppKEVRA::remove_outliers_ver2(float* data, int n, int* count, unsigned int* keep, int tolerance) {
    kevra::remove_single_outlier<kevra::simd::Native>(data, n, count, keep, tolerance);
}
