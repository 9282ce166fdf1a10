// x86-64 backend of the four-lane layer (SSE4.1 and FMA3). Every operation
// reproduces the portable backend's bits lane by lane; where the x86
// instruction differs from the Arm one it stands in for (min/max, float to
// int, unsigned to float, bitwise select) the difference is emulated.
#ifndef KEVRA_SIMD_VEC4_SSE_H
#define KEVRA_SIMD_VEC4_SSE_H

#include <immintrin.h>

#include <cstdint>

#include "simd/vec4_portable.h"

namespace kevra {
namespace simd {

struct Sse {
    static constexpr const char* name = "sse";

    // Wrapped, so that overloads tell signed from unsigned lanes and so that
    // the types can be template arguments without losing their attributes.
    struct F { __m128 v; };
    struct I { __m128i v; };
    struct U { __m128i v; };

    static F load(const float* p) { return F{_mm_loadu_ps(p)}; }
    static I load(const int32_t* p) { return I{_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))}; }
    static U load(const uint32_t* p) { return U{_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))}; }
    static F load2(const float* p) { return F{_mm_castsi128_ps(low64(p))}; }
    static I load2(const int32_t* p) { return I{low64(p)}; }
    static U load2(const uint32_t* p) { return U{low64(p)}; }
    static void store(float* p, F a) { _mm_storeu_ps(p, a.v); }
    static void store(int32_t* p, I a) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), a.v); }
    static void store(uint32_t* p, U a) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), a.v); }
    static void store2(float* p, F a) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_castps_si128(a.v)); }
    static void store2(int32_t* p, I a) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), a.v); }
    static void store2(uint32_t* p, U a) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), a.v); }
    static void store2_high(uint32_t* p, U a) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_unpackhi_epi64(a.v, a.v));
    }

    static F dup(float x) { return F{_mm_set1_ps(x)}; }
    template <int L>
    static F dup_lane(F a) { return F{_mm_shuffle_ps(a.v, a.v, L * 0x55)}; }
    static I dup(int32_t x) { return I{_mm_set1_epi32(x)}; }
    static U dup(uint32_t x) { return U{_mm_set1_epi32(static_cast<int32_t>(x))}; }
    static F set(float a, float b, float c, float d) { return F{_mm_setr_ps(a, b, c, d)}; }
    static I set(int32_t a, int32_t b, int32_t c, int32_t d) { return I{_mm_setr_epi32(a, b, c, d)}; }
    static U set(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
        return U{_mm_setr_epi32(static_cast<int32_t>(a), static_cast<int32_t>(b), static_cast<int32_t>(c),
                                static_cast<int32_t>(d))};
    }
    static float get(F a, int lane) {
        switch (lane) {
            case 0: return _mm_cvtss_f32(a.v);
            case 1: return _mm_cvtss_f32(_mm_shuffle_ps(a.v, a.v, 1));
            case 2: return _mm_cvtss_f32(_mm_shuffle_ps(a.v, a.v, 2));
            default: return _mm_cvtss_f32(_mm_shuffle_ps(a.v, a.v, 3));
        }
    }
    static int32_t get(I a, int lane) { return static_cast<int32_t>(get(U{a.v}, lane)); }
    static uint32_t get(U a, int lane) {
        switch (lane) {
            case 0: return static_cast<uint32_t>(_mm_cvtsi128_si32(a.v));
            case 1: return static_cast<uint32_t>(_mm_extract_epi32(a.v, 1));
            case 2: return static_cast<uint32_t>(_mm_extract_epi32(a.v, 2));
            default: return static_cast<uint32_t>(_mm_extract_epi32(a.v, 3));
        }
    }

    static F add(F a, F b) { return F{_mm_add_ps(a.v, b.v)}; }
    static F sub(F a, F b) { return F{_mm_sub_ps(a.v, b.v)}; }
    static F mul(F a, F b) { return F{_mm_mul_ps(a.v, b.v)}; }
    static F div(F a, F b) { return F{_mm_div_ps(a.v, b.v)}; }
    static F neg(F a) { return F{_mm_xor_ps(a.v, sign_bits())}; }
    static F abs(F a) { return F{_mm_andnot_ps(sign_bits(), a.v)}; }
    static F sqrt(F a) { return F{_mm_sqrt_ps(a.v)}; }
    static F fma(F acc, F a, F b) { return F{_mm_fmadd_ps(a.v, b.v, acc.v)}; }
    static F fms(F acc, F a, F b) { return F{_mm_fnmadd_ps(a.v, b.v, acc.v)}; }
    // minps/maxps return their second operand for NaN and for equal values, so
    // both orders combined give the other lanes: the OR (min) or AND (max) of
    // the two results orders -0 below +0. A NaN lane, rare, takes the NaN the
    // Arm unit returns.
    static F min(F a, F b) {
        const __m128 r = _mm_or_ps(_mm_min_ps(a.v, b.v), _mm_min_ps(b.v, a.v));
        return with_arm_nan(r, a.v, b.v);
    }
    static F max(F a, F b) {
        const __m128 r = _mm_and_ps(_mm_max_ps(a.v, b.v), _mm_max_ps(b.v, a.v));
        return with_arm_nan(r, a.v, b.v);
    }

    static U cmp_gt(F a, F b) { return U{_mm_castps_si128(_mm_cmpgt_ps(a.v, b.v))}; }
    static U cmp_ge(F a, F b) { return U{_mm_castps_si128(_mm_cmpge_ps(a.v, b.v))}; }
    static U cmp_lt(F a, F b) { return U{_mm_castps_si128(_mm_cmplt_ps(a.v, b.v))}; }
    static U cmp_le(F a, F b) { return U{_mm_castps_si128(_mm_cmple_ps(a.v, b.v))}; }
    static U cmp_eq(F a, F b) { return U{_mm_castps_si128(_mm_cmpeq_ps(a.v, b.v))}; }
    static U cmp_eq(U a, U b) { return U{_mm_cmpeq_epi32(a.v, b.v)}; }

    // Bitwise, like the Arm select: blendv would look at the top bit only.
    static F select(U m, F a, F b) { return as_f(U{bsl(m.v, as_u(a).v, as_u(b).v)}); }
    static U select(U m, U a, U b) { return U{bsl(m.v, a.v, b.v)}; }
    static I select(U m, I a, I b) { return I{bsl(m.v, a.v, b.v)}; }

    static U as_u(F a) { return U{_mm_castps_si128(a.v)}; }
    static U as_u(I a) { return U{a.v}; }
    static F as_f(U a) { return F{_mm_castsi128_ps(a.v)}; }
    static I as_i(U a) { return I{a.v}; }

    // Two exact 16-bit halves, one rounding in the fused combination.
    static F to_float(U a) {
        const __m128 high = _mm_cvtepi32_ps(_mm_srli_epi32(a.v, 16));
        const __m128 low = _mm_cvtepi32_ps(_mm_and_si128(a.v, _mm_set1_epi32(0xFFFF)));
        return F{_mm_fmadd_ps(high, _mm_set1_ps(65536.0f), low)};
    }
    static F to_float(I a) { return F{_mm_cvtepi32_ps(a.v)}; }
    // cvttps gives 0x80000000 for NaN and beyond either limit: flip it to
    // INT32_MAX at or above 2^31 and clear it for NaN.
    static I to_int(F a) {
        const __m128i t = _mm_cvttps_epi32(a.v);
        const __m128i high = _mm_castps_si128(_mm_cmpge_ps(a.v, _mm_set1_ps(2147483648.0f)));
        return I{_mm_and_si128(_mm_xor_si128(t, high), _mm_castps_si128(_mm_cmpord_ps(a.v, a.v)))};
    }

    static U add(U a, U b) { return U{_mm_add_epi32(a.v, b.v)}; }
    static I add(I a, I b) { return I{_mm_add_epi32(a.v, b.v)}; }
    static I sub(I a, I b) { return I{_mm_sub_epi32(a.v, b.v)}; }
    static I mul(I a, I b) { return I{_mm_mullo_epi32(a.v, b.v)}; }
    static U max(U a, U b) { return U{_mm_max_epu32(a.v, b.v)}; }
    static U bit_and(U a, U b) { return U{_mm_and_si128(a.v, b.v)}; }
    static U bit_or(U a, U b) { return U{_mm_or_si128(a.v, b.v)}; }
    static U bit_not(U a) { return U{_mm_xor_si128(a.v, _mm_set1_epi32(-1))}; }
    static U shr(U a, int n) { return U{_mm_srl_epi32(a.v, _mm_cvtsi32_si128(n))}; }
    static I shr(I a, int n) { return I{_mm_sra_epi32(a.v, _mm_cvtsi32_si128(n))}; }

    static F ext1(F a, F b) { return ext<4>(a, b); }
    static F ext2(F a, F b) { return ext<8>(a, b); }
    static F ext3(F a, F b) { return ext<12>(a, b); }

    static U zip_low(U a, U b) { return U{_mm_unpacklo_epi32(a.v, b.v)}; }
    static U zip_high(U a, U b) { return U{_mm_unpackhi_epi32(a.v, b.v)}; }

    static void transpose(U& r0, U& r1, U& r2, U& r3) {
        const __m128i t0 = _mm_unpacklo_epi32(r0.v, r1.v), t1 = _mm_unpackhi_epi32(r0.v, r1.v);
        const __m128i t2 = _mm_unpacklo_epi32(r2.v, r3.v), t3 = _mm_unpackhi_epi32(r2.v, r3.v);
        r0.v = _mm_unpacklo_epi64(t0, t2);
        r1.v = _mm_unpackhi_epi64(t0, t2);
        r2.v = _mm_unpacklo_epi64(t1, t3);
        r3.v = _mm_unpackhi_epi64(t1, t3);
    }
    static void load_transposed(const uint32_t* p, U& r0, U& r1, U& r2, U& r3) {
        detail::load_then_transpose<Sse>(p, r0, r1, r2, r3);
    }

    // Each output gathers its lanes from the three loaded vectors with two
    // blends, then puts them in order with one shuffle.
    static void load_deinterleave3(const uint32_t* p, U& a, U& b, U& c) {
        const __m128i v0 = load(p).v, v1 = load(p + 4).v, v2 = load(p + 8).v;
        const __m128i ta = _mm_blend_epi16(_mm_blend_epi16(v0, v1, 0x30), v2, 0x0C);  // p0 p9 p6 p3
        const __m128i tb = _mm_blend_epi16(_mm_blend_epi16(v1, v0, 0x0C), v2, 0x30);  // p4 p1 p10 p7
        const __m128i tc = _mm_blend_epi16(_mm_blend_epi16(v2, v0, 0x30), v1, 0x0C);  // p8 p5 p2 p11
        a.v = _mm_shuffle_epi32(ta, _MM_SHUFFLE(1, 2, 3, 0));
        b.v = _mm_shuffle_epi32(tb, _MM_SHUFFLE(2, 3, 0, 1));
        c.v = _mm_shuffle_epi32(tc, _MM_SHUFFLE(3, 0, 1, 2));
    }
    static void store_interleave3(uint32_t* p, U a, U b, U c) {
        const __m128i ta = _mm_shuffle_epi32(a.v, _MM_SHUFFLE(1, 2, 3, 0));  // a0 a3 a2 a1
        const __m128i tb = _mm_shuffle_epi32(b.v, _MM_SHUFFLE(2, 3, 0, 1));  // b1 b0 b3 b2
        const __m128i tc = _mm_shuffle_epi32(c.v, _MM_SHUFFLE(3, 0, 1, 2));  // c2 c1 c0 c3
        store(p, U{_mm_blend_epi16(_mm_blend_epi16(ta, tb, 0x0C), tc, 0x30)});      // a0 b0 c0 a1
        store(p + 4, U{_mm_blend_epi16(_mm_blend_epi16(tb, ta, 0x30), tc, 0x0C)});  // b1 c1 a2 b2
        store(p + 8, U{_mm_blend_epi16(_mm_blend_epi16(tc, ta, 0x0C), tb, 0x30)});  // c2 a3 b3 c3
    }
    static U unzip_low(U a, U b) {
        return as_u(F{_mm_shuffle_ps(as_f(a).v, as_f(b).v, _MM_SHUFFLE(2, 0, 2, 0))});
    }
    static U unzip_high(U a, U b) {
        return as_u(F{_mm_shuffle_ps(as_f(a).v, as_f(b).v, _MM_SHUFFLE(3, 1, 3, 1))});
    }

    // Each quarter of the table shuffled by the index's low two bits, the
    // quarter then chosen by its high two bits.
    static I lookup16(const int32_t (&table)[16], U index) {
        const __m128i bytes = _mm_add_epi32(_mm_mullo_epi32(_mm_and_si128(index.v, _mm_set1_epi32(3)),
                                                            _mm_set1_epi32(0x04040404)),
                                            _mm_set1_epi32(0x03020100));
        const __m128i quarter = _mm_srli_epi32(index.v, 2);
        __m128i r = _mm_setzero_si128();
        for (int q = 0; q < 4; ++q) {
            const __m128i part = _mm_shuffle_epi8(load(table + 4 * q).v, bytes);
            r = _mm_blendv_epi8(r, part, _mm_cmpeq_epi32(quarter, _mm_set1_epi32(q)));
        }
        return I{r};
    }

    static U abs(I a) { return U{_mm_abs_epi32(a.v)}; }
    static U min(U a, U b) { return U{_mm_min_epu32(a.v, b.v)}; }

    // One instruction where select needs three: the mask's lanes are all ones
    // or all zeros, so its top bits say everything.
    static F blend(U m, F a, F b) { return F{_mm_blendv_ps(b.v, a.v, _mm_castsi128_ps(m.v))}; }
    static I blend(U m, I a, I b) { return I{_mm_blendv_epi8(b.v, a.v, m.v)}; }

    static bool any(U a) { return _mm_testz_si128(a.v, a.v) == 0; }

    static void load_x4(const float* p, F (&out)[4]) {
        for (int q = 0; q < 4; ++q) out[q] = load(p + 4 * q);
    }

    // Two independent groups of four lanes in one eight-lane AVX register
    // (every FMA3 processor has AVX): twice the work per instruction in the
    // solver, whose throughput is bound by the multiply-add units.
    struct P { __m256 v; };
    static P pair(F lo, F hi) { return P{_mm256_set_m128(hi.v, lo.v)}; }
    static F low(P a) { return F{_mm256_castps256_ps128(a.v)}; }
    static F high(P a) { return F{_mm256_extractf128_ps(a.v, 1)}; }
    static P fma(P acc, P a, P b) { return P{_mm256_fmadd_ps(a.v, b.v, acc.v)}; }

