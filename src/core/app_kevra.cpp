// Construction, destruction and the interface's default bodies.
#include "kevra.h"

#include <cstring>

#include "util_log.h"

QORKEVRA* QORKEVRA::createInstance() { return new AppKEVRA(); }

QORKEVRA::~QORKEVRA() = default;

int32_t QORKEVRA::KevrMain(kevra_parameter*, kevra_statistic*, kevra_config*, kevra_fitting_result*) {
    return KEVRA_STATUS_NOT_PROVIDED;
}

int32_t QORKEVRA::ConfidenceIndex(kevra_confidence_idx_input*, kevra_fitting_result*,
                                  kevra_confidence_idx_output*, kevra_confidence_idx_debug_output*) {
    return KEVRA_STATUS_NOT_PROVIDED;
}

AppKEVRA* AppKEVRA::getInstance() { return new AppKEVRA(); }

// Only the members whose first read may precede a write in a run are set here;
// everything else is written by the pipeline before it is read. row_level is
// cleared as well: the fit's last block of eight rows may read entries past
// row_num, which would otherwise be indeterminate (they reach no result).
AppKEVRA::AppKEVRA() {
    std::memset(zone_level, 0, sizeof zone_level);
    std::memset(design, 0, 7 * sizeof design[0]);
    std::memset(row_level, 0, sizeof row_level);
    frame_ratio = 0.0f;
    utilLOGD(UTIL_MODULE_KEVRA, "KEVR_Neon", "[DEBUG] Init KevrMain\n");
    stat_sum = nullptr;
    stat_count = nullptr;
    stat_level = nullptr;
}

AppKEVRA::~AppKEVRA() = default;

void AppKEVRA::destroyInstance(QORKEVRA* instance) { delete instance; }
