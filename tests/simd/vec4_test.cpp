// The vector layer: every backend against the portable one, which defines the
// meaning of each operation (the Arm unit's, where C++ or x86 would differ).
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>

#include "simd/vec4.h"
#include "support/backends.h"
#include "support/bits.h"

namespace {

// Every operation of the layer on lanes from f, u and s, as words.
template <class V>
uint32_t* run_all_ops(const float (&f)[16], const uint32_t (&u)[16], const int32_t (&s)[16], int n, uint32_t* out) {
    using F = typename V::F;
    using U = typename V::U;
    using I = typename V::I;
    const F fa = V::load(f), fb = V::load(f + 4), fc = V::load(f + 8);
    const U ua = V::load(u), ub = V::load(u + 4), uc = V::load(u + 8);
    const I sa = V::load(s), sb = V::load(s + 4);
    // Which multiplicand a fused multiply-subtract negates is the compiler's
    // choice on either machine, so a NaN from it is compared without its sign.
    const F fms = V::fms(fa, fb, fc);
    const typename V::P paired = V::fma(V::pair(fa, fb), V::pair(fb, fc), V::pair(fc, fa));
    F quad[4];
    V::load_x4(f, quad);
    const F floats[] = {V::add(fa, fb), V::sub(fa, fb), V::mul(fa, fb), V::div(fa, fb), V::neg(fa), V::abs(fa),
                        V::sqrt(fa), V::fma(fa, fb, fc), V::select(V::cmp_eq(fms, fms), fms, V::abs(fms)),
                        V::min(fa, fb), V::max(fa, fb), V::min(V::as_f(ua), V::as_f(ub)),
                        V::max(V::as_f(ua), V::as_f(ub)), V::select(V::cmp_gt(fa, fb), fa, fc),
                        V::blend(V::cmp_lt(fa, fc), fb, fa), V::to_float(ua), V::to_float(sa), V::ext1(fa, fb),
                        V::ext2(fa, fb), V::ext3(fa, fb), V::load2(f), V::template dup_lane<1>(fa),
                        V::template dup_lane<3>(fb), V::low(paired), V::high(paired), quad[0], quad[3]};
    for (const F& x : floats) { V::store(reinterpret_cast<float*>(out), x); out += 4; }
    const I ints[] = {V::to_int(fa), V::to_int(V::as_f(ua)), V::add(sa, sb), V::sub(sa, sb), V::mul(sa, sb),
                      V::shr(sa, n), V::load2(s), V::blend(V::cmp_lt(fa, fc), sa, sb), V::select(ua, sa, sb),
                      V::lookup16(s, V::shr(ua, 28))};
    for (const I& x : ints) { V::store(reinterpret_cast<int32_t*>(out), x); out += 4; }
    U t0 = ua, t1 = ub, t2 = uc, t3 = V::load(u + 12), l0, l1, l2, l3, d0, d1, d2;
    V::transpose(t0, t1, t2, t3);
    V::load_transposed(u, l0, l1, l2, l3);
    V::load_deinterleave3(u + 2, d0, d1, d2);
    const U words[] = {V::cmp_gt(fa, fb), V::cmp_ge(fa, fb), V::cmp_lt(fa, fb), V::cmp_le(fa, fb),
                       V::cmp_eq(fa, fb), V::cmp_eq(V::shr(ua, 30), V::shr(ub, 30)), V::add(ua, ub),
                       V::max(ua, ub), V::min(ua, ub), V::bit_and(ua, ub), V::bit_or(ua, ub), V::bit_not(ua),
                       V::shr(ua, n), V::zip_low(ua, ub), V::zip_high(ua, ub), V::unzip_low(ua, ub),
                       V::unzip_high(ua, ub), V::select(ua, ub, uc), V::abs(sa), V::abs(V::as_i(ua)), V::load2(u),
                       t0, t1, t2, t3, l0, l1, l2, l3, d0, d1, d2};
    for (const U& x : words) { V::store(out, x); out += 4; }
    V::store_interleave3(out, d2, d0, d1);
    V::store2(out + 12, ua);
    V::store2_high(out + 14, ua);
    V::store2(reinterpret_cast<float*>(out + 16), fa);
    V::store2(reinterpret_cast<int32_t*>(out + 18), sa);
    out += 20;
    // any() of a mask with each single lane set, and of none.
    for (uint32_t lane = 0; lane < 5; ++lane)
        *out++ = V::any(V::bit_and(V::cmp_eq(V::set(0u, 1u, 2u, 3u), V::dup(lane)), ub));
    return out;
}

// Floats of every kind, and words that are half the time the corners of what a
// backend emulates: every pair of special values meets in min and max (NaNs of
// both kinds and signs, with payloads), and the conversions get the values on
// both sides of the int32 range and of float rounding.
TEST(VectorLayer, EveryBackendMatchesThePortableBits) {
    const uint32_t corners[] = {0x00000000u, 0x80000000u, 0x3f800000u, 0xbf800000u, 0x7f800000u, 0xff800000u,
                                0x00000001u, 0x80000001u, 0x7fc00000u, 0xffc00000u, 0x7fc12345u, 0xffd00001u,
                                0x7f800001u, 0xff800002u, 0x7fa00000u, 0x4f000000u, 0xcf000000u, 0x4effffffu,
                                0xcf000001u, 0x3fc00000u, 0xbfc00000u, 0xFFFFFFFFu, 0xFFFFFF7Fu, 0xFFFFFF80u,
                                0xFFFFFF81u, 0x80000080u, 0x80000180u, 0x01000001u, 0x01000003u, 0x00FFFFFFu,
                                0x7FFFFFC0u, 0x7FFFFFBFu, 0x0000FFFFu};
    std::mt19937 rng(7);
    for (int round = 0; round < 20000; ++round) {
        float f[16];
        uint32_t u[16];
        int32_t s[16];
        for (float& x : f) x = kevra_test::interesting_float(rng);
        for (uint32_t& x : u) x = rng() % 2 ? static_cast<uint32_t>(rng()) : corners[rng() % std::size(corners)];
        for (int32_t& x : s) x = static_cast<int32_t>(rng());
        const int n = static_cast<int>(rng() % 32);
        uint32_t want[512], got[512];
        const ptrdiff_t words = run_all_ops<kevra::simd::Portable>(f, u, s, n, want) - want;
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            run_all_ops<V>(f, u, s, n, got);
            ASSERT_TRUE(kevra_test::SameBits(want, got, words)) << V::name << ", round " << round;
        });
    }
}

}  // namespace
