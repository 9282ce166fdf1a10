// statistic_preprocess at the full 256 rows, once per weighting mode.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "support/prepared_detector.h"

namespace {

constexpr int kRows = 256;

// Statistics of a flickering scene, one sample in 200 without data.
void load_flickering_scene(kevra_test::PreparedDetector& d, int weight_enable, int weight_fixed) {
    std::mt19937 rng(1);
    std::uniform_int_distribution<uint32_t> count(900, 1100), high(0, 40), gap(0, 199);
    for (int r = 0; r < kRows; ++r) {
        for (int w = 0; w < 24; ++w) {
            const double level = 500.0 + 40.0 * std::cos(0.17 * r + 0.1 * (w % 6)) + 3.0 * (w / 6);
            const size_t i = static_cast<size_t>(24 * r + w);
            d.counts[i] = gap(rng) == 0 ? 0 : count(rng);
            d.sums[i] = static_cast<uint32_t>(level * d.counts[i]);
            d.probe->stat_high[r][w] = high(rng);
        }
    }
    d.param.tolerance_ref = 4.0f;
    d.config.outlier_threshold = 2000;
    d.config.local_tolerance_gain = 8.0f;
    d.config.local_tolerance_exponent = 1.0f;
    d.config.local_flicker_level = 500;
    d.config.high_full_scale = 255;
    d.config.weight_base_x10 = 20;
    d.config.weight_exponent_x10 = 10;
    d.config.weight_enable = weight_enable;
    d.config.weight_fixed = weight_fixed;
    for (int z = 0; z < 6; ++z) d.config.fixed_weight[z] = 1.0f + 0.5f * z;
}

void BM_StatisticPreprocess(benchmark::State& state, int weight_enable, int weight_fixed) {
    kevra_test::PreparedDetector d(kRows);
    load_flickering_scene(d, weight_enable, weight_fixed);
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
