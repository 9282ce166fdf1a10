// Longest run of rows per zone whose level stays inside a band around a centre.
#ifndef KEVRA_PREPROCESS_LOCAL_FLICKER_DETECT_H
#define KEVRA_PREPROCESS_LOCAL_FLICKER_DETECT_H

#include <algorithm>
#include <cstdint>

#include "simd/vec4.h"

namespace kevra {

// longest[z] = the longest run of consecutive rows r < row_num with
// |zone_level[z][r] - centre| < tolerance, for the six zones. Zones 0..3 and
// zones 4..5 are scanned as two lane groups, rows four at a time; the row group
// at the end may be short, and rows from row_num on are loaded (they lie within
// the 256) but never counted.
template <class V>
void longest_flat_runs(int row_num, const float (*zone_level)[256], float tolerance, float centre,
                       uint32_t* longest) {
    using U = typename V::U;
    const typename V::F band = V::dup(tolerance), mid = V::dup(centre);
    const U one = V::dup(1u);
    U current[2] = {V::dup(0u), V::dup(0u)};
    U best[2] = {V::dup(0u), V::dup(0u)};
    for (int r = 0; r < row_num; r += 4) {
        const int rows = std::min(4, row_num - r);
        for (int g = 0; g < 2; ++g) {
            // lanes[k] starts as rows r..r+3 of one zone and is transposed to one row of the group.
            U lanes[4];
            for (int k = 0; k < 4; ++k) {
                const int zone = 4 * g + k;
                lanes[k] = zone < 6 ? V::as_u(V::load(zone_level[zone] + r)) : V::dup(0u);
            }
            V::transpose(lanes[0], lanes[1], lanes[2], lanes[3]);
            for (int i = 0; i < rows; ++i) {
                const U in_band = V::cmp_lt(V::abs(V::sub(V::as_f(lanes[i]), mid)), band);
                current[g] = V::bit_and(V::add(current[g], one), in_band);
                best[g] = V::max(best[g], current[g]);
            }
        }
    }
    V::store(longest, best[0]);
    V::store2(longest + 4, best[1]);
}

}  // namespace kevra

#endif  // KEVRA_PREPROCESS_LOCAL_FLICKER_DETECT_H
