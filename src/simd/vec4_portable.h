// Portable four-lane backend: plain arrays and scalar IEEE arithmetic. It
// defines what every other backend must reproduce bit for bit, including the
// NaN rules of the Arm vector unit (min/max propagate NaN, float to int
// conversion saturates and maps NaN to 0).
#ifndef KEVRA_SIMD_VEC4_PORTABLE_H
#define KEVRA_SIMD_VEC4_PORTABLE_H

#include <cmath>
#include <cstdint>
#include <cstring>

namespace kevra {
namespace simd {

namespace detail {

inline uint32_t float_bits(float x) {
    uint32_t b;
    std::memcpy(&b, &x, sizeof b);
    return b;
}

inline float bits_float(uint32_t b) {
    float x;
    std::memcpy(&x, &b, sizeof x);
    return x;
}

inline bool is_signalling(float x) { return std::isnan(x) && !(float_bits(x) & 0x00400000u); }

inline float quieted(float x) { return bits_float(float_bits(x) | 0x00400000u); }

// Which NaN an Arm min/max returns: a signalling operand first, then the first NaN.
inline bool pick_nan(float a, float b, float* out) {
    if (is_signalling(a)) { *out = quieted(a); return true; }
    if (is_signalling(b)) { *out = quieted(b); return true; }
    if (std::isnan(a)) { *out = a; return true; }
    if (std::isnan(b)) { *out = b; return true; }
    return false;
}

// Sixteen words with four loads and a transpose, for backends without a
// transposing load.
template <class B>
inline void load_then_transpose(const uint32_t* p, typename B::U& r0, typename B::U& r1, typename B::U& r2,
                                typename B::U& r3) {
    r0 = B::load(p);
    r1 = B::load(p + 4);
    r2 = B::load(p + 8);
    r3 = B::load(p + 12);
    B::transpose(r0, r1, r2, r3);
}

}  // namespace detail

// min/max that propagate NaN and order -0.0 below +0.0, as the vector unit does.
inline float min_nan(float a, float b) {
    float n;
    if (detail::pick_nan(a, b, &n)) return n;
    if (a == b) return std::signbit(a) ? a : b;
    return a < b ? a : b;
}

inline float max_nan(float a, float b) {
    float n;
    if (detail::pick_nan(a, b, &n)) return n;
    if (a == b) return std::signbit(a) ? b : a;
    return a > b ? a : b;
}

// Truncation toward zero that saturates at the int32 limits and maps NaN to 0.
inline int32_t to_int32_saturate(float x) {
    if (std::isnan(x)) return 0;
    if (x >= 2147483648.0f) return INT32_MAX;
    if (x < -2147483648.0f) return INT32_MIN;
    return static_cast<int32_t>(x);
}

struct Portable {
    static constexpr const char* name = "portable";

    struct F { float v[4]; };
    struct I { int32_t v[4]; };
    struct U { uint32_t v[4]; };

    // Loads and stores (any alignment). load2/store2 use lanes 0 and 1 only;
    // load2 clears lanes 2 and 3.
    static F load(const float* p) { F r; std::memcpy(r.v, p, sizeof r.v); return r; }
    static I load(const int32_t* p) { I r; std::memcpy(r.v, p, sizeof r.v); return r; }
    static U load(const uint32_t* p) { U r; std::memcpy(r.v, p, sizeof r.v); return r; }
    static F load2(const float* p) { return F{{p[0], p[1], 0.0f, 0.0f}}; }
    static I load2(const int32_t* p) { return I{{p[0], p[1], 0, 0}}; }
    static U load2(const uint32_t* p) { return U{{p[0], p[1], 0, 0}}; }
    static void store(float* p, F a) { std::memcpy(p, a.v, sizeof a.v); }
    static void store(int32_t* p, I a) { std::memcpy(p, a.v, sizeof a.v); }
    static void store(uint32_t* p, U a) { std::memcpy(p, a.v, sizeof a.v); }
    static void store2(float* p, F a) { p[0] = a.v[0]; p[1] = a.v[1]; }
    static void store2(int32_t* p, I a) { p[0] = a.v[0]; p[1] = a.v[1]; }
    static void store2(uint32_t* p, U a) { p[0] = a.v[0]; p[1] = a.v[1]; }
    // Lanes 2 and 3 to p[0], p[1].
    static void store2_high(uint32_t* p, U a) { p[0] = a.v[2]; p[1] = a.v[3]; }

