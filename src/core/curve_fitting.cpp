#include "core/channel_fit.h"
#include "core/detection_decision.h"
#include "core/fit_settings.h"
#include "kevra.h"

void AppKEVRA::SW_Curve_Fitting_module(kevra_parameter* param, kevra_config* config, kevra_fitting_result* result) {
    frame_ratio = param->ratio_table[param->ratio_index + 1] / param->ratio_table[param->ratio_index];
    statistic_preprocess(param->row_num, frame_ratio, param, config);

    const kevra::FitSettings settings = kevra::make_fit_settings(param, config);
    float normal[8][8] = {};
    float inverse[8][8] = {};
    const auto solve = [&] { matrix_multiplication(settings.row_num, 7, normal, inverse); };
    const kevra::FitState fit =
        kevra::fit_channels<kevra::simd::Native>(settings, config, row_level, design, fit_delta, solve);

    const float model_range = fit.range.max - fit.range.min;
    const uint32_t flicker = kevra::detection_decision(model_range, local_flicker_count, config->range_threshold,
                                                       config->detect_ratio, param->row_num);
    kevra::write_fitting_result(fit, flicker, result, param);
}
