// What a benchmark sequence truly shows: the label every method is scored
// against (docs/detection-quality.md).
#ifndef KEVRA_TOOLS_LABELLING_H
#define KEVRA_TOOLS_LABELLING_H

#include <string>

namespace kevra_tool {

enum class Truth { None, Hz50, Hz60, Ambiguous };

// Peak-to-peak of the exposure-integrated light over a frame's lines, as a
// share of its mean, below which banding is taken as invisible.
constexpr double kVisibilityLimit = 0.015;
// Ripples below the limit by less than this factor are left out of scores.
constexpr double kAmbiguityFactor = 1.5;

// The label of a sequence from the largest visible ripple of its frames and the
// mains frequency of its lamp.
Truth label_for(double visible_ripple, int mains_frequency);

// How far the ripple moves against the rows from one frame to the next: the
// frame interval modulo the ripple period, as a fraction folded to 0..0.5.
double ripple_shift(double frame_interval_s, double mains_hz);

std::string truth_name(Truth t);
// Throws std::invalid_argument for a name truth_name does not give.
Truth truth_from_name(const std::string& name);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_LABELLING_H
