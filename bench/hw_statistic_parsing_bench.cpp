// Unpacking 256 rows of raw hardware statistics.
#include <benchmark/benchmark.h>

#include <memory>

#include "bench_inputs.h"

namespace {

void BM_HwStatisticParsing256(benchmark::State& state) {
    auto d = std::make_unique<kevra_test::Probe>();
    auto in = std::make_unique<kevra_bench::ParsingInputs>(*d);
    for (auto _ : state) {
        d->HW_Statistic_parsing(&in->stat, &in->param);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_HwStatisticParsing256);

}  // namespace
