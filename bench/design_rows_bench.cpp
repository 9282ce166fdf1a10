// One fit iteration's design rows at 256 rows: three start angles and the
// rotated rows, with the model range.
#include <benchmark/benchmark.h>

#include <memory>

#include "bench_inputs.h"

namespace {

void BM_DesignRows256(benchmark::State& state) {
    auto d = std::make_unique<kevra_test::Probe>();
    auto in = std::make_unique<kevra_bench::DesignRowsInputs>();
    for (auto _ : state) {
        in->run(*d);
        benchmark::DoNotOptimize(d->design);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_DesignRows256);

}  // namespace
