// A detector whose working state the tests can read and prepare.
#ifndef KEVRA_TESTS_SUPPORT_PROBE_H
#define KEVRA_TESTS_SUPPORT_PROBE_H

#include "kevra.h"

namespace kevra_test {

struct Probe : AppKEVRA {
    Probe() = default;
    using AppKEVRA::design;
    using AppKEVRA::fit_delta;
    using AppKEVRA::frame_ratio;
    using AppKEVRA::local_flicker_count;
    using AppKEVRA::row_level;
    using AppKEVRA::sample_keep;
    using AppKEVRA::stat_count;
    using AppKEVRA::stat_high;
    using AppKEVRA::stat_level;
    using AppKEVRA::stat_sum;
    using AppKEVRA::zone_flicker_class;
    using AppKEVRA::zone_high_class;
    using AppKEVRA::zone_level;
    using AppKEVRA::zone_weight;
    using AppKEVRA::zone_weight_base;
};

}  // namespace kevra_test

#endif  // KEVRA_TESTS_SUPPORT_PROBE_H