    static F dup(float x) { return F{{x, x, x, x}}; }
    template <int L>
    static F dup_lane(F a) { return dup(a.v[L]); }
    static I dup(int32_t x) { return I{{x, x, x, x}}; }
    static U dup(uint32_t x) { return U{{x, x, x, x}}; }
    static F set(float a, float b, float c, float d) { return F{{a, b, c, d}}; }
    static I set(int32_t a, int32_t b, int32_t c, int32_t d) { return I{{a, b, c, d}}; }
    static U set(uint32_t a, uint32_t b, uint32_t c, uint32_t d) { return U{{a, b, c, d}}; }
    static float get(F a, int lane) { return a.v[lane]; }
    static int32_t get(I a, int lane) { return a.v[lane]; }
    static uint32_t get(U a, int lane) { return a.v[lane]; }

    // Float arithmetic, each lane rounded once.
    static F add(F a, F b) { return map(a, b, [](float x, float y) { return x + y; }); }
    static F sub(F a, F b) { return map(a, b, [](float x, float y) { return x - y; }); }
    static F mul(F a, F b) { return map(a, b, [](float x, float y) { return x * y; }); }
    static F div(F a, F b) { return map(a, b, [](float x, float y) { return x / y; }); }
    static F neg(F a) { return map(a, a, [](float x, float) { return -x; }); }
    static F abs(F a) { return map(a, a, [](float x, float) { return std::fabs(x); }); }
    static F sqrt(F a) { return map(a, a, [](float x, float) { return std::sqrt(x); }); }
    // acc + a*b and acc - a*b with one rounding.
    static F fma(F acc, F a, F b) {
        F r;
        for (int k = 0; k < 4; ++k) r.v[k] = std::fma(a.v[k], b.v[k], acc.v[k]);
        return r;
    }
    static F fms(F acc, F a, F b) {
        F r;
        for (int k = 0; k < 4; ++k) r.v[k] = std::fma(-a.v[k], b.v[k], acc.v[k]);
        return r;
    }
    static F min(F a, F b) { return map(a, b, min_nan); }
    static F max(F a, F b) { return map(a, b, max_nan); }

    // Comparisons give all-ones lanes where true; any comparison with NaN is false.
    static U cmp_gt(F a, F b) { return test(a, b, [](float x, float y) { return x > y; }); }
    static U cmp_ge(F a, F b) { return test(a, b, [](float x, float y) { return x >= y; }); }
    static U cmp_lt(F a, F b) { return test(a, b, [](float x, float y) { return x < y; }); }
    static U cmp_le(F a, F b) { return test(a, b, [](float x, float y) { return x <= y; }); }
    static U cmp_eq(F a, F b) { return test(a, b, [](float x, float y) { return x == y; }); }
    static U cmp_eq(U a, U b) {
        U r;
        for (int k = 0; k < 4; ++k) r.v[k] = a.v[k] == b.v[k] ? ~0u : 0u;
        return r;
    }

    // Bitwise select: lanes of a where the mask bits are set, of b elsewhere.
    static F select(U m, F a, F b) { return as_f(bsl(m, as_u(a), as_u(b))); }
    static U select(U m, U a, U b) { return bsl(m, a, b); }
    static I select(U m, I a, I b) { return as_i(bsl(m, as_u(a), as_u(b))); }

    static U as_u(F a) { U r; std::memcpy(r.v, a.v, sizeof r.v); return r; }
    static U as_u(I a) { U r; std::memcpy(r.v, a.v, sizeof r.v); return r; }
    static F as_f(U a) { F r; std::memcpy(r.v, a.v, sizeof r.v); return r; }
    static I as_i(U a) { I r; std::memcpy(r.v, a.v, sizeof r.v); return r; }

