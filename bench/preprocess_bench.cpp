// statistic_preprocess at the full 256 rows, once per weighting mode, on
// statistics shaped like a flickering scene (a few samples without data).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "support/probe.h"

namespace {

constexpr int kRows = 256;

struct PreparedDetector {
    PreparedDetector(int weight_enable, int weight_fixed) : sums(kRows * 24), counts(kRows * 24), levels(kRows * 24) {
        std::mt19937 rng(1);
        std::uniform_int_distribution<uint32_t> count(900, 1100), high(0, 40), gap(0, 199);
        for (int r = 0; r < kRows; ++r) {
            for (int w = 0; w < 24; ++w) {
                const double level = 500.0 + 40.0 * std::cos(0.17 * r + 0.1 * (w % 6)) + 3.0 * (w / 6);
                const size_t i = static_cast<size_t>(24 * r + w);
                counts[i] = gap(rng) == 0 ? 0 : count(rng);
                sums[i] = static_cast<uint32_t>(level * counts[i]);
                probe->stat_high[r][w] = high(rng);
            }
        }
        probe->stat_sum = sums.data();
        probe->stat_count = counts.data();
        probe->stat_level = levels.data();
        std::memset(&param, 0, sizeof param);
        std::memset(&config, 0, sizeof config);
        param.tolerance_ref = 4.0f;
        config.outlier_threshold = 2000;
        config.local_tolerance_gain = 8.0f;
        config.local_tolerance_exponent = 1.0f;
        config.local_flicker_level = 500;
        config.high_full_scale = 255;
        config.weight_base_x10 = 20;
        config.weight_exponent_x10 = 10;
        config.weight_enable = weight_enable;
        config.weight_fixed = weight_fixed;
        for (int z = 0; z < 6; ++z) {
            config.fixed_weight[z] = 1.0f + 0.5f * z;
            probe->zone_weight[z] = 1.0f;
        }
    }

    std::unique_ptr<kevra_test::Probe> probe = std::make_unique<kevra_test::Probe>();
    std::vector<uint32_t> sums, counts;
    std::vector<float> levels;
    kevra_parameter param;
    kevra_config config;
};

void BM_StatisticPreprocess(benchmark::State& state, int weight_enable, int weight_fixed) {
    PreparedDetector d(weight_enable, weight_fixed);
    for (auto _ : state) {
        d.probe->statistic_preprocess(kRows, 1.25f, &d.param, &d.config);
        benchmark::DoNotOptimize(d.probe->row_level);
        benchmark::ClobberMemory();
    }
}

BENCHMARK_CAPTURE(BM_StatisticPreprocess, plain, 0, 0);
BENCHMARK_CAPTURE(BM_StatisticPreprocess, fixed_weights, 1, 1);
BENCHMARK_CAPTURE(BM_StatisticPreprocess, computed_weights, 1, 0);

}  // namespace
