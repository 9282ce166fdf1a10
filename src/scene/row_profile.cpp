#include "scene/row_profile.h"

#include <limits>

#include "scene/scene_math.h"

namespace kevra_scene {

int row_log_levels(const uint32_t* sum_stream, const uint32_t* count_stream, int row_num, double* log_level) {
    int rows_with_data = 0;
    for (int r = 0; r < row_num; ++r) {
        uint64_t sum = 0, count = 0;
        for (int w = 0; w < 24; ++w) {
            sum += sum_stream[24 * r + w] & 0x00FFFFFFu;
            count += count_stream[24 * r + w] & 0x00FFFFFFu;
        }
        if (sum == 0 || count == 0) {
            log_level[r] = std::numeric_limits<double>::quiet_NaN();
            continue;
        }
        log_level[r] = scene_log(double(sum) / double(count));
        ++rows_with_data;
    }
    return rows_with_data;
}

}  // namespace kevra_scene
