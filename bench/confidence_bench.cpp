// One ConfidenceIndex call at the full 256 rows, on flicker-like levels.
#include <benchmark/benchmark.h>

#include <memory>

#include "bench_inputs.h"

namespace {

void BM_ConfidenceIndex256Rows(benchmark::State& state) {
    auto in = std::make_unique<kevra_bench::ConfidenceInputs>();
    AppKEVRA* detector = AppKEVRA::getInstance();
    for (auto _ : state) {
        benchmark::DoNotOptimize(in->run(*detector));
        benchmark::ClobberMemory();
    }
    detector->destroyInstance(detector);
}
BENCHMARK(BM_ConfidenceIndex256Rows);

}  // namespace
