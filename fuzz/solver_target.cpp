// The least-squares step on arbitrary matrices and design rows: inverse_ver2
// and matrix_multiplication write only what they own and depend on nothing
// they are documented to ignore.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>

#include "fuzz_input.h"
#include "kevra.h"
#include "support/probe.h"
#include "targets.h"

namespace kevra_fuzz {

namespace {

struct Matrix {
    float m[8][8];
};

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

Matrix filled(float x) {
    Matrix a;
    for (auto& row : a.m) {
        for (float& v : row) v = x;
    }
    return a;
}

// The order argument, row 7 and column 7 of the matrix, and whether the
// inverse shares the matrix's storage all leave rows 0..6 of the inverse alone.
void inverse_case(Reader& in) {
    const int32_t order = in.take<int32_t>();
    Matrix matrix = in.take<Matrix>();
    const Matrix other = in.take<Matrix>();
    const Matrix original = matrix;
    Matrix inverse = other;
    auto d = std::make_unique<kevra_test::Probe>();
    d->inverse_ver2(order, matrix.m, inverse.m);
    FUZZ_CHECK(same_bits(&matrix, &original, sizeof matrix));
    FUZZ_CHECK(same_bits(inverse.m[7], other.m[7], sizeof inverse.m[7]));

    Matrix shared = matrix;
    for (int k = 0; k < 8; ++k) {
        shared.m[7][k] = other.m[k][7];
        shared.m[k][7] = other.m[7][k];
    }
    const Matrix edge = shared;
    d->inverse_ver2(~order, shared.m, shared.m);
    for (int r = 0; r < 7; ++r) FUZZ_CHECK(same_bits(shared.m[r], inverse.m[r], 7 * sizeof(float)));
    FUZZ_CHECK(same_bits(shared.m[7], edge.m[7], sizeof shared.m[7]));
}

// Design columns from row_num on, and (with all seven unknowns) whatever the
// scratch matrices held, have no influence on fit_delta.
void step_case(Reader& in) {
    const int32_t row_num = static_cast<int32_t>(in.take<uint32_t>() % (KEVRA_MAX_ROWS + 1));
    const int32_t unknown_num = in.take<int32_t>();
    const Matrix normal0 = in.take<Matrix>();
    const Matrix inverse0 = in.take<Matrix>();
    auto d = std::make_unique<kevra_test::Probe>();
    in.cycle(&d->design[0][0], 8 * 256);
    Matrix normal = normal0, inverse = inverse0;
    const Snapshot design = Snapshot().add(&d->design);
    d->matrix_multiplication(row_num, unknown_num, normal.m, inverse.m);
    FUZZ_CHECK(Snapshot().add(&d->design) == design);
    FUZZ_CHECK(same_bits(normal.m[7], normal0.m[7], sizeof normal.m[7]));
    FUZZ_CHECK(same_bits(inverse.m[7], inverse0.m[7], sizeof inverse.m[7]));
    for (int r = 0; r < 7; ++r) FUZZ_CHECK(same_bits(&normal.m[r][7], &normal0.m[r][7], sizeof(float)));
    if (unknown_num >= 7) {
        for (int i = 0; i < 7; ++i) {
            for (int j = 0; j < i; ++j) FUZZ_CHECK(same_bits(&normal.m[i][j], &normal.m[j][i], sizeof(float)));
        }
    }
    if (row_num == 0) {
        for (float x : d->fit_delta) FUZZ_CHECK(float_bits(x) == 0);
    }

    auto e = std::make_unique<kevra_test::Probe>();
    std::memcpy(e->design, d->design, sizeof e->design);
    for (auto& row : e->design) {
        for (int k = row_num; k < 256; ++k) row[k] = kNaN;
    }
    Matrix normal2 = unknown_num >= 7 ? filled(kNaN) : normal0;
    Matrix inverse2 = filled(kNaN);
    e->matrix_multiplication(row_num, unknown_num, normal2.m, inverse2.m);
    FUZZ_CHECK(same_bits(e->fit_delta, d->fit_delta, sizeof d->fit_delta));
}

}  // namespace

void solver_target(const uint8_t* data, size_t size) {
    Reader in(data, size);
    if (in.take<uint8_t>() % 2 == 0) {
        inverse_case(in);
    } else {
        step_case(in);
    }
}

}  // namespace kevra_fuzz