    // Conversions: round to nearest into float, truncate (saturating, NaN to 0) into int.
    static F to_float(U a) { F r; for (int k = 0; k < 4; ++k) r.v[k] = static_cast<float>(a.v[k]); return r; }
    static F to_float(I a) { F r; for (int k = 0; k < 4; ++k) r.v[k] = static_cast<float>(a.v[k]); return r; }
    static I to_int(F a) { I r; for (int k = 0; k < 4; ++k) r.v[k] = to_int32_saturate(a.v[k]); return r; }

    // Integer lanes; arithmetic wraps modulo 2^32.
    static U add(U a, U b) { U r; for (int k = 0; k < 4; ++k) r.v[k] = a.v[k] + b.v[k]; return r; }
    static I add(I a, I b) { return as_i(add(as_u(a), as_u(b))); }
    static I sub(I a, I b) { I r; for (int k = 0; k < 4; ++k) r.v[k] = wrap(uint32_t(a.v[k]) - uint32_t(b.v[k])); return r; }
    static I mul(I a, I b) { I r; for (int k = 0; k < 4; ++k) r.v[k] = wrap(uint32_t(a.v[k]) * uint32_t(b.v[k])); return r; }
    static U max(U a, U b) { U r; for (int k = 0; k < 4; ++k) r.v[k] = a.v[k] > b.v[k] ? a.v[k] : b.v[k]; return r; }
    static U bit_and(U a, U b) { U r; for (int k = 0; k < 4; ++k) r.v[k] = a.v[k] & b.v[k]; return r; }
    static U bit_or(U a, U b) { U r; for (int k = 0; k < 4; ++k) r.v[k] = a.v[k] | b.v[k]; return r; }
    static U bit_not(U a) { U r; for (int k = 0; k < 4; ++k) r.v[k] = ~a.v[k]; return r; }
    // Shifts by 0..31: logical for U, arithmetic (floor division) for I.
    static U shr(U a, int n) { U r; for (int k = 0; k < 4; ++k) r.v[k] = a.v[k] >> n; return r; }
    static I shr(I a, int n) {
        I r;
        for (int k = 0; k < 4; ++k) {
            const uint32_t u = uint32_t(a.v[k]) >> n;
            const uint32_t sign_fill = (a.v[k] < 0 && n > 0) ? ~(~0u >> n) : 0u;
            r.v[k] = wrap(u | sign_fill);
        }
        return r;
    }

    // Lanes k..k+3 of the eight-lane concatenation a:b.
    static F ext1(F a, F b) { return F{{a.v[1], a.v[2], a.v[3], b.v[0]}}; }
    static F ext2(F a, F b) { return F{{a.v[2], a.v[3], b.v[0], b.v[1]}}; }
    static F ext3(F a, F b) { return F{{a.v[3], b.v[0], b.v[1], b.v[2]}}; }

    // Interleave lanes: (a0, b0, a1, b1) and (a2, b2, a3, b3).
    static U zip_low(U a, U b) { return U{{a.v[0], b.v[0], a.v[1], b.v[1]}}; }
    static U zip_high(U a, U b) { return U{{a.v[2], b.v[2], a.v[3], b.v[3]}}; }

    // In-place 4x4 transpose: afterwards r_k holds lane k of the inputs.
    static void transpose(U& r0, U& r1, U& r2, U& r3) {
        const U a = r0, b = r1, c = r2, d = r3;
        r0 = U{{a.v[0], b.v[0], c.v[0], d.v[0]}};
        r1 = U{{a.v[1], b.v[1], c.v[1], d.v[1]}};
        r2 = U{{a.v[2], b.v[2], c.v[2], d.v[2]}};
        r3 = U{{a.v[3], b.v[3], c.v[3], d.v[3]}};
    }

    // Sixteen words, transposed on the way in: lane j of r_k is p[4j + k].
    static void load_transposed(const uint32_t* p, U& r0, U& r1, U& r2, U& r3) {
        detail::load_then_transpose<Portable>(p, r0, r1, r2, r3);
    }

