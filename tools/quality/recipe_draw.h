// Random draws of the benchmark recipe, spelled out so that a seed gives the
// same sequences with every standard library.
#ifndef KEVRA_TOOLS_RECIPE_DRAW_H
#define KEVRA_TOOLS_RECIPE_DRAW_H

#include <cstdint>
#include <random>
#include <vector>

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

// splitmix64's finaliser: neighbouring indices give unrelated seeds.
inline uint64_t mix(uint64_t x) {
    x += 0x9e3779b97f4a7c15ull;
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ull;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebull;
    return x ^ (x >> 31);
}

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_RECIPE_DRAW_H
