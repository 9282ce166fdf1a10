// One frame of the scene classifier at 256 rows, in a running sequence.
#include <benchmark/benchmark.h>

#include "scene_inputs.h"

namespace {

void BM_SceneProcessFrame256(benchmark::State& state) {
    kevra_bench::SceneInputs in;
    for (int k = 0; k < 6; ++k) in.run();  // a full history, as in a running camera
    for (auto _ : state) {
        benchmark::DoNotOptimize(in.run());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_SceneProcessFrame256);

}  // namespace
