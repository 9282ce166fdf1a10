// The least-squares step at the largest row count, and the inversion alone.
#include <benchmark/benchmark.h>

#include <memory>
#include <random>

#include "support/probe.h"

namespace {

void fill_design(kevra_test::Probe& d) {
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (auto& row : d.design)
        for (float& v : row) v = u(rng);
}

void BM_MatrixMultiplication256(benchmark::State& state) {
    auto d = std::make_unique<kevra_test::Probe>();
    fill_design(*d);
    float normal[8][8] = {}, inverse[8][8] = {};
    for (auto _ : state) {
        d->matrix_multiplication(256, 7, normal, inverse);
        benchmark::DoNotOptimize(d->fit_delta);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_MatrixMultiplication256);

void BM_InverseVer2(benchmark::State& state) {
    auto d = std::make_unique<kevra_test::Probe>();
    std::mt19937 rng(2);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    float matrix[8][8], inverse[8][8];
    for (int i = 0; i < 8; ++i)
        for (int j = 0; j < 8; ++j) matrix[i][j] = u(rng) + (i == j ? 4.0f : 0.0f);
    for (auto _ : state) {
        d->inverse_ver2(7, matrix, inverse);
        benchmark::DoNotOptimize(inverse);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_InverseVer2);

}  // namespace
