// Unpacking of the two raw streams into channel-major sums, counts and top bytes.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "core/hw_statistic_parsing.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/probe.h"

namespace {

struct Parsed {
    std::vector<uint32_t> sum, count;
    std::vector<uint32_t> high;  // rows x 24
};

template <class V>
Parsed parse(const std::vector<uint32_t>& sums, const std::vector<uint32_t>& counts, int rows) {
    Parsed p{std::vector<uint32_t>(sums.size(), 0xDEADBEEF), std::vector<uint32_t>(sums.size(), 0xDEADBEEF),
             std::vector<uint32_t>(sums.size(), 0xDEADBEEF)};
    kevra::parse_statistic_rows<V>(sums.data(), counts.data(), rows, p.sum.data(), p.count.data(),
                                   reinterpret_cast<uint32_t(*)[24]>(p.high.data()));
    return p;
}

TEST(StatisticParsing, SplitsWordsAndTransposesToChannelMajor) {
    std::vector<uint32_t> sums(48), counts(48);
    for (int w = 0; w < 48; ++w) {
        sums[w] = 0xAB000000u | static_cast<uint32_t>(w);
        counts[w] = (static_cast<uint32_t>(w) << 24) | static_cast<uint32_t>(1000 + w);
    }
    sums[5] = 0xFFFFFFFFu;
    counts[5] = 0xFF000000u;
    counts[24 + 1] = 0x12345678u;
    const Parsed p = parse<kevra::simd::Native>(sums, counts, 2);
    // Input word 5 of a row (zone 1, channel 1) lands at output position 7.
    EXPECT_EQ(p.sum[7], 0x00FFFFFFu);
    EXPECT_EQ(p.count[7], 0u);
    EXPECT_EQ(p.high[7], 255u);
    // Row 1 starts at word 24 of input and output; word 1 is zone 0, channel 1.
    EXPECT_EQ(p.count[24 + 6], 0x00345678u);
    EXPECT_EQ(p.high[24 + 6], 0x12u);
    for (int r = 0; r < 2; ++r) {
        for (int c = 0; c < 4; ++c) {
            for (int z = 0; z < 6; ++z) {
                const int in = 24 * r + 4 * z + c, out = 24 * r + 6 * c + z;
                if (in == 5 || in == 25) continue;
                EXPECT_EQ(p.sum[out], static_cast<uint32_t>(in)) << "row " << r << " c " << c << " z " << z;
                EXPECT_EQ(p.count[out], static_cast<uint32_t>(1000 + in));
                EXPECT_EQ(p.high[out], static_cast<uint32_t>(in));
            }
        }
    }
}

TEST(StatisticParsing, NoRowsMeansNothingWritten) {
    const std::vector<uint32_t> words(24, 7);
    for (int rows : {0, -1, -256}) {
        const Parsed p = parse<kevra::simd::Native>(words, words, rows);
        for (size_t k = 0; k < 24; ++k) {
            EXPECT_EQ(p.sum[k], 0xDEADBEEFu);
            EXPECT_EQ(p.count[k], 0xDEADBEEFu);
            EXPECT_EQ(p.high[k], 0xDEADBEEFu);
        }
    }
}

TEST(StatisticParsing, BackendsAgreeOnRandomWords) {
    std::mt19937 rng(11);
    std::uniform_int_distribution<uint32_t> word;
    const int rows = 256;
    std::vector<uint32_t> sums(24 * rows), counts(24 * rows);
    for (auto& w : sums) w = word(rng);
    for (auto& w : counts) w = word(rng);
    const Parsed want = parse<kevra::simd::Portable>(sums, counts, rows);
    kevra_test::for_each_backend([&](auto tag) {
        using V = typename decltype(tag)::type;
        const Parsed got = parse<V>(sums, counts, rows);
        EXPECT_TRUE(kevra_test::SameBits(want.sum.data(), got.sum.data(), want.sum.size())) << V::name;
        EXPECT_TRUE(kevra_test::SameBits(want.count.data(), got.count.data(), want.count.size())) << V::name;
        EXPECT_TRUE(kevra_test::SameBits(want.high.data(), got.high.data(), want.high.size())) << V::name;
    });
}

TEST(StatisticParsing, MemberFillsCallerBuffersAndTopBytes) {
    auto d = std::make_unique<kevra_test::Probe>();
    std::vector<uint32_t> sums(24, 0x01000000u | 3u), counts(24, 0x7F000009u), sum_out(24), count_out(24);
    kevra_statistic stat{sums.data(), counts.data()};
    kevra_parameter param{};
    param.row_num = 1;
    d->stat_sum = sum_out.data();
    d->stat_count = count_out.data();
    d->HW_Statistic_parsing(&stat, &param);
    EXPECT_EQ(sum_out[23], 3u);
    EXPECT_EQ(count_out[0], 9u);
    EXPECT_EQ(d->stat_high[0][12], 0x7Fu);
}

}  // namespace
