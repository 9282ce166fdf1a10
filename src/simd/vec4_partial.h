// Loads and stores of the first `count` (0..4) elements of a group of four, for
// the ragged end of a buffer that holds no more than its callers promise.
#ifndef KEVRA_SIMD_VEC4_PARTIAL_H
#define KEVRA_SIMD_VEC4_PARTIAL_H

#include <cstring>

namespace kevra {
namespace simd {

// Lanes count..3 hold `pad`; nothing past p[count - 1] is read.
template <class V, class T>
auto load_first(const T* p, int count, T pad) {
    T lanes[4] = {pad, pad, pad, pad};
    std::memcpy(lanes, p, static_cast<size_t>(count) * sizeof(T));
    return V::load(lanes);
}

// Writes lanes 0..count-1 only.
template <class V, class T, class Vec>
void store_first(T* p, Vec a, int count) {
    T lanes[4];
    V::store(lanes, a);
    std::memcpy(p, lanes, static_cast<size_t>(count) * sizeof(T));
}

}  // namespace simd
}  // namespace kevra

#endif  // KEVRA_SIMD_VEC4_PARTIAL_H
