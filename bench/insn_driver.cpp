// Runs one stage of the library N times on the benchmark inputs, for counting
// the instructions it executes: under qemu with the counting plugin, the
// difference between two repetition counts divided by their difference is the
// cost of one call, setup and process start-up cancelled out.
//
//   kevra_insn_driver STAGE N
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "bench_inputs.h"
#include "scene_inputs.h"

namespace {

template <class Body>
void repeat(long n, Body body) {
    for (long i = 0; i < n; ++i) {
        body();
        asm volatile("" ::: "memory");
    }
}

void parsing(long n) {
    auto d = std::make_unique<kevra_test::Probe>();
    auto in = std::make_unique<kevra_bench::ParsingInputs>(*d);
    repeat(n, [&] { d->HW_Statistic_parsing(&in->stat, &in->param); });
}

template <int WeightEnable, int WeightFixed>
void preprocess(long n) {
    kevra_test::PreparedDetector d(kevra_bench::kRows);
    kevra_bench::load_flickering_scene(d, WeightEnable, WeightFixed);
    repeat(n, [&] { d.probe->statistic_preprocess(kevra_bench::kRows, 1.25f, &d.param, &d.config); });
}

void design_rows(long n) {
    auto d = std::make_unique<kevra_test::Probe>();
    auto in = std::make_unique<kevra_bench::DesignRowsInputs>();
    repeat(n, [&] { in->run(*d); });
}

void matrix_multiplication(long n) {
    auto d = std::make_unique<kevra_test::Probe>();
    kevra_bench::fill_random_design(*d);
    float normal[8][8] = {}, inverse[8][8] = {};
    repeat(n, [&] { d->matrix_multiplication(kevra_bench::kRows, 7, normal, inverse); });
}

void inverse_ver2(long n) {
    auto d = std::make_unique<kevra_test::Probe>();
    float matrix[8][8], inverse[8][8];
    kevra_bench::fill_regular_matrix(matrix);
    repeat(n, [&] { d->inverse_ver2(7, matrix, inverse); });
}

void confidence_index(long n) {
    auto in = std::make_unique<kevra_bench::ConfidenceInputs>();
    auto d = std::make_unique<kevra_test::Probe>();
    repeat(n, [&] { in->run(*d); });
}

void kevr_main(long n) {
    kevra_bench::KevrMainInputs in;
    auto d = std::make_unique<kevra_test::Probe>();
    repeat(n, [&] { in.run(*d); });
    if (n > 0 && !in.ran_ten_iterations()) {
        std::fprintf(stderr, "kevr_main: a channel did not run ten iterations\n");
        std::exit(1);
    }
}

// The classifier's history is full before counting starts, as on a running camera.
template <int Motion, int RippleThousandths>
void scene_frame(long n) {
    kevra_bench::SceneInputs in(Motion, RippleThousandths * 1e-3);
    for (int k = 0; k < 6; ++k) in.run();
    repeat(n, [&] { in.run(); });
}

struct Stage {
    const char* name;
    void (*run)(long n);
};

const Stage kStages[] = {
    {"parsing", parsing},
    {"preprocess_plain", preprocess<0, 0>},
    {"preprocess_fixed", preprocess<1, 1>},
    {"preprocess_computed", preprocess<1, 0>},
    {"design_rows", design_rows},
    {"matrix_multiplication", matrix_multiplication},
    {"inverse_ver2", inverse_ver2},
    {"kevr_main", kevr_main},
    {"confidence_index", confidence_index},
    {"scene_frame", scene_frame<0, 100>},
    {"scene_frame_pan", scene_frame<144, 100>},
    {"scene_frame_steady", scene_frame<0, 0>},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3) {
        for (const Stage& s : kStages) {
            if (std::strcmp(argv[1], s.name) == 0) {
                s.run(std::strtol(argv[2], nullptr, 10));
                return 0;
            }
        }
    }
    std::fprintf(stderr, "usage: %s STAGE N\nstages:", argv[0]);
    for (const Stage& s : kStages) std::fprintf(stderr, " %s", s.name);
    std::fprintf(stderr, "\n");
    return 2;
}
