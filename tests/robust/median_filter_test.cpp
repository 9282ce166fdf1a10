#include "robust/median_filter.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

#include "support/backends.h"
#include "support/bits.h"
#include "support/probe.h"

namespace {

using kevra_test::SameBits;

struct MedianCase {
    std::vector<float> in, want;
};

TEST(MedianFilter, SmoothsFromTheInputValuesAndKeepsTwoEntriesAtEachEnd) {
    const MedianCase cases[] = {
        {{4, 1, 3, 2}, {4, 1, 3, 2}},                            // n = 4: too short
        {{4, 1, 3, 2, 100}, {4, 1, 2.5f, 2, 100}},               // n = 5: only entry 2
        {{1, 9, 2, 8, 3, 7, 4}, {1, 9, 5, 5.5f, 5, 7, 4}},       // in place, yet from the input
        {{1, 9, 2, 8, 3, 7, 4, 6, 5}, {1, 9, 5, 5.5f, 5, 5.5f, 5, 6, 5}},  // a full pass, then one more
    };
    auto detector = std::make_unique<kevra_test::Probe>();
    for (const MedianCase& c : cases) {
        // Exactly n floats on the heap, so the sanitizer build catches any access past n - 1.
        std::unique_ptr<float[]> data(new float[c.in.size()]);
        std::copy(c.in.begin(), c.in.end(), data.get());
        detector->median_filter(data.get(), static_cast<int>(c.in.size()), nullptr);
        EXPECT_TRUE(SameBits(c.want.data(), data.get(), c.in.size())) << "n = " << c.in.size();
    }
}

// The definition, out of place: every output from the untouched input.
std::vector<float> reference_median(const std::vector<float>& in) {
    std::vector<float> out = in;
    for (size_t j = 0; j + 5 <= in.size(); ++j) {
        using kevra::simd::max_nan;
        using kevra::simd::min_nan;
        const float a = in[j], b = in[j + 1], c = in[j + 2], d = in[j + 3];
        out[j + 2] = (min_nan(max_nan(a, b), max_nan(c, d)) + max_nan(min_nan(a, b), min_nan(c, d))) * 0.5f;
    }
    return out;
}

TEST(MedianFilter, EveryLengthAndBackendMatchesTheOutOfPlaceDefinition) {
    std::mt19937 rng(7);
    for (int n = 0; n <= 41; ++n) {
        std::vector<float> in(static_cast<size_t>(n));
        for (float& x : in) x = kevra_test::interesting_float(rng);
        const std::vector<float> want = reference_median(in);
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            std::unique_ptr<float[]> data(new float[in.size()]);
            std::copy(in.begin(), in.end(), data.get());
            kevra::median4_filter<V>(data.get(), n);
            EXPECT_TRUE(SameBits(want.data(), data.get(), in.size())) << V::name << ", n = " << n;
        });
    }
}

}  // namespace
