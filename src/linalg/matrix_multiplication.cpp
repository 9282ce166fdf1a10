#include "linalg/matrix_multiplication.h"

#include "kevra.h"

void AppKEVRA::matrix_multiplication(int row_num, int unknown_num, float (*normal)[8], float (*inverse)[8]) {
    kevra::form_normal_matrix<kevra::simd::Native>(design, row_num, unknown_num, normal);
    inverse_ver2(kevra::kUnknowns, normal, inverse);
    kevra::apply_inverse<kevra::simd::Native>(design, row_num, inverse, fit_delta);
}
