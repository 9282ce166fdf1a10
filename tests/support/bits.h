// Exact comparison helpers: floats are compared by their bits, so NaN payloads
// and the sign of zero count.
#ifndef KEVRA_TESTS_SUPPORT_BITS_H
#define KEVRA_TESTS_SUPPORT_BITS_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>

namespace kevra_test {

inline uint32_t bits(float x) {
    uint32_t b;
    std::memcpy(&b, &x, sizeof b);
    return b;
}

inline float from_bits(uint32_t b) {
    float x;
    std::memcpy(&x, &b, sizeof x);
    return x;
}

inline std::string describe(float x) {
    std::ostringstream s;
    s.precision(9);
    s << x << " (0x" << std::hex << bits(x) << ")";
    return s.str();
}
inline std::string describe(uint32_t x) { return std::to_string(x); }
inline std::string describe(int32_t x) { return std::to_string(x); }

// Demands that want[0..n) and got[0..n) are bit-identical; on failure lists
// the first differing elements.
template <class T>
::testing::AssertionResult SameBits(const T* want, const T* got, size_t n) {
    if (std::memcmp(want, got, n * sizeof(T)) == 0) return ::testing::AssertionSuccess();
    ::testing::AssertionResult failure = ::testing::AssertionFailure();
    int shown = 0;
    for (size_t i = 0; i < n && shown < 8; ++i) {
        if (std::memcmp(&want[i], &got[i], sizeof(T)) != 0) {
            failure << "\n  [" << i << "] want " << describe(want[i]) << ", got " << describe(got[i]);
            ++shown;
        }
    }
    return failure;
}

inline ::testing::AssertionResult SameBits(float want, float got) { return SameBits(&want, &got, 1); }

}  // namespace kevra_test

#define EXPECT_SAME_BITS(want, got, n) EXPECT_TRUE(::kevra_test::SameBits((want), (got), (n)))

#endif  // KEVRA_TESTS_SUPPORT_BITS_H
