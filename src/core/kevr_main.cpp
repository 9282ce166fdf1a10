// One detection run: reset, parse, preprocess and fit, decide.
#include "kevra.h"

namespace {

// A run is refused, before anything is written, when it would read or write
// outside the caller's records or the detector's fixed-size arrays.
bool run_is_valid(const kevra_parameter* param, const kevra_statistic* stat, const kevra_config* config,
                  const kevra_fitting_result* result) {
    if (param == nullptr || stat == nullptr || config == nullptr || result == nullptr) return false;
    if (param->row_num < 0 || param->row_num > KEVRA_MAX_ROWS) return false;
    if (param->ratio_index < 0 || param->ratio_index > 2) return false;
    if (param->start_time == nullptr) return false;
    if (param->row_num == 0) return true;
    return result->stat_sum != nullptr && result->stat_count != nullptr && result->stat_level != nullptr &&
           stat->sum_stream != nullptr && stat->count_stream != nullptr;
}

}  // namespace

int32_t AppKEVRA::KevrMain(kevra_parameter* param, kevra_statistic* stat, kevra_config* config,
                           kevra_fitting_result* result) {
    if (!run_is_valid(param, stat, config, result)) return KEVRA_STATUS_INVALID_ARGUMENT;
    for (int z = 0; z < 6; ++z) {
        local_flicker_count[z] = 0;
        zone_weight[z] = 1.0f;
        zone_weight_base[z] = 0.0f;
    }
    stat_sum = result->stat_sum;
    stat_count = result->stat_count;
    stat_level = result->stat_level;
    HW_Statistic_parsing(stat, param);
    SW_Curve_Fitting_module(param, config, result);
    return KEVRA_STATUS_OK;
}
