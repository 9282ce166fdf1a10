// Unpacking of the two raw streams into channel-major sums, counts and top bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "core/hw_statistic_parsing.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/probe.h"

namespace {

// Input word 4z + c of a row goes to output word 6c + z, masked to 24 bits; the count
// words' top bytes go to stat_high. Nothing is written from row_num on.
TEST(StatisticParsing, EveryBackendAndTheMemberSplitAndTransposeTheRowsBelowRowNum) {
    std::mt19937 rng(11);
    std::uniform_int_distribution<uint32_t> word;
    std::vector<uint32_t> sums(96), counts(96);
    for (size_t k = 0; k < 96; ++k) sums[k] = word(rng), counts[k] = word(rng);
    auto probe = std::make_unique<kevra_test::Probe>();
    for (int rows : {-1, 0, 1, 3}) {
        uint32_t want[3][96];  // sums, counts, top bytes
        std::fill_n(&want[0][0], 3 * 96, 0xDEADBEEFu);
        for (int k = 0; k < 24 * rows; ++k) {
            const int in = k / 24 * 24 + k % 6 * 4 + k % 24 / 6;
            want[0][k] = sums[in] & 0xFFFFFF, want[1][k] = counts[in] & 0xFFFFFF, want[2][k] = counts[in] >> 24;
        }
        auto check = [&](const char* name, auto parse) {
            uint32_t got[3][96];
            std::fill_n(&got[0][0], 3 * 96, 0xDEADBEEFu);
            parse(got[0], got[1], reinterpret_cast<uint32_t(*)[24]>(got[2]));
            EXPECT_SAME_BITS(&want[0][0], &got[0][0], 3 * 96) << name << ", rows " << rows;
        };
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            check(V::name, [&](uint32_t* s, uint32_t* n, uint32_t(*h)[24]) {
                kevra::parse_statistic_rows<V>(sums.data(), counts.data(), rows, s, n, h);
            });
        });
        check("member", [&](uint32_t* s, uint32_t* n, uint32_t(*h)[24]) {
            kevra_statistic stat{sums.data(), counts.data()};
            kevra_parameter param{};
            param.row_num = rows;
            probe->stat_sum = s, probe->stat_count = n;
            std::memcpy(probe->stat_high, h, 96 * 4);
            probe->HW_Statistic_parsing(&stat, &param);
            std::memcpy(h, probe->stat_high, 96 * 4);
        });
    }
}

}  // namespace
