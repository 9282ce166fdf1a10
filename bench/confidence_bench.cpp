// One ConfidenceIndex call at the full 256 rows, on flicker-like levels.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "kevra.h"

namespace {

void BM_ConfidenceIndex256Rows(benchmark::State& state) {
    constexpr int kRows = 256;
    std::vector<float> level(kRows * 24);
    std::vector<uint32_t> sum(kRows * 24);
    for (int i = 0; i < kRows * 24; ++i) {
        level[i] = 100.0f + 8.0f * std::sin(0.05f * static_cast<float>(i / 24)) + 0.1f * static_cast<float>(i % 7);
        sum[i] = 1000u + static_cast<uint32_t>(i % 5000);
    }
    kevra_confidence_idx_input input{{10.0f, 20.0f, 30.0f}, {0.0216f, 0.0432f, 0.0648f}, 14.8f, kRows, 300, 16,
                                     8, 7, 1.5f};
    kevra_fitting_result result{};
    result.offset[1] = 100.0f;
    result.amplitude1[1] = 8.0f;
    result.amplitude2[1] = 1.5f;
    result.amplitude3[1] = 0.5f;
    result.phase1[1] = 1200.0f;
    result.phase2[1] = 700.0f;
    result.phase3[1] = 300.0f;
    result.flicker_detected = 1;
    result.stat_level = level.data();
    result.stat_sum = sum.data();
    kevra_confidence_idx_output output{};
    kevra_confidence_idx_debug_output debug{};
    debug.enable = 1;
    AppKEVRA* detector = AppKEVRA::getInstance();
    for (auto _ : state) {
        benchmark::DoNotOptimize(detector->ConfidenceIndex(&input, &result, &output, &debug));
        benchmark::ClobberMemory();
    }
    detector->destroyInstance(detector);
}
BENCHMARK(BM_ConfidenceIndex256Rows);

}  // namespace
