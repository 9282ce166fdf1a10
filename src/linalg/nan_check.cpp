#include "linalg/nan_check.h"

#include "kevra.h"

void AppKEVRA::nan_check_v2_6_256(float (*a)[256], int length, int columns) {
    kevra::repair_columns<kevra::simd::Native>(a, length, columns);
}

void AppKEVRA::nan_check_v2_256_4(float (*a)[4], int length, int columns) {
    kevra::repair_columns<kevra::simd::Native>(a, length, columns);
}
