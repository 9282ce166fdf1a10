// The median filter and the outlier screening, each through the member (the native backend) and the
// portable kernel, against the scalar rules.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "robust/median_filter.h"
#include "robust/remove_outliers_ver2.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/probe.h"

namespace {

namespace simd = kevra::simd;
using kevra_test::SameBits;
constexpr float kMissing = -32767.0f;

// n = 1..41 covers the short cases, whole passes and every tail length.
TEST(MedianFilter, EveryLengthMatchesTheOutOfPlaceDefinition) {
    auto probe = std::make_unique<kevra_test::Probe>();
    std::mt19937 rng(7);
    for (size_t n = 1; n <= 41; ++n) {
        std::vector<float> in(n);
        for (float& x : in) x = kevra_test::interesting_float(rng);
        std::vector<float> want = in;
        for (size_t j = 0; j + 5 <= n; ++j) {
            const float a = in[j], b = in[j + 1], c = in[j + 2], d = in[j + 3];
            want[j + 2] = (simd::min_nan(simd::max_nan(a, b), simd::max_nan(c, d)) +
                           simd::max_nan(simd::min_nan(a, b), simd::min_nan(c, d))) * 0.5f;
        }
        std::vector<float> portable = in, member = in;  // exactly n floats each, for the sanitizer
        kevra::median4_filter<simd::Portable>(portable.data(), int(n));
        probe->median_filter(member.data(), int(n), nullptr);
        EXPECT_TRUE(SameBits(want.data(), portable.data(), n) && SameBits(want.data(), member.data(), n)) << n;
    }
}

// Frequent ties; keep[n] must stay as it was, and with n = 0 also *count is 0.
TEST(RemoveOutliersVer2, DropsMissingSamplesAndOnlyTheFirstLargestDeviationAboveTheLimit) {
    auto probe = std::make_unique<kevra_test::Probe>();
    std::mt19937 rng(11);
    const float values[] = {0.0f, 1.0f, 2.0f, 3.0f, 8.0f, -8.0f, kMissing, 0.25f};
    std::uniform_int_distribution<int> pick(0, 7), length(0, 37), tolerance(0, 3000);
    for (int trial = 0; trial < 400; ++trial) {
        std::vector<float> data(static_cast<size_t>(length(rng)));
        for (float& x : data) x = trial % 2 ? values[pick(rng)] : kevra_test::interesting_float(rng);
        // Trial 0: deviations just above 5 * 0.005 rounded from double, equal to it in single precision.
        if (trial == 0) data = {0.0f, 0x1.99999cp-5f};
        const int tol = trial == 0 ? 5 : tolerance(rng), n = static_cast<int>(data.size());
        float sum = 0.0f, valid = 0.0f, best = static_cast<float>(tol * 0.001) * 5.0f;
        for (float x : data) valid += x > kMissing ? (sum += x, 1.0f) : 0.0f;
        const float mean = valid != 0.0f ? sum / valid : 0.0f;
        std::vector<uint32_t> want(data.size() + 1, 123u), portable = want, member = want;
        int out = -1, counts[2] = {-5, -5};
        for (int i = 0; i < n; ++i) {
            want[i] = data[i] > kMissing ? ~0u : 0u;
            if (data[i] > kMissing && std::fabs(data[i] - mean) > best) best = std::fabs(data[i] - mean), out = i;
        }
        if (out >= 0) want[out] = 0;
        kevra::remove_single_outlier<simd::Portable>(data.data(), n, &counts[0], portable.data(), tol);
        probe->remove_outliers_ver2(data.data(), n, &counts[1], member.data(), tol);
        EXPECT_TRUE(counts[0] == n && counts[1] == n && SameBits(want.data(), portable.data(), want.size()) &&
                    SameBits(want.data(), member.data(), want.size())) << "trial " << trial;
    }
}

}  // namespace
