// Unpacking of the raw hardware statistic words: zone-major in, channel-major out.
#ifndef KEVRA_CORE_HW_STATISTIC_PARSING_H
#define KEVRA_CORE_HW_STATISTIC_PARSING_H

#include <cstdint>

#include "simd/vec4.h"

namespace kevra {

// Transposes one 24-word row: input word 4*zone + channel goes to output
// position 6*channel + zone, after `lanewise` has been applied to each word.
template <class V, class Lanewise>
inline void transpose_statistic_row(const uint32_t* in, uint32_t* out, Lanewise lanewise) {
    typename V::U z[6];
    for (int k = 0; k < 6; ++k) z[k] = lanewise(V::load(in + 4 * k));
    V::transpose(z[0], z[1], z[2], z[3]);
    for (int c = 0; c < 4; ++c) V::store(out + 6 * c, z[c]);
    // Zones 4 and 5 of channels 0..3 arrive as interleaved pairs.
    const typename V::U low = V::zip_low(z[4], z[5]);
    const typename V::U high = V::zip_high(z[4], z[5]);
    V::store2(out + 4, low);
    V::store2_high(out + 10, low);
    V::store2(out + 16, high);
    V::store2_high(out + 22, high);
}

// Splits row_num rows of both streams into 24-bit sums, 24-bit counts and the
// count words' top bytes, each transposed to channel-major order.
template <class V>
void parse_statistic_rows(const uint32_t* sum_stream, const uint32_t* count_stream, int row_num,
                          uint32_t* stat_sum, uint32_t* stat_count, uint32_t (*stat_high)[24]) {
    const typename V::U low24 = V::dup(uint32_t{0x00FFFFFF});
    const auto mask = [low24](typename V::U w) { return V::bit_and(w, low24); };
    const auto top_byte = [](typename V::U w) { return V::shr(w, 24); };
    for (int r = 0; r < row_num; ++r) {
        transpose_statistic_row<V>(sum_stream + 24 * r, stat_sum + 24 * r, mask);
        transpose_statistic_row<V>(count_stream + 24 * r, stat_count + 24 * r, mask);
        transpose_statistic_row<V>(count_stream + 24 * r, stat_high[r], top_byte);
    }
}

}  // namespace kevra

#endif  // KEVRA_CORE_HW_STATISTIC_PARSING_H
