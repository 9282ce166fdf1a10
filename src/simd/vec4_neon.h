// NEON backend of the four-lane layer: the one that ships on the phone. Every
// operation has the same meaning, lane by lane, as in the portable backend.
#ifndef KEVRA_SIMD_VEC4_NEON_H
#define KEVRA_SIMD_VEC4_NEON_H

#include <arm_neon.h>
#include <cstdint>

namespace kevra {
namespace simd {

struct Neon {
    static constexpr const char* name = "neon";

    using F = float32x4_t;
    using I = int32x4_t;
    using U = uint32x4_t;

    static F load(const float* p) { return vld1q_f32(p); }
    static I load(const int32_t* p) { return vld1q_s32(p); }
    static U load(const uint32_t* p) { return vld1q_u32(p); }
    static F load2(const float* p) { return vcombine_f32(vld1_f32(p), vdup_n_f32(0.0f)); }
    static I load2(const int32_t* p) { return vcombine_s32(vld1_s32(p), vdup_n_s32(0)); }
    static U load2(const uint32_t* p) { return vcombine_u32(vld1_u32(p), vdup_n_u32(0)); }
    static void store(float* p, F a) { vst1q_f32(p, a); }
    static void store(int32_t* p, I a) { vst1q_s32(p, a); }
    static void store(uint32_t* p, U a) { vst1q_u32(p, a); }
    static void store2(float* p, F a) { vst1_f32(p, vget_low_f32(a)); }
    static void store2(int32_t* p, I a) { vst1_s32(p, vget_low_s32(a)); }
    static void store2(uint32_t* p, U a) { vst1_u32(p, vget_low_u32(a)); }
    static void store2_high(uint32_t* p, U a) { vst1_u32(p, vget_high_u32(a)); }

    static F dup(float x) { return vdupq_n_f32(x); }
    // A multiply by dup_lane folds into the by-element form of the instruction.
    template <int L>
    static F dup_lane(F a) { return vdupq_laneq_f32(a, L); }
    static I dup(int32_t x) { return vdupq_n_s32(x); }
    static U dup(uint32_t x) { return vdupq_n_u32(x); }
    static F set(float a, float b, float c, float d) {
        const float t[4] = {a, b, c, d};
        return vld1q_f32(t);
    }
    static I set(int32_t a, int32_t b, int32_t c, int32_t d) {
        const int32_t t[4] = {a, b, c, d};
        return vld1q_s32(t);
    }
    static U set(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
        const uint32_t t[4] = {a, b, c, d};
        return vld1q_u32(t);
    }
    static float get(F a, int lane) {
        switch (lane) {
            case 0: return vgetq_lane_f32(a, 0);
            case 1: return vgetq_lane_f32(a, 1);
            case 2: return vgetq_lane_f32(a, 2);
            default: return vgetq_lane_f32(a, 3);
        }
    }
    static int32_t get(I a, int lane) { return static_cast<int32_t>(get(vreinterpretq_u32_s32(a), lane)); }
    static uint32_t get(U a, int lane) {
        switch (lane) {
            case 0: return vgetq_lane_u32(a, 0);
            case 1: return vgetq_lane_u32(a, 1);
            case 2: return vgetq_lane_u32(a, 2);
            default: return vgetq_lane_u32(a, 3);
        }
    }

    static F add(F a, F b) { return vaddq_f32(a, b); }
    static F sub(F a, F b) { return vsubq_f32(a, b); }
    static F mul(F a, F b) { return vmulq_f32(a, b); }
    static F div(F a, F b) { return vdivq_f32(a, b); }
    static F neg(F a) { return vnegq_f32(a); }
    static F abs(F a) { return vabsq_f32(a); }
    static F sqrt(F a) { return vsqrtq_f32(a); }
    static F fma(F acc, F a, F b) { return vfmaq_f32(acc, a, b); }
    static F fms(F acc, F a, F b) { return vfmsq_f32(acc, a, b); }
    static F min(F a, F b) { return vminq_f32(a, b); }
    static F max(F a, F b) { return vmaxq_f32(a, b); }

    static U cmp_gt(F a, F b) { return vcgtq_f32(a, b); }
    static U cmp_ge(F a, F b) { return vcgeq_f32(a, b); }
    static U cmp_lt(F a, F b) { return vcltq_f32(a, b); }
    static U cmp_le(F a, F b) { return vcleq_f32(a, b); }
    static U cmp_eq(F a, F b) { return vceqq_f32(a, b); }
    static U cmp_eq(U a, U b) { return vceqq_u32(a, b); }

    static F select(U m, F a, F b) { return vbslq_f32(m, a, b); }
    static U select(U m, U a, U b) { return vbslq_u32(m, a, b); }
    static I select(U m, I a, I b) { return vbslq_s32(m, a, b); }

    static U as_u(F a) { return vreinterpretq_u32_f32(a); }
    static U as_u(I a) { return vreinterpretq_u32_s32(a); }
    static F as_f(U a) { return vreinterpretq_f32_u32(a); }
    static I as_i(U a) { return vreinterpretq_s32_u32(a); }

    static F to_float(U a) { return vcvtq_f32_u32(a); }
    static F to_float(I a) { return vcvtq_f32_s32(a); }
    static I to_int(F a) { return vcvtq_s32_f32(a); }

