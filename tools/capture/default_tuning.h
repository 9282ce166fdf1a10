// Values used for every field a capture leaves out (docs/default-tuning.md).
#ifndef KEVRA_TOOLS_DEFAULT_TUNING_H
#define KEVRA_TOOLS_DEFAULT_TUNING_H

#include "kevra.h"

namespace kevra_tool {

kevra_config default_config();

// The per-run parameters that have a default; row_num, exposure_time and
// line_time describe the capture and must be given.
kevra_parameter default_parameter();

// The confidence input that evaluates the same model as the fit: angles and
// rates from the mains frequency and the start of the first row's exposure,
// geometry from the parameter and configuration.
kevra_confidence_idx_input default_confidence_input(const kevra_parameter& parameter, float start_time,
                                                    const kevra_config& config);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_DEFAULT_TUNING_H
