// Shared pieces of the confidence tests: a detector that releases itself and
// the records of the one-row worked example.
#ifndef KEVRA_TESTS_CONFIDENCE_CONFIDENCE_FIXTURES_H
#define KEVRA_TESTS_CONFIDENCE_CONFIDENCE_FIXTURES_H

#include <memory>

#include "kevra.h"

namespace kevra_test {

struct DetectorDeleter {
    void operator()(AppKEVRA* d) const { d->destroyInstance(d); }
};
using Detector = std::unique_ptr<AppKEVRA, DetectorDeleter>;

inline Detector make_detector() { return Detector(AppKEVRA::getInstance()); }

// Offset 100, amplitude1 10, margin 2, weight norm 1 x 2, 16 lines per row;
// every angle is 0. The caller sets row_num and the buffers.
inline void set_worked_example(kevra_confidence_idx_input* input, kevra_fitting_result* result) {
    *input = kevra_confidence_idx_input{};
    *result = kevra_fitting_result{};
    input->lines_per_row = 16;
    input->sum_norm_a = 1;
    input->sum_norm_b = 2;
    input->band_margin = 2.0f;
    result->offset[1] = 100.0f;
    result->amplitude1[1] = 10.0f;
}

}  // namespace kevra_test

#endif  // KEVRA_TESTS_CONFIDENCE_CONFIDENCE_FIXTURES_H
