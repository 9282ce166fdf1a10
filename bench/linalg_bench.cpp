// The least-squares step at the largest row count, and the inversion alone.
#include <benchmark/benchmark.h>

#include <memory>

#include "bench_inputs.h"

namespace {

void BM_MatrixMultiplication256(benchmark::State& state) {
    auto d = std::make_unique<kevra_test::Probe>();
    kevra_bench::fill_random_design(*d);
    float normal[8][8] = {}, inverse[8][8] = {};
    for (auto _ : state) {
        d->matrix_multiplication(kevra_bench::kRows, 7, normal, inverse);
        benchmark::DoNotOptimize(d->fit_delta);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_MatrixMultiplication256);

void BM_InverseVer2(benchmark::State& state) {
    auto d = std::make_unique<kevra_test::Probe>();
    float matrix[8][8], inverse[8][8];
    kevra_bench::fill_regular_matrix(matrix);
    for (auto _ : state) {
        d->inverse_ver2(7, matrix, inverse);
        benchmark::DoNotOptimize(inverse);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_InverseVer2);

}  // namespace
