#include "kevra.h"

void AppKEVRA::SW_Curve_Fitting_module(kevra_parameter* param, kevra_config* config, kevra_fitting_result*) {
    frame_ratio = param->ratio_table[param->ratio_index + 1] / param->ratio_table[param->ratio_index];
    statistic_preprocess(param->row_num, frame_ratio, param, config);
}
