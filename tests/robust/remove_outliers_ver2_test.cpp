#include "robust/remove_outliers_ver2.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "support/backends.h"
#include "support/bits.h"
#include "support/probe.h"

namespace {

constexpr uint32_t K = 0xFFFFFFFFu;  // keep
constexpr float kMissing = -32767.0f;

TEST(RemoveOutliersVer2, DropsMissingSamplesAndOnlyTheFirstLargestDeviationAboveTheLimit) {
    const float nan = __builtin_nanf("");
    const struct {
        std::vector<float> data;
        int tolerance;
        std::vector<uint32_t> want_keep;
    } cases[] = {
        {{1.0f, 1.1f, 0.9f, 5.0f}, 100, {K, K, K, 0}},  // limit 0.5
        {{1.0f, 1.1f, 0.9f, 5.0f}, 1000, {K, K, K, K}},
        {{kMissing, 1.0f, nan, 1.0f, 1.0f, -40000.0f, 4.0f}, 100, {0, K, 0, K, K, 0, 0}},
        {{0.0f, 10.0f, 5.0f, 5.0f, 5.0f, 0.0f, 10.0f}, 0, {0, K, K, K, K, K, K}},  // four tie: first goes
        {{}, 100, {}},
    };
    auto detector = std::make_unique<kevra_test::Probe>();
    for (const auto& c : cases) {
        const size_t n = c.data.size();
        std::vector<float> data = c.data;
        std::vector<unsigned int> keep(n + 1, 123u);
        int count = -5;
        detector->remove_outliers_ver2(data.data(), static_cast<int>(n), &count, keep.data(), c.tolerance);
        EXPECT_EQ(keep[n], 123u);
        EXPECT_EQ(count, static_cast<int>(n));
        if (n == 0) continue;
        EXPECT_TRUE(kevra_test::SameBits(c.want_keep.data(), keep.data(), n)) << "case " << &c - cases;
        EXPECT_TRUE(kevra_test::SameBits(c.data.data(), data.data(), n)) << "data changed";
    }
}

TEST(RemoveOutliersVer2, EveryBackendFindsTheOutlierOfTheSequentialRule) {
    std::mt19937 rng(11);
    const float values[] = {0.0f, 1.0f, 2.0f, 3.0f, 8.0f, -8.0f, kMissing, 0.25f};  // frequent ties
    std::uniform_int_distribution<int> pick(0, 7), length(1, 37), tolerance(0, 3000);
    for (int trial = 0; trial < 400; ++trial) {
        std::vector<float> data(static_cast<size_t>(length(rng)));
        for (float& x : data) x = trial % 2 ? values[pick(rng)] : kevra_test::interesting_float(rng);
        const int tol = tolerance(rng);
        float sum = 0.0f, best = static_cast<float>(tol * 0.001) * 5.0f;
        uint32_t valid = 0;
        for (float x : data) {
            if (!(x > kMissing)) continue;
            sum += x;
            ++valid;
        }
        const float mean = valid != 0 ? sum / static_cast<float>(valid) : 0.0f;
        std::vector<uint32_t> want(data.size());
        size_t out = data.size();
        for (size_t i = 0; i < data.size(); ++i) {
            want[i] = data[i] > kMissing ? K : 0;
            const float dev = std::fabs(data[i] - mean);
            if (data[i] > kMissing && dev > best) {
                best = dev;
                out = i;
            }
        }
        if (out < data.size()) want[out] = 0;
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            std::vector<uint32_t> keep(data.size());
            int count = 0;
            kevra::remove_single_outlier<V>(data.data(), static_cast<int>(data.size()), &count, keep.data(), tol);
            EXPECT_TRUE(kevra_test::SameBits(want.data(), keep.data(), data.size())) << V::name << ", trial " << trial;
        });
    }
}

}  // namespace
