#include "preprocess/local_flicker_detect.h"

#include "kevra.h"

void AppKEVRA::local_flicker_detect(int row_num, float (*levels)[256], float tolerance, float centre) {
    kevra::longest_flat_runs<kevra::simd::Native>(row_num, levels, tolerance, centre, local_flicker_count);
}
