// One row signal fitted by the detector itself under one mains hypothesis.
#ifndef KEVRA_SCENE_HYPOTHESIS_FIT_H
#define KEVRA_SCENE_HYPOTHESIS_FIT_H

#include <cstdint>

#include "kevra.h"
#include "scene/hypothesis_evidence.h"

namespace kevra_scene {

struct FitTiming {
    int32_t row_num;
    int32_t lines_per_row;
    float line_time;      // us
    float exposure_time;  // us
    float start_time;     // us: line 0's exposure start, reduced modulo a common multiple of both periods
};

struct SignalFit {
    bool valid = false;
    Phasor fundamental;  // coefficient of e^{iWt}, absolute-time phase
    double power = 0.0;  // of the fitted harmonics: sum A_h^2 / 2
};

// Work space of a fit: the derived streams and what the detector unpacks.
struct FitBuffers {
    uint32_t* sum_stream;
    uint32_t* count_stream;
    uint32_t* sum;
    uint32_t* count;
    float* level;
};

// Fills the channels of the derived streams that every fit of a frame shares:
// all but channel 1 flat, so that they cost one iteration each.
void prepare_fit_streams(const FitBuffers& buffers, int row_num);

// Hands the signal to KevrMain as channel 1 of the derived streams (prepared
// for this row count), starting the fit from the signal's least-squares
// solution, and reads channel 1's fit.
SignalFit fit_signal(QORKEVRA& detector, int32_t mains_frequency, const FitTiming& timing, const double* signal,
                     const FitBuffers& buffers);

// Angular frequency of the ripple, radians per us.
double ripple_rate(int32_t mains_frequency);

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_HYPOTHESIS_FIT_H
