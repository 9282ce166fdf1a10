#include "labelling.h"

#include <cmath>
#include <stdexcept>

namespace kevra_tool {

Truth label_for(double visible_ripple, int mains_frequency) {
    if (!(visible_ripple >= kVisibilityLimit / kAmbiguityFactor)) return Truth::None;
    if (visible_ripple < kVisibilityLimit) return Truth::Ambiguous;
    return mains_frequency == 60 ? Truth::Hz60 : Truth::Hz50;
}

double ripple_shift(double frame_interval_s, double mains_hz) {
    const double periods = frame_interval_s * 2.0 * mains_hz;
    const double fraction = periods - std::floor(periods);
    return std::min(fraction, 1.0 - fraction);
}

std::string truth_name(Truth t) {
    switch (t) {
        case Truth::None: return "none";
        case Truth::Hz50: return "50";
        case Truth::Hz60: return "60";
        case Truth::Ambiguous: return "ambiguous";
    }
    return "none";
}

Truth truth_from_name(const std::string& name) {
    for (Truth t : {Truth::None, Truth::Hz50, Truth::Hz60, Truth::Ambiguous})
        if (truth_name(t) == name) return t;
    throw std::invalid_argument("expected none, 50, 60 or ambiguous");
}

}  // namespace kevra_tool
