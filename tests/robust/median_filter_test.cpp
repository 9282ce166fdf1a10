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

TEST(MedianFilter, SmoothsFromTheInputValuesAndKeepsTwoEntriesAtEachEnd) {
    const std::vector<float> cases[][2] = {
        {{4, 1, 3, 2}, {4, 1, 3, 2}},                                         // n = 4: too short
        {{4, 1, 3, 2, 100}, {4, 1, 2.5f, 2, 100}},                            // n = 5: entry 2 only
        {{1, 9, 2, 8, 3, 7, 4}, {1, 9, 5, 5.5f, 5, 7, 4}},                    // in place, from the input
        {{1, 9, 2, 8, 3, 7, 4, 6, 5}, {1, 9, 5, 5.5f, 5, 5.5f, 5, 6, 5}},     // a full pass, then one more
    };
    auto detector = std::make_unique<kevra_test::Probe>();
    for (const auto& c : cases) {
        // Exactly n floats on the heap: the sanitizer build catches any access past n - 1.
        std::unique_ptr<float[]> data(new float[c[0].size()]);
        std::copy(c[0].begin(), c[0].end(), data.get());
        detector->median_filter(data.get(), static_cast<int>(c[0].size()), nullptr);
        EXPECT_TRUE(SameBits(c[1].data(), data.get(), c[0].size())) << "n = " << c[0].size();
    }
}

TEST(MedianFilter, EveryLengthAndBackendMatchesTheOutOfPlaceDefinition) {
    using kevra::simd::max_nan;
    using kevra::simd::min_nan;
    std::mt19937 rng(7);
    for (int n = 1; n <= 41; ++n) {
        std::vector<float> in(static_cast<size_t>(n));
        for (float& x : in) x = kevra_test::interesting_float(rng);
        std::vector<float> want = in;
        for (size_t j = 0; j + 5 <= in.size(); ++j) {
            const float a = in[j], b = in[j + 1], c = in[j + 2], d = in[j + 3];
            want[j + 2] = (min_nan(max_nan(a, b), max_nan(c, d)) + max_nan(min_nan(a, b), min_nan(c, d))) * 0.5f;
        }
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
