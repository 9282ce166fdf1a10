// A whole detection run at 256 rows with every channel held to exactly ten
// fit iterations.
#include <benchmark/benchmark.h>

#include <memory>

#include "bench_inputs.h"

namespace {

void BM_KevrMain256RowsTenIterations(benchmark::State& state) {
    kevra_bench::KevrMainInputs in;
    std::unique_ptr<AppKEVRA, void (*)(AppKEVRA*)> detector(AppKEVRA::getInstance(),
                                                             [](AppKEVRA* d) { d->destroyInstance(d); });
    for (auto _ : state) {
        benchmark::DoNotOptimize(in.run(*detector));
        benchmark::ClobberMemory();
    }
    if (!in.ran_ten_iterations()) state.SkipWithError("a channel did not run ten iterations");
}
BENCHMARK(BM_KevrMain256RowsTenIterations);

}  // namespace
