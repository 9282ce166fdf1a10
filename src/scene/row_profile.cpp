#include "scene/row_profile.h"

#include <limits>

#include "scene/scene_math.h"

namespace kevra_scene {

namespace {

// Log of the mean of words first..first+n of a row's 24; NaN without data.
double log_mean(const uint32_t* sum, const uint32_t* count, int first, int n) {
    uint64_t s = 0, c = 0;
    for (int w = first; w < first + n; ++w) {
        s += sum[w] & 0x00FFFFFFu;
        c += count[w] & 0x00FFFFFFu;
    }
    if (s == 0 || c == 0) return std::numeric_limits<double>::quiet_NaN();
    return scene_log(double(s) / double(c));
}

}  // namespace

int row_log_levels(const uint32_t* sum_stream, const uint32_t* count_stream, int row_num, double* log_level) {
    int rows_with_data = 0;
    for (int r = 0; r < row_num; ++r) {
        log_level[r] = log_mean(sum_stream + 24 * r, count_stream + 24 * r, 0, 24);
        rows_with_data += log_level[r] == log_level[r];
    }
    return rows_with_data;
}

void zone_log_levels(const uint32_t* sum_stream, const uint32_t* count_stream, int row_num,
                     double (*log_level)[KEVRA_MAX_ROWS]) {
    for (int r = 0; r < row_num; ++r)
        for (int z = 0; z < 6; ++z) log_level[z][r] = log_mean(sum_stream + 24 * r, count_stream + 24 * r, 4 * z, 4);
}

}  // namespace kevra_scene
