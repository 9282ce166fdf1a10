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

struct OutlierCase {
    const char* what;
    std::vector<float> data;
    int tolerance;
    std::vector<uint32_t> want_keep;
};

TEST(RemoveOutliersVer2, DropsMissingSamplesAndOnlyTheFirstLargestDeviationAboveTheLimit) {
    const float nan = __builtin_nanf("");
    const OutlierCase cases[] = {
        {"outlier above limit 0.5", {1.0f, 1.1f, 0.9f, 5.0f}, 100, {K, K, K, 0}},
        {"limit 5.0 keeps all", {1.0f, 1.1f, 0.9f, 5.0f}, 1000, {K, K, K, K}},
        {"missing and NaN never enter", {kMissing, 1.0f, nan, 1.0f, 1.0f, -40000.0f, 4.0f}, 100,
         {0, K, 0, K, K, 0, 0}},
        {"tie: first of two", {0.0f, 10.0f, 5.0f, 5.0f, 5.0f, 0.0f, 10.0f}, 0, {0, K, K, K, K, K, K}},
        {"deviation equal to the limit stays", {0.0f, 1.0f}, 100, {K, K}},
        {"all missing", {kMissing, kMissing, -1e30f}, 0, {0, 0, 0}},
        {"negative tolerance drops the first of equals", {2.0f, 2.0f, 2.0f, 2.0f, 2.0f}, -1, {0, K, K, K, K}},
    };
    auto detector = std::make_unique<kevra_test::Probe>();
    for (const OutlierCase& c : cases) {
        const size_t n = c.data.size();
        std::vector<float> data = c.data;
        std::unique_ptr<unsigned int[]> keep(new unsigned int[n]);
        int count = -5;
        detector->remove_outliers_ver2(data.data(), static_cast<int>(n), &count, keep.get(), c.tolerance);
        EXPECT_TRUE(kevra_test::SameBits(c.want_keep.data(), keep.get(), n)) << c.what;
        EXPECT_EQ(count, static_cast<int>(n)) << c.what;
        EXPECT_TRUE(kevra_test::SameBits(c.data.data(), data.data(), n)) << c.what << ": data changed";
    }
}

TEST(RemoveOutliersVer2, EmptyInputWritesOnlyAZeroCount) {
    unsigned int keep = 123;
    int count = -5;
    auto detector = std::make_unique<kevra_test::Probe>();
    detector->remove_outliers_ver2(nullptr, 0, &count, &keep, 100);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(keep, 123u);
}

// The sequential rule: the first index whose deviation beats the best so far, starting at the limit.
std::vector<uint32_t> reference_keep(const std::vector<float>& data, int tolerance) {
    const float limit = static_cast<float>(tolerance * 0.001) * 5.0f;
    float sum = 0.0f;
    uint32_t valid = 0;
    for (float x : data) {
        if (x > kMissing) {
            sum += x;
            ++valid;
        }
    }
    const float mean = valid != 0 ? sum / static_cast<float>(valid) : 0.0f;
    float best = limit;
    int out = -1;
    for (size_t i = 0; i < data.size(); ++i) {
        const float dev = std::fabs(data[i] - mean);
        if (data[i] > kMissing && dev > best) {
            best = dev;
            out = static_cast<int>(i);
        }
    }
    std::vector<uint32_t> keep(data.size());
    for (size_t i = 0; i < data.size(); ++i) keep[i] = data[i] > kMissing && static_cast<int>(i) != out ? K : 0;
    return keep;
}

TEST(RemoveOutliersVer2, EveryBackendFindsTheSameOutlierAsTheSequentialRule) {
    std::mt19937 rng(11);
    // Few distinct values, so ties at the largest deviation are common.
    const float values[] = {0.0f, 1.0f, 2.0f, 3.0f, 8.0f, -8.0f, kMissing, 0.25f};
    std::uniform_int_distribution<int> pick(0, 7), length(1, 37), tolerance(0, 3000);
    for (int trial = 0; trial < 400; ++trial) {
        std::vector<float> data(static_cast<size_t>(length(rng)));
        for (float& x : data) x = trial % 2 ? values[pick(rng)] : kevra_test::interesting_float(rng);
        const int tol = tolerance(rng);
        const std::vector<uint32_t> want = reference_keep(data, tol);
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            std::unique_ptr<uint32_t[]> keep(new uint32_t[data.size()]);
            int count = 0;
            kevra::remove_single_outlier<V>(data.data(), static_cast<int>(data.size()), &count, keep.get(), tol);
            EXPECT_TRUE(kevra_test::SameBits(want.data(), keep.get(), data.size())) << V::name << ", trial " << trial;
        });
    }
}

}  // namespace
