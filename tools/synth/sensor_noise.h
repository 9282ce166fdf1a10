// Random numbers for pixel noise: reproducible for a seed with any standard
// library, and fast enough for millions of pixels a frame.
#ifndef KEVRA_TOOLS_SENSOR_NOISE_H
#define KEVRA_TOOLS_SENSOR_NOISE_H

#include <cstdint>
#include <random>

namespace kevra_tool {

// splitmix64's output for state x: neighbouring states give unrelated values,
// so seeds and indices combine into independent streams.
inline uint64_t mix64(uint64_t x) {
    x += 0x9E3779B97F4A7C15ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    return x ^ (x >> 31);
}

// Box-Muller over a 64-bit Mersenne Twister: the generator of the first
// synthetic captures, kept so that their scenes reproduce bit for bit.
class BoxMullerNormal {
public:
    explicit BoxMullerNormal(uint64_t seed) : rng_(seed) {}
    double operator()();

private:
    std::mt19937_64 rng_;
    double spare_ = 0.0;
    bool has_spare_ = false;
};

// xoshiro256** with normals from a table of 65536 equally likely quantiles
// (four per 64-bit draw; tails end at 4.2 sigma) and Poisson counts.
class FastNoise {
public:
    explicit FastNoise(uint64_t seed);
    double normal() {
        if (left_ == 0) {
            bits_ = next();
            left_ = 4;
        }
        --left_;
        const double z = quantiles()[bits_ & 0xFFFF];
        bits_ >>= 16;
        return z;
    }
    double uniform() { return (double(next() >> 11) + 0.5) * 0x1.0p-53; }  // (0, 1)
    // Exact draw by inversion; meant for small means (cost grows with it).
    int poisson(double mean);

private:
    uint64_t next();
    static const double* quantiles();

    uint64_t s_[4];
    uint64_t bits_ = 0;
    int left_ = 0;
};

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_SENSOR_NOISE_H
