// Random draws of the benchmark recipe, spelled out so that a seed gives the
// same sequences with every standard library.
#ifndef KEVRA_TOOLS_RECIPE_DRAW_H
#define KEVRA_TOOLS_RECIPE_DRAW_H

#include <cstdint>
#include <random>
#include <vector>

#include "sensor_noise.h"

namespace kevra_tool {

class Draw {
public:
    explicit Draw(uint64_t seed) : rng_(seed) {}
    double uniform(double lo, double hi) { return lo + (hi - lo) * double(rng_() >> 11) * 0x1.0p-53; }
    bool chance(double p) { return uniform(0.0, 1.0) < p; }
    double sign() { return chance(0.5) ? 1.0 : -1.0; }
    template <typename T>
    const T& pick(const std::vector<T>& v) { return v[size_t(uniform(0.0, double(v.size())))]; }

private:
    std::mt19937_64 rng_;
};

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_RECIPE_DRAW_H
