// statistic_preprocess at the full 256 rows, once per weighting mode.
#include <benchmark/benchmark.h>

#include "bench_inputs.h"

namespace {

using kevra_bench::kRows;

void BM_StatisticPreprocess(benchmark::State& state, int weight_enable, int weight_fixed) {
    kevra_test::PreparedDetector d(kRows);
    kevra_bench::load_flickering_scene(d, weight_enable, weight_fixed);
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
