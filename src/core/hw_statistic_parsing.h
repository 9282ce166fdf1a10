// Unpacking of the raw hardware statistic words: zone-major in, channel-major out.
#ifndef KEVRA_CORE_HW_STATISTIC_PARSING_H
#define KEVRA_CORE_HW_STATISTIC_PARSING_H

#include <cstdint>

#include "simd/vec4.h"

namespace kevra {

// One 24-word row of a stream in vectors: c[k] = zones 0..3 of channel k,
// z4 and z5 = channels 0..3 of zones 4 and 5.
template <class V>
struct StatisticRow {
    typename V::U c[4], z4, z5;

    explicit StatisticRow(const uint32_t* in) {
        V::load_transposed(in, c[0], c[1], c[2], c[3]);
        z4 = V::load(in + 16);
        z5 = V::load(in + 20);
    }

    // Writes op(word) channel-major: input word 4*zone + channel goes to output
    // position 6*channel + zone.
    template <class Op>
    void store(uint32_t* out, Op op) const {
        for (int k = 0; k < 4; ++k) V::store(out + 6 * k, op(c[k]));
        // Zones 4 and 5 of channels 0..3 pair up by channel.
        const typename V::U low = V::zip_low(op(z4), op(z5));
        const typename V::U high = V::zip_high(op(z4), op(z5));
        V::store2(out + 4, low);
        V::store2_high(out + 10, low);
        V::store2(out + 16, high);
        V::store2_high(out + 22, high);
    }
};

// Splits row_num rows of both streams into 24-bit sums, 24-bit counts and the
// count words' top bytes, each transposed to channel-major order. A row of
// both streams is loaded before any of it is stored, so each word is read once.
template <class V>
void parse_statistic_rows(const uint32_t* sum_stream, const uint32_t* count_stream, int row_num,
                          uint32_t* stat_sum, uint32_t* stat_count, uint32_t (*stat_high)[24]) {
    const typename V::U low24 = V::dup(uint32_t{0x00FFFFFF});
    const auto mask = [low24](typename V::U w) { return V::bit_and(w, low24); };
    const auto top_byte = [](typename V::U w) { return V::shr(w, 24); };
    for (int r = 0; r < row_num; ++r) {
        const StatisticRow<V> sums(sum_stream + 24 * r), counts(count_stream + 24 * r);
        sums.store(stat_sum + 24 * r, mask);
        counts.store(stat_count + 24 * r, mask);
        counts.store(stat_high[r], top_byte);
    }
}

}  // namespace kevra

#endif  // KEVRA_CORE_HW_STATISTIC_PARSING_H
