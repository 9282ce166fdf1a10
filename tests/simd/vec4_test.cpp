// The vector layer: the portable backend's meaning of each operation, and every
// other backend against it on random and special values.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include "simd/vec4.h"
#include "support/backends.h"
#include "support/bits.h"

namespace {

using kevra::simd::Portable;
using kevra_test::bits;
using kevra_test::from_bits;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

TEST(VectorLayer, MinMaxPropagateNaNAndOrderSignedZeros) {
    struct Case { float a, b, min, max; };
    const Case cases[] = {
        {1.0f, 2.0f, 1.0f, 2.0f},     {2.0f, 1.0f, 1.0f, 2.0f},   {0.0f, -0.0f, -0.0f, 0.0f},
        {-0.0f, 0.0f, -0.0f, 0.0f},   {kNaN, 1.0f, kNaN, kNaN},   {1.0f, kNaN, kNaN, kNaN},
        {-kInf, kInf, -kInf, kInf},
    };
    for (const Case& c : cases) {
        const auto lo = Portable::min(Portable::dup(c.a), Portable::dup(c.b));
        const auto hi = Portable::max(Portable::dup(c.a), Portable::dup(c.b));
        EXPECT_EQ(bits(Portable::get(lo, 0)), bits(c.min)) << c.a << " " << c.b;
        EXPECT_EQ(bits(Portable::get(hi, 0)), bits(c.max)) << c.a << " " << c.b;
    }
    // A signalling NaN wins over a quiet one and comes out quieted.
    const float quiet = from_bits(0x7fc00001u), signalling = from_bits(0x7f800002u);
    EXPECT_EQ(bits(kevra::simd::min_nan(quiet, signalling)), 0x7fc00002u);
    EXPECT_EQ(bits(kevra::simd::max_nan(signalling, quiet)), 0x7fc00002u);
}

TEST(VectorLayer, FloatToIntTruncatesSaturatesAndMapsNaNToZero) {
    const float in[] = {2.9f, -2.9f, 3e9f, -3e9f, kNaN, kInf, -kInf, 2147483520.0f, -2147483648.0f};
    const int32_t want[] = {2, -2, INT32_MAX, INT32_MIN, 0, INT32_MAX, INT32_MIN, 2147483520, INT32_MIN};
    for (size_t k = 0; k < sizeof in / sizeof in[0]; ++k) {
        EXPECT_EQ(Portable::get(Portable::to_int(Portable::dup(in[k])), 0), want[k]) << in[k];
    }
}

TEST(VectorLayer, FusedMultiplyAddRoundsOnce) {
    // 1 + 2^-12 squared needs 25 bits: the unfused product loses the last one.
    const float a = 1.0f + 0x1p-12f, c = -(1.0f + 0x1p-11f);
    const float fused = Portable::get(Portable::fma(Portable::dup(c), Portable::dup(a), Portable::dup(a)), 0);
    const float unfused = Portable::get(Portable::add(Portable::mul(Portable::dup(a), Portable::dup(a)),
                                                      Portable::dup(c)), 0);
    EXPECT_EQ(fused, 0x1p-24f);
    EXPECT_EQ(unfused, 0.0f);
    EXPECT_EQ(Portable::get(Portable::fms(Portable::dup(-c), Portable::dup(a), Portable::dup(a)), 0), -0x1p-24f);
}

TEST(VectorLayer, ShiftsAreLogicalForUnsignedAndFloorForSigned) {
    const auto u = Portable::shr(Portable::set(0xFF000000u, 0x12345678u, 1u, 0u), 24);
    EXPECT_EQ(Portable::get(u, 0), 0xFFu);
    EXPECT_EQ(Portable::get(u, 1), 0x12u);
    const auto s = Portable::shr(Portable::set(int32_t{-9}, int32_t{9}, INT32_MIN, int32_t{-1}), 3);
    EXPECT_EQ(Portable::get(s, 0), -2);
    EXPECT_EQ(Portable::get(s, 1), 1);
    EXPECT_EQ(Portable::get(s, 2), INT32_MIN / 8);
    EXPECT_EQ(Portable::get(s, 3), -1);
}

TEST(VectorLayer, ShufflesMoveTheRightLanes) {
    auto r0 = Portable::set(0u, 1u, 2u, 3u), r1 = Portable::set(4u, 5u, 6u, 7u);
    auto r2 = Portable::set(8u, 9u, 10u, 11u), r3 = Portable::set(12u, 13u, 14u, 15u);
    const auto lo = Portable::zip_low(r0, r1), hi = Portable::zip_high(r0, r1);
    EXPECT_EQ(Portable::get(lo, 1), 4u);
    EXPECT_EQ(Portable::get(hi, 2), 3u);
    Portable::transpose(r0, r1, r2, r3);
    EXPECT_EQ(Portable::get(r1, 0), 1u);
    EXPECT_EQ(Portable::get(r1, 3), 13u);
    EXPECT_EQ(Portable::get(r3, 2), 11u);
    const uint32_t words[12] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    Portable::load_deinterleave3(words, r0, r1, r2);
    EXPECT_EQ(Portable::get(r0, 3), 9u);
    EXPECT_EQ(Portable::get(r2, 1), 5u);
    EXPECT_EQ(Portable::get(Portable::unzip_high(r0, r1), 2), 4u);
    uint32_t back[12];
    Portable::store_interleave3(back, r0, r1, r2);
    EXPECT_TRUE(kevra_test::SameBits(words, back, 12));
    const auto f = Portable::ext3(Portable::set(0.f, 1.f, 2.f, 3.f), Portable::set(4.f, 5.f, 6.f, 7.f));
    EXPECT_EQ(Portable::get(f, 0), 3.0f);
    EXPECT_EQ(Portable::get(f, 3), 6.0f);
}

// Every operation of every backend on the same random lanes, bit for bit.
template <class V>
void run_all_ops(const float* a, const float* b, const float* c, const uint32_t* u, const int32_t* s, int shift,
                 uint32_t* out) {
    using F = typename V::F;
    const F fa = V::load(a), fb = V::load(b), fc = V::load(c);
    const typename V::U ua = V::load(u);
    const typename V::I sa = V::load(s);
    // Which multiplicand a fused multiply-subtract negates is the compiler's
    // choice on either machine, so the sign of a NaN passed through it is not
    // defined: compare that NaN without its sign.
    const F fms = V::fms(fa, fb, fc);
    const F fms_nan_unsigned = V::select(V::cmp_eq(fms, fms), fms, V::abs(fms));
    const typename V::P paired = V::fma(V::pair(fa, fb), V::pair(fb, fc), V::pair(fc, fa));
    const F floats[] = {V::add(fa, fb), V::sub(fa, fb), V::mul(fa, fb), V::div(fa, fb), V::neg(fa), V::abs(fa),
                        V::sqrt(fa), V::fma(fa, fb, fc), fms_nan_unsigned, V::min(fa, fb), V::max(fa, fb),
                        V::select(V::cmp_gt(fa, fb), fa, fc), V::blend(V::cmp_lt(fa, fc), fb, fa),
                        V::to_float(ua), V::to_float(sa),
                        V::ext1(fa, fb), V::ext2(fa, fb), V::ext3(fa, fb), V::load2(a),
                        V::template dup_lane<1>(fa), V::template dup_lane<3>(fb),
                        V::low(paired), V::high(paired)};
    for (const F& f : floats) { V::store(reinterpret_cast<float*>(out), f); out += 4; }
    const float sixteen[16] = {a[0], a[1], a[2], a[3], b[0], b[1], b[2], b[3],
                               c[0], c[1], c[2], c[3], a[3], b[2], c[1], a[0]};
    F quad[4];
    V::load_x4(sixteen, quad);
    for (const F& f : quad) { V::store(reinterpret_cast<float*>(out), f); out += 4; }
    typename V::U lo = ua, hi = V::load(u + 4), r2 = V::load(u + 8), r3 = V::load(u + 12);
    const typename V::U words[] = {V::cmp_gt(fa, fb), V::cmp_ge(fa, fb), V::cmp_lt(fa, fb), V::cmp_le(fa, fb),
                                   V::cmp_eq(fa, fb), V::cmp_eq(ua, hi), V::add(ua, hi), V::max(ua, hi),
                                   V::bit_and(ua, hi), V::bit_or(ua, hi), V::bit_not(ua), V::shr(ua, shift),
                                   V::as_u(V::to_int(fa)), V::as_u(V::add(sa, V::as_i(hi))),
                                   V::as_u(V::sub(sa, V::as_i(hi))), V::as_u(V::mul(sa, V::as_i(hi))),
                                   V::as_u(V::shr(sa, shift)), V::zip_low(ua, hi), V::zip_high(ua, hi),
                                   V::select(ua, hi, r2), V::abs(sa), V::min(ua, hi),
                                   V::as_u(V::blend(V::cmp_eq(ua, hi), sa, V::as_i(r2)))};
    for (const auto& w : words) { V::store(out, w); out += 4; }
    V::transpose(lo, hi, r2, r3);
    for (const auto& w : {lo, hi, r2, r3}) { V::store(out, w); out += 4; }
    V::load_transposed(u, lo, hi, r2, r3);
    for (const auto& w : {lo, hi, r2, r3}) { V::store(out, w); out += 4; }
    V::load_deinterleave3(u + 2, lo, hi, r2);
    for (const auto& w : {lo, hi, r2, V::unzip_low(lo, hi), V::unzip_high(hi, r2)}) { V::store(out, w); out += 4; }
    V::store_interleave3(out, r2, lo, hi);
    out += 12;
    uint32_t pair[4] = {};
    V::store2(pair, ua);
    V::store2_high(pair + 2, ua);
    for (uint32_t p : pair) *out++ = p;
    int32_t table[16];
    for (int k = 0; k < 16; ++k) table[k] = s[k % 4] ^ (k * 0x01020304);
    V::store(reinterpret_cast<int32_t*>(out), V::lookup16(table, V::shr(ua, 28)));
    out += 4;
    // any() of a mask with each single lane set, and of none.
    for (int lane = 0; lane < 5; ++lane) {
        const typename V::U one_lane = V::cmp_eq(V::set(0u, 1u, 2u, 3u), V::dup(static_cast<uint32_t>(lane)));
        *out++ = V::any(V::bit_and(one_lane, hi)) ? 1u : 0u;
    }
}

TEST(VectorLayer, EveryBackendMatchesThePortableBits) {
    if (!kevra_test::kHaveSecondBackend) GTEST_SKIP() << "only the portable backend is built here";
    std::mt19937 rng(7);
    std::uniform_int_distribution<uint32_t> word;
    std::uniform_int_distribution<int> shift(0, 31);
    constexpr int kWords = 27 * 4 + 40 * 4 + 4 + 5;
    for (int round = 0; round < 2000; ++round) {
        float a[4], b[4], c[4];
        uint32_t u[16];
        int32_t s[4];
        for (int k = 0; k < 4; ++k) {
            a[k] = kevra_test::interesting_float(rng);
            b[k] = kevra_test::interesting_float(rng);
            c[k] = kevra_test::interesting_float(rng);
            s[k] = static_cast<int32_t>(word(rng));
        }
        for (uint32_t& w : u) w = word(rng);
        const int n = shift(rng);
        uint32_t want[kWords], got[kWords];
        run_all_ops<kevra::simd::Portable>(a, b, c, u, s, n, want);
        kevra_test::for_each_backend([&](auto tag) {
            using V = typename decltype(tag)::type;
            run_all_ops<V>(a, b, c, u, s, n, got);
            ASSERT_TRUE(kevra_test::SameBits(want, got, kWords)) << V::name << " round " << round;
        });
    }
}

// The operations a backend has to emulate where its instruction set differs
// from the Arm unit's: every pair of special values through min and max (NaNs
// of both kinds and signs, with payloads, against each other), and the
// conversion corners on both sides of the int32 range and of float rounding.
TEST(VectorLayer, EveryBackendMatchesThePortableBitsOnEmulatedCorners) {
    if (!kevra_test::kHaveSecondBackend) GTEST_SKIP() << "only the portable backend is built here";
    const uint32_t specials[] = {0x00000000u, 0x80000000u, 0x3f800000u, 0xbf800000u, 0x7f800000u, 0xff800000u,
                                 0x00000001u, 0x80000001u, 0x7fc00000u, 0xffc00000u, 0x7fc12345u, 0xffd00001u,
                                 0x7f800001u, 0xff800002u, 0x7fa00000u, 0x4f000000u, 0xcf000000u, 0x4effffffu,
                                 0xcf000001u, 0x3fc00000u, 0xbfc00000u};
    constexpr int kSpecials = sizeof specials / sizeof specials[0];
    const uint32_t to_float_words[] = {0xFFFFFFFFu, 0xFFFFFF7Fu, 0xFFFFFF80u, 0xFFFFFF81u, 0x80000080u,
                                       0x80000180u, 0x01000001u, 0x01000003u, 0x00FFFFFFu, 0x7FFFFFC0u,
                                       0x7FFFFFBFu, 0x0000FFFFu};
    const auto run = [&](auto tag, uint32_t* out) {
        using V = typename decltype(tag)::type;
        for (int a = 0; a < kSpecials; ++a) {
            for (int b = 0; b < kSpecials; ++b) {
                const auto fa = V::as_f(V::dup(specials[a])), fb = V::as_f(V::dup(specials[b]));
                *out++ = V::get(V::as_u(V::min(fa, fb)), 0);
                *out++ = V::get(V::as_u(V::max(fa, fb)), 0);
            }
            *out++ = V::get(V::as_u(V::to_int(V::as_f(V::dup(specials[a])))), 0);
        }
        for (uint32_t w : to_float_words) *out++ = V::get(V::as_u(V::to_float(V::dup(w))), 0);
        V::store(out, V::abs(V::set(INT32_MIN, int32_t{-1}, int32_t{0}, INT32_MAX)));
        out += 4;
    };
    constexpr int kWords = kSpecials * (2 * kSpecials + 1) + sizeof to_float_words / sizeof to_float_words[0] + 4;
    uint32_t want[kWords], got[kWords];
    run(kevra_test::BackendTag<Portable>{}, want);
    kevra_test::for_each_backend([&](auto tag) {
        run(tag, got);
        EXPECT_TRUE(kevra_test::SameBits(want, got, kWords)) << decltype(tag)::type::name;
    });
    EXPECT_EQ(Portable::get(Portable::abs(Portable::dup(INT32_MIN)), 0), 0x80000000u);
    // The exact unsigned conversion rounds ties to even.
    EXPECT_EQ(Portable::get(Portable::to_float(Portable::dup(0x80000080u)), 0), 2147483648.0f);
    EXPECT_EQ(Portable::get(Portable::to_float(Portable::dup(0x80000180u)), 0), 2147484160.0f);
}

}  // namespace
