// A detector pointed at caller buffers for `rows` statistic rows, as KevrMain
// leaves it before parsing: records zeroed, high bytes 0, zone weights 1.0.
#ifndef KEVRA_TESTS_SUPPORT_PREPARED_DETECTOR_H
#define KEVRA_TESTS_SUPPORT_PREPARED_DETECTOR_H

#include <cstring>
#include <memory>
#include <vector>

#include "support/probe.h"

namespace kevra_test {

struct PreparedDetector {
    explicit PreparedDetector(int rows) : sums(24 * static_cast<size_t>(rows)), counts(sums.size()), levels(sums.size()) {
        probe->stat_sum = sums.data(), probe->stat_count = counts.data(), probe->stat_level = levels.data();
        std::memset(probe->stat_high, 0, sizeof probe->stat_high);
        for (float& w : probe->zone_weight) w = 1.0f;
    }

    std::unique_ptr<Probe> probe = std::make_unique<Probe>();
    std::vector<uint32_t> sums, counts;
    std::vector<float> levels;
    kevra_parameter param{};
    kevra_config config{};
};

}  // namespace kevra_test

#endif  // KEVRA_TESTS_SUPPORT_PREPARED_DETECTOR_H
