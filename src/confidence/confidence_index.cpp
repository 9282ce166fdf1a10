#include "kevra.h"

int32_t AppKEVRA::ConfidenceIndex(kevra_confidence_idx_input*, kevra_fitting_result*, kevra_confidence_idx_output*,
                                  kevra_confidence_idx_debug_output*) {
    return KEVRA_STATUS_OK;
}
