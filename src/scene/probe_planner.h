// Timing requests. Where a ripple stands still against the rows (60 Hz mains
// at 30, 24, 15 or 60 fps; 50 Hz at 25 fps) frames with and without a lamp
// look the same, and no number of them decides. One frame interval lengthened
// by part of a ripple period moves the ripple against the rows, and the pair
// across it then tells a lamp from none. The planner asks for that interval;
// the camera may honour it late or never, so nothing here feeds a decision.
#ifndef KEVRA_SCENE_PROBE_PLANNER_H
#define KEVRA_SCENE_PROBE_PLANNER_H

#include <cstdint>

#include "kevra_scene.h"
#include "scene/recent.h"

namespace kevra_scene {

// What the latest frame says about the need for a probe.
struct ProbeFacts {
    int64_t timestamp_ns;
    bool paired;            // the frame extends a sequence (has a previous frame)
    int64_t interval_ns;    // from the previous frame, when paired
    int32_t answer;         // reported
    int32_t frame_answer;   // what this frame's evidence alone says
    bool frame_single_pair; // ... and it names a lamp from a single pair
    // Per hypothesis ([0] 50 Hz, [1] 60 Hz): pairs in memory in which the
    // ripple moved, and whether the latest exposure hides any lamp's ripple.
    int moved_pairs[2];
    bool hidden[2];
};

class ProbePlanner {
public:
    void reset();
    // The request after this frame; frame_interval_ns 0 when nothing is asked.
    kevra_scene_request plan(const ProbeFacts& facts, const kevra_scene_settings& settings);

private:
    int untested(const ProbeFacts& facts) const;
    bool due(const ProbeFacts& facts, const kevra_scene_settings& settings, int untested, bool continuing) const;

    Recent<int64_t, 4> intervals_;  // the camera's recent frame intervals
    int64_t own_ns_ = 0;             // the camera's own interval: the shortest recent one
    int32_t pairs_ = 0;              // since the last reset, saturating
    int32_t frames_since_request_ = 0;
    int32_t burst_left_ = 0;         // requests still to make in this burst
    int64_t settled_since_ns_ = 0;   // the answer settled, or the last request, whichever is later
    int32_t settled_answer_ = KEVRA_SCENE_UNKNOWN;
};

// The extra time, at most `longest_extra_ns`, to add to `interval_ns` so that
// the ripples of the hypotheses in `untested` (bit 0: 50 Hz, bit 1: 60 Hz)
// move furthest against the rows (fraction of a period, folded to 0..0.5),
// the others moving too where that costs them little; the smallest such
// extra. 0 when none moves the untested ripples usefully.
int64_t probe_extra_ns(int64_t interval_ns, int64_t longest_extra_ns, int untested);

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_PROBE_PLANNER_H
