// Row pass of the confidence index: evaluates channel 1's fixed-point flicker
// model on every statistic row and accumulates, per zone, the weighted squared
// residuals of the levels that lie inside the band around the model.
#ifndef KEVRA_CONFIDENCE_CONFIDENCE_ROWS_H
#define KEVRA_CONFIDENCE_CONFIDENCE_ROWS_H

#include <cstddef>
#include <cstdint>

#include "confidence/confidence_constants.h"
#include "confidence/my_cos.h"
#include "simd/vec4.h"

namespace kevra {

struct ZoneTotals {
    float sum[6];         // sum of the residual terms e over all rows
    uint32_t count[6];    // rows whose level lay inside the band
    float peak[6];        // largest five-row window sum of e
    int32_t peak_row[6];  // row at which that window ends; -1 when no row ran
};

namespace confidence_detail {

// Model level and band of four consecutive rows, one row per element.
struct RowBands {
    float model[4];
    float lo[4];
    float hi[4];
};

// Integer lanes wrap, so rows past the last one (whose lanes go unused) and
// products beyond the model's design range are harmless.
template <class V>
KEVRA_ALWAYS_INLINE RowBands row_bands(const ConfidenceConstants& k, int32_t first_row) {
    using I = typename V::I;
    const I row = V::add(V::dup(first_row), V::set(0, 1, 2, 3));
    const I y = V::add(V::dup(k.y0), V::mul(row, V::dup(k.y_step)));
    const auto harmonic = [&](int h) {
        const I theta = V::add(V::dup(k.phase[h]), V::shr(V::mul(V::dup(k.step[h]), y), 3));
        return V::shr(V::mul(V::dup(k.amp[h]), fixed_cos_lanes<V>(theta)), 10);
    };
    const I m = V::sub(V::dup(k.off), V::add(V::add(harmonic(0), harmonic(1)), harmonic(2)));
    const typename V::F model = V::div(V::to_float(m), V::dup(1024.0f));
    const typename V::F a1 = V::dup(k.a1);
    RowBands b;
    V::store(b.model, model);
    V::store(b.lo, V::min(V::max(V::sub(model, a1), V::dup(k.lo_min)), V::dup(k.lo_max)));
    V::store(b.hi, V::max(V::min(V::add(model, a1), V::dup(k.hi_max)), V::dup(k.hi_min)));
    return b;
}

// Accumulators of zones FirstZone.. (four from zone 0, or two from zone 4, in
// lanes 0 and 1), with the residual terms of the previous four rows for the
// five-row window.
template <class V, int FirstZone>
struct ZoneLanes {
    using F = typename V::F;
    using U = typename V::U;
    using I = typename V::I;

    F sum = V::dup(0.0f);
    U count = V::dup(0u);
    F peak = V::dup(0.0f);
    I peak_row = V::dup(int32_t{-1});
    F e1 = V::dup(0.0f), e2 = V::dup(0.0f), e3 = V::dup(0.0f), e4 = V::dup(0.0f);  // e(i-1) .. e(i-4)

    // One row; level_row and sum_row point at its channel 1 (word 6).
    void add_row(const float* level_row, const uint32_t* sum_row, const F& model, const F& lo, const F& hi,
                 const F& inv_norm, const I& row) {
        const F level = FirstZone == 0 ? V::load(level_row) : V::load2(level_row + FirstZone);
        const U zone_sum = FirstZone == 0 ? V::load(sum_row) : V::load2(sum_row + FirstZone);
        const F one = V::dup(1.0f);
        const U inside = V::bit_and(V::cmp_gt(level, lo), V::cmp_lt(level, hi));
        F w = V::mul(V::to_float(zone_sum), inv_norm);
        w = V::mul(w, w);
        w = V::blend(V::cmp_gt(w, one), one, w);
        const F d = V::sub(level, model);
        const F e = V::blend(inside, V::mul(w, V::mul(d, d)), V::dup(0.0f));
        count = V::add(count, V::shr(inside, 31));
        sum = V::add(sum, e);
        // Oldest term first; a NaN window replaces the peak, and so does a tie.
        const F window = V::add(V::add(V::add(V::add(e4, e3), e2), e1), e);
        const U keep = V::cmp_gt(peak, window);
        peak = V::blend(keep, peak, window);
        peak_row = V::blend(keep, peak_row, row);
        e4 = e3;
        e3 = e2;
        e2 = e1;
        e1 = e;
    }
};

}  // namespace confidence_detail

// Rows 0..row_num-1 of channel 1 (words 6..11 of each 24-word row), zones
// 0..3 in one vector and zones 4 and 5 in another, the model and band of four
// rows at a time. With 32 vector registers (aarch64) both groups' accumulators
// stay in registers through one sweep over the rows. With 16 they would not:
// there each group gets a sweep of its own over blocks of 64 rows whose models
// and bands are computed first.
template <class V>
void accumulate_zone_rows(const ConfidenceConstants& k, int32_t row_num, const float* stat_level,
                          const uint32_t* stat_sum, ZoneTotals* out) {
    using confidence_detail::RowBands;
    using confidence_detail::ZoneLanes;
    const typename V::F inv_norm = V::dup(k.inv_norm);
    ZoneLanes<V, 0> low;
    ZoneLanes<V, 4> high;
    // Rows first..end-1 into each group of zones, the bands of rows i..i+3 from bands_at(i).
    const auto sweep = [&](int32_t first, int32_t end, auto bands_at, auto&... zones) KEVRA_INLINE_LAMBDA {
        for (int32_t i = first; i < end; i += 4) {
            const RowBands& b = bands_at(i);
            const int rows = end - i < 4 ? end - i : 4;
            for (int r = 0; r < rows; ++r) {
                const size_t at = static_cast<size_t>(i + r) * 24 + 6;
                (zones.add_row(stat_level + at, stat_sum + at, V::dup(b.model[r]), V::dup(b.lo[r]), V::dup(b.hi[r]),
                               inv_norm, V::dup(i + r)),
                 ...);
            }
        }
    };
#if defined(__aarch64__)
    sweep(0, row_num, [&](int32_t i) KEVRA_INLINE_LAMBDA { return confidence_detail::row_bands<V>(k, i); },
          low, high);
#else
    constexpr int32_t kBlockRows = 64;
    RowBands bands[kBlockRows / 4];
    for (int32_t first = 0; first < row_num; first += kBlockRows) {
        const int32_t end = row_num - first < kBlockRows ? row_num : first + kBlockRows;
        for (int32_t i = first; i < end; i += 4) bands[(i - first) >> 2] = confidence_detail::row_bands<V>(k, i);
        const auto stored = [&](int32_t i) KEVRA_INLINE_LAMBDA -> const RowBands& {
            return bands[(i - first) >> 2];
        };
        sweep(first, end, stored, low);
        sweep(first, end, stored, high);
    }
#endif
    V::store(out->sum, low.sum);
    V::store2(out->sum + 4, high.sum);
    V::store(out->count, low.count);
    V::store2(out->count + 4, high.count);
    V::store(out->peak, low.peak);
    V::store2(out->peak + 4, high.peak);
    V::store(out->peak_row, low.peak_row);
    V::store2(out->peak_row + 4, high.peak_row);
}

}  // namespace kevra

#endif  // KEVRA_CONFIDENCE_CONFIDENCE_ROWS_H
