// Unpacking of the two raw streams into channel-major sums, counts and top bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

#include "core/hw_statistic_parsing.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/probe.h"

namespace {

// Input word 4z + c of a row goes to output word 6c + z, masked to 24 bits; the count
// words' top bytes go to stat_high. Nothing is written from row_num on.
TEST(StatisticParsing, EveryBackendAndTheMemberSplitAndTransposeTheRowsBelowRowNum) {
    std::mt19937 rng(11);
    uint32_t sums[96], counts[96];
    for (size_t k = 0; k < 96; ++k) sums[k] = uint32_t(rng()), counts[k] = uint32_t(rng());
    auto probe = std::make_unique<kevra_test::Probe>();
    for (int rows : {-1, 0, 1, 3}) {
        uint32_t want[3][96], got[3][96];  // sums, counts, top bytes
        std::fill_n(&want[0][0], 3 * 96, 0xDEADBEEFu);
        for (int k = 0; k < 24 * rows; ++k) {
            const int in = k / 24 * 24 + k % 6 * 4 + k % 24 / 6;
            want[0][k] = sums[in] & 0xFFFFFF, want[1][k] = counts[in] & 0xFFFFFF, want[2][k] = counts[in] >> 24;
        }
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            std::fill_n(&got[0][0], 3 * 96, 0xDEADBEEFu);
            kevra::parse_statistic_rows<V>(sums, counts, rows, got[0], got[1], reinterpret_cast<uint32_t(*)[24]>(got[2]));
            EXPECT_SAME_BITS(&want[0][0], &got[0][0], 3 * 96) << V::name << ", rows " << rows;
        });
        kevra_statistic stat{sums, counts};
        kevra_parameter param{};
        param.row_num = rows;
        std::fill_n(&got[0][0], 2 * 96, 0xDEADBEEFu);
        std::fill_n(&probe->stat_high[0][0], 96, 0xDEADBEEFu);
        probe->stat_sum = got[0], probe->stat_count = got[1];
        probe->HW_Statistic_parsing(&stat, &param);
        EXPECT_SAME_BITS(&want[0][0], &got[0][0], 2 * 96) << "member, rows " << rows;
        EXPECT_SAME_BITS(want[2], &probe->stat_high[0][0], 96) << "member, rows " << rows;
    }
}

}  // namespace