    // Twelve words split three ways on the way in and joined on the way out:
    // lane j of a, b, c is p[3j], p[3j + 1], p[3j + 2].
    static void load_deinterleave3(const uint32_t* p, U& a, U& b, U& c) {
        for (int j = 0; j < 4; ++j) {
            a.v[j] = p[3 * j];
            b.v[j] = p[3 * j + 1];
            c.v[j] = p[3 * j + 2];
        }
    }
    static void store_interleave3(uint32_t* p, U a, U b, U c) {
        for (int j = 0; j < 4; ++j) {
            p[3 * j] = a.v[j];
            p[3 * j + 1] = b.v[j];
            p[3 * j + 2] = c.v[j];
        }
    }
    // Even lanes of a:b (a0, a2, b0, b2) and odd lanes (a1, a3, b1, b3).
    static U unzip_low(U a, U b) { return U{{a.v[0], a.v[2], b.v[0], b.v[2]}}; }
    static U unzip_high(U a, U b) { return U{{a.v[1], a.v[3], b.v[1], b.v[3]}}; }

    // table[index] per lane, index 0..15.
    static I lookup16(const int32_t (&table)[16], U index) {
        I r;
        for (int k = 0; k < 4; ++k) r.v[k] = table[index.v[k]];
        return r;
    }

    // |a| with INT32_MIN unchanged (its magnitude as uint32), and the unsigned minimum.
    static U abs(I a) {
        U r;
        for (int k = 0; k < 4; ++k) {
            const uint32_t u = static_cast<uint32_t>(a.v[k]);
            r.v[k] = a.v[k] < 0 ? 0u - u : u;
        }
        return r;
    }
    static U min(U a, U b) { U r; for (int k = 0; k < 4; ++k) r.v[k] = a.v[k] < b.v[k] ? a.v[k] : b.v[k]; return r; }

    // select for masks whose lanes are all ones or all zeros, as compares give;
    // other masks are not allowed (a backend may look at one bit per lane).
    static F blend(U m, F a, F b) { return select(m, a, b); }
    static I blend(U m, I a, I b) { return select(m, a, b); }

    // Whether any bit of any lane is set.
    static bool any(U a) { return (a.v[0] | a.v[1] | a.v[2] | a.v[3]) != 0; }

    // Sixteen consecutive floats: out[q] = p[4q .. 4q+3].
    static void load_x4(const float* p, F (&out)[4]) {
        for (int q = 0; q < 4; ++q) out[q] = load(p + 4 * q);
    }

    // Two independent groups of four lanes: one instruction on machines with
    // eight-lane registers, two here. The halves never mix.
    struct P { F lo, hi; };
    static P pair(F lo, F hi) { return P{lo, hi}; }
    static F low(P a) { return a.lo; }
    static F high(P a) { return a.hi; }
    static P fma(P acc, P a, P b) { return P{fma(acc.lo, a.lo, b.lo), fma(acc.hi, a.hi, b.hi)}; }

private:
    template <class Op>
    static F map(F a, F b, Op op) {
        F r;
        for (int k = 0; k < 4; ++k) r.v[k] = op(a.v[k], b.v[k]);
        return r;
    }
    template <class Op>
    static U test(F a, F b, Op op) {
        U r;
        for (int k = 0; k < 4; ++k) r.v[k] = op(a.v[k], b.v[k]) ? ~0u : 0u;
        return r;
    }
    static U bsl(U m, U a, U b) {
        U r;
        for (int k = 0; k < 4; ++k) r.v[k] = (m.v[k] & a.v[k]) | (~m.v[k] & b.v[k]);
        return r;
    }
    static int32_t wrap(uint32_t u) {
        int32_t s;
        std::memcpy(&s, &u, sizeof s);
        return s;
    }
};

}  // namespace simd
}  // namespace kevra

#endif  // KEVRA_SIMD_VEC4_PORTABLE_H
