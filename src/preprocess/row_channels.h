// One 24-word statistic row (channel-major, word 6c + z) with the channel
// across lanes: lane c of x[z] is zone z of channel c. The per-channel sums
// and extremes of the preprocessing then run lane by lane over the six zones,
// in zone order, with no horizontal step.
#ifndef KEVRA_PREPROCESS_ROW_CHANNELS_H
#define KEVRA_PREPROCESS_ROW_CHANNELS_H

#include <cstdint>

#include "simd/vec4.h"

namespace kevra {

// Split three ways, each half row gives words 3j, 3j+1, 3j+2 of channels 2h,
// 2h+1; the even and odd lanes of the two halves are then zones z and z + 3.
template <class V>
inline void load_row_channels(const uint32_t* row, typename V::U (&x)[6]) {
    typename V::U a[3], b[3];
    V::load_deinterleave3(row, a[0], a[1], a[2]);
    V::load_deinterleave3(row + 12, b[0], b[1], b[2]);
    for (int z = 0; z < 3; ++z) {
        x[z] = V::unzip_low(a[z], b[z]);
        x[z + 3] = V::unzip_high(a[z], b[z]);
    }
}

template <class V>
inline void store_row_channels(uint32_t* row, const typename V::U (&x)[6]) {
    typename V::U a[3], b[3];
    for (int z = 0; z < 3; ++z) {
        a[z] = V::zip_low(x[z], x[z + 3]);
        b[z] = V::zip_high(x[z], x[z + 3]);
    }
    V::store_interleave3(row, a[0], a[1], a[2]);
    V::store_interleave3(row + 12, b[0], b[1], b[2]);
}

}  // namespace kevra

#endif  // KEVRA_PREPROCESS_ROW_CHANNELS_H