    static U add(U a, U b) { return vaddq_u32(a, b); }
    static I add(I a, I b) { return vaddq_s32(a, b); }
    static I sub(I a, I b) { return vsubq_s32(a, b); }
    static I mul(I a, I b) { return vmulq_s32(a, b); }
    static U max(U a, U b) { return vmaxq_u32(a, b); }
    static U bit_and(U a, U b) { return vandq_u32(a, b); }
    static U bit_or(U a, U b) { return vorrq_u32(a, b); }
    static U bit_not(U a) { return vmvnq_u32(a); }
    // A register shift by -n shifts right; the compiler folds constant counts.
    static U shr(U a, int n) { return vshlq_u32(a, vdupq_n_s32(-n)); }
    static I shr(I a, int n) { return vshlq_s32(a, vdupq_n_s32(-n)); }

    static F ext1(F a, F b) { return vextq_f32(a, b, 1); }
    static F ext2(F a, F b) { return vextq_f32(a, b, 2); }
    static F ext3(F a, F b) { return vextq_f32(a, b, 3); }

    static U zip_low(U a, U b) { return vzip1q_u32(a, b); }
    static U zip_high(U a, U b) { return vzip2q_u32(a, b); }

    static void transpose(U& r0, U& r1, U& r2, U& r3) {
        const uint32x4_t t0 = vtrn1q_u32(r0, r1), t1 = vtrn2q_u32(r0, r1);
        const uint32x4_t t2 = vtrn1q_u32(r2, r3), t3 = vtrn2q_u32(r2, r3);
        const uint64x2_t a0 = vreinterpretq_u64_u32(t0), a1 = vreinterpretq_u64_u32(t1);
        const uint64x2_t a2 = vreinterpretq_u64_u32(t2), a3 = vreinterpretq_u64_u32(t3);
        r0 = vreinterpretq_u32_u64(vtrn1q_u64(a0, a2));
        r1 = vreinterpretq_u32_u64(vtrn1q_u64(a1, a3));
        r2 = vreinterpretq_u32_u64(vtrn2q_u64(a0, a2));
        r3 = vreinterpretq_u32_u64(vtrn2q_u64(a1, a3));
    }

    // Sixteen words, transposed on the way in: lane j of r_k is p[4j + k].
    static void load_transposed(const uint32_t* p, U& r0, U& r1, U& r2, U& r3) {
        const uint32x4x4_t t = vld4q_u32(p);
        r0 = t.val[0];
        r1 = t.val[1];
        r2 = t.val[2];
        r3 = t.val[3];
    }

    // Twelve words split three ways on the way in and joined on the way out:
    // lane j of a, b, c is p[3j], p[3j + 1], p[3j + 2].
    static void load_deinterleave3(const uint32_t* p, U& a, U& b, U& c) {
        const uint32x4x3_t t = vld3q_u32(p);
        a = t.val[0];
        b = t.val[1];
        c = t.val[2];
    }
    static void store_interleave3(uint32_t* p, U a, U b, U c) {
        const uint32x4x3_t abc{{a, b, c}};  // clang's vst3q_u32 is a macro: no braces in its arguments
        vst3q_u32(p, abc);
    }
    // Even lanes of a:b (a0, a2, b0, b2) and odd lanes (a1, a3, b1, b3).
    static U unzip_low(U a, U b) { return vuzp1q_u32(a, b); }
    static U unzip_high(U a, U b) { return vuzp2q_u32(a, b); }

    // table[index] per lane, index 0..15.
    static I lookup16(const int32_t (&table)[16], U index) {
        const uint8x16x4_t t = vld1q_u8_x4(reinterpret_cast<const uint8_t*>(table));
        // Byte j of lane k takes byte 4 * index[k] + j of the table.
        const uint32x4_t bytes = vmlaq_n_u32(vdupq_n_u32(0x03020100u), index, 0x04040404u);
        return vreinterpretq_s32_u8(vqtbl4q_u8(t, vreinterpretq_u8_u32(bytes)));
    }

    // |a| with INT32_MIN unchanged (its magnitude as uint32), and the unsigned minimum.
    static U abs(I a) { return vreinterpretq_u32_s32(vabsq_s32(a)); }
    static U min(U a, U b) { return vminq_u32(a, b); }

    // select for masks whose lanes are all ones or all zeros, as compares give.
    static F blend(U m, F a, F b) { return vbslq_f32(m, a, b); }
    static I blend(U m, I a, I b) { return vbslq_s32(m, a, b); }

    // Whether any bit of any lane is set.
    static bool any(U a) { return vmaxvq_u32(a) != 0; }

    // One instruction for sixteen consecutive floats.
    static void load_x4(const float* p, F (&out)[4]) {
        const float32x4x4_t t = vld1q_f32_x4(p);
        out[0] = t.val[0];
        out[1] = t.val[1];
        out[2] = t.val[2];
        out[3] = t.val[3];
    }

    // Two independent groups of four lanes: one instruction on machines with
    // eight-lane registers, two here. The halves never mix.
    struct P { F lo, hi; };
    static P pair(F lo, F hi) { return P{lo, hi}; }
    static F low(P a) { return a.lo; }
    static F high(P a) { return a.hi; }
    static P fma(P acc, P a, P b) { return P{fma(acc.lo, a.lo, b.lo), fma(acc.hi, a.hi, b.hi)}; }
};

}  // namespace simd
}  // namespace kevra

#endif  // KEVRA_SIMD_VEC4_NEON_H
