// A whole detection run at 256 rows with every channel held to exactly ten
// fit iterations (a threshold of 1e-30 is never met, max_iterations is 9).
#include <benchmark/benchmark.h>

#include <memory>

#include "kevra.h"
#include "support/flicker_run.h"

namespace {

void BM_KevrMain256RowsTenIterations(benchmark::State& state) {
    auto run = std::make_unique<kevra_test::FlickerRun>(256, 50, 0.05, 1);
    run->config.convergence_exponent = 30;
    run->config.max_iterations = 9;
    std::unique_ptr<AppKEVRA, void (*)(AppKEVRA*)> detector(AppKEVRA::getInstance(),
                                                             [](AppKEVRA* d) { d->destroyInstance(d); });
    for (auto _ : state) {
        benchmark::DoNotOptimize(detector->KevrMain(&run->param, &run->stat, &run->config, &run->result));
        benchmark::ClobberMemory();
    }
    for (int c = 0; c < 4; ++c) {
        if (run->param.fit_iterations[c] != 10) state.SkipWithError("a channel did not run ten iterations");
    }
}
BENCHMARK(BM_KevrMain256RowsTenIterations);

}  // namespace