private:
    static __m128 sign_bits() { return _mm_castsi128_ps(_mm_set1_epi32(INT32_MIN)); }
    static __m128i low64(const void* p) { return _mm_loadl_epi64(static_cast<const __m128i*>(p)); }
    static __m128i bsl(__m128i m, __m128i a, __m128i b) {
        return _mm_or_si128(_mm_and_si128(m, a), _mm_andnot_si128(m, b));
    }
    template <int Bytes>
    static F ext(F a, F b) {
        return as_f(U{_mm_alignr_epi8(as_u(b).v, as_u(a).v, Bytes)});
    }
    static F with_arm_nan(__m128 r, __m128 a, __m128 b) {
        const __m128 unordered = _mm_cmpunord_ps(a, b);
        if (_mm_movemask_ps(unordered) == 0) return F{r};
        return F{_mm_blendv_ps(r, arm_nan(a, b), unordered)};
    }
    // The NaN an Arm min/max returns when a or b is NaN: a signalling operand
    // first, then a NaN a, then b; always quieted.
    static __m128 arm_nan(__m128 a, __m128 b) {
        const __m128i quiet_bit = _mm_set1_epi32(0x00400000);
        const __m128i a_nan = _mm_castps_si128(_mm_cmpunord_ps(a, a));
        const __m128i b_nan = _mm_castps_si128(_mm_cmpunord_ps(b, b));
        const __m128i a_quiet = _mm_cmpeq_epi32(_mm_and_si128(_mm_castps_si128(a), quiet_bit), quiet_bit);
        const __m128i b_quiet = _mm_cmpeq_epi32(_mm_and_si128(_mm_castps_si128(b), quiet_bit), quiet_bit);
        const __m128i a_signalling = _mm_andnot_si128(a_quiet, a_nan);
        const __m128i b_signalling = _mm_andnot_si128(b_quiet, b_nan);
        const __m128i take_a = _mm_or_si128(a_signalling, _mm_andnot_si128(b_signalling, a_nan));
        const __m128i r = bsl(take_a, _mm_castps_si128(a), _mm_castps_si128(b));
        return _mm_castsi128_ps(_mm_or_si128(r, quiet_bit));
    }
};

}  // namespace simd
}  // namespace kevra

#endif  // KEVRA_SIMD_VEC4_SSE_H
