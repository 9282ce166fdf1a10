// The exported numeric members on arbitrary arguments, each with the
// properties that hold for every input: ranges, symmetries, what is left
// untouched, and which entries a repair or filter may change.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>

#include "fuzz_input.h"
#include "kevra.h"
#include "support/probe.h"
#include "targets.h"

namespace kevra_fuzz {

namespace {

using Detector = kevra_test::Probe;

constexpr float kNoSample = -32767.0f;

bool same_or_both_nan(float a, float b) { return (std::isnan(a) && std::isnan(b)) || float_bits(a) == float_bits(b); }

void my_cos_case(Reader& in, Detector& d) {
    const int32_t angle = in.take<int32_t>();
    const int c = d.my_cos(angle);
    FUZZ_CHECK(c >= -1024 && c <= 1024);
    if (angle != std::numeric_limits<int32_t>::min()) FUZZ_CHECK(d.my_cos(-angle) == c);
    if (angle <= std::numeric_limits<int32_t>::max() - 46080) FUZZ_CHECK(d.my_cos(angle + 46080) == c);
}

// The magnitude comes from the cosine alone; the angle only gives the sign.
void cos_to_sin_case(Reader& in, Detector& d) {
    const float angle = in.take<float>();
    const float cosine = in.take<float>();
    const float s = d.cos_to_sin(angle, cosine);
    const float magnitude = d.cos_to_sin(0.0f, cosine);
    if (std::fabs(cosine) <= 1.0f) {
        FUZZ_CHECK(std::fabs(s) <= 1.0f);
        FUZZ_CHECK(float_bits(std::fabs(s)) == float_bits(magnitude));
    } else {
        FUZZ_CHECK(std::isnan(s));
    }
}

// Each product's two factors may trade places.
void flk_func_case(Reader& in, Detector& d) {
    float p[6];
    in.read(p, sizeof p);
    const float v = d.flk_func(p[0], p[1], p[2], p[3], p[4], p[5]);
    FUZZ_CHECK(same_or_both_nan(v, d.flk_func(p[3], p[4], p[5], p[0], p[1], p[2])));
}

void compare_case(Reader& in, Detector& d) {
    const float a = in.take<float>();
    const float b = in.take<float>();
    const int ab = d.compare(&a, &b);
    FUZZ_CHECK(ab >= -1 && ab <= 1);
    FUZZ_CHECK(d.compare(&b, &a) == -ab);
}

// Output j lies between the two middle values of its window (for finite
// windows far from overflow), is NaN when the window holds a NaN, and the two
// entries at each end keep their values.
void median_filter_case(Reader& in, Detector& d) {
    const int n = in.take<int16_t>();
    Buffer<float> data(n > 0 ? static_cast<size_t>(n) : 0);
    in.cycle(data.data(), data.size());
    Buffer<float> original(data.size());
    std::copy_n(data.data(), data.size(), original.data());
    d.median_filter(data.data(), n, nullptr);
    const size_t size = data.size();
    for (size_t j = 0; j < size; ++j) {
        if (size >= 5 && j >= 2 && j + 2 < size) {
            float w[4] = {original[j - 2], original[j - 1], original[j], original[j + 1]};
            if (std::isnan(w[0]) || std::isnan(w[1]) || std::isnan(w[2]) || std::isnan(w[3])) {
                FUZZ_CHECK(std::isnan(data[j]));
            } else if (std::all_of(w, w + 4, [](float x) { return std::fabs(x) <= 1e38f; })) {
                std::sort(w, w + 4);
                FUZZ_CHECK(data[j] >= w[1] && data[j] <= w[2]);
            }
        } else {
            FUZZ_CHECK(float_bits(data[j]) == float_bits(original[j]));
        }
    }
}

// Missing samples are dropped, every flag is all ones or zero, and at most one
// valid sample goes.
void remove_outliers_case(Reader& in, Detector& d) {
    const int n = in.take<int16_t>();
    const int tolerance = in.take<int32_t>();
    Buffer<float> data(n > 0 ? static_cast<size_t>(n) : 0);
    in.cycle(data.data(), data.size());
    Buffer<float> original(data.size());
    std::copy_n(data.data(), data.size(), original.data());
    Buffer<unsigned int> keep(data.size());
    keep.fill_bytes(0xA5);
    int count = -12345;
    d.remove_outliers_ver2(data.data(), n, &count, keep.data(), tolerance);
    FUZZ_CHECK(same_bits(data.data(), original.data(), data.size() * sizeof(float)));
    FUZZ_CHECK(count == (n < 1 ? 0 : n));
    int dropped_valid = 0;
    for (size_t i = 0; i < keep.size(); ++i) {
        FUZZ_CHECK(keep[i] == 0u || keep[i] == 0xFFFFFFFFu);
        const bool valid = data[i] > kNoSample;
        if (!valid) FUZZ_CHECK(keep[i] == 0u);
        if (valid && keep[i] == 0u) ++dropped_valid;
    }
    FUZZ_CHECK(dropped_valid <= 1);
}

// A present entry (not below 0.0) never changes; entries outside the repaired
// block never change; and when a column's entry 0 is present, nothing in it
// stays below 0.0.
template <int Width, class Repair>
void repair_case(Reader& in, int max_length, Repair repair) {
    const int length = in.take<int16_t>() % (max_length + 1);
    int columns = in.take<int16_t>();
    if (columns > Width) columns = columns % (Width + 1);
    const size_t rows = length > 0 ? static_cast<size_t>(length) : 0;
    Buffer<float[Width]> a(rows);
    in.cycle(reinterpret_cast<float*>(a.data()), rows * Width);
    Buffer<float[Width]> original(rows);
    std::memcpy(original.data(), a.data(), rows * sizeof a[0]);
    repair(a.data(), length, columns);
    for (int col = 0; col < Width; ++col) {
        const bool repaired = col < columns;
        const bool anchored = rows > 0 && !(original[0][col] < 0.0f);
        for (size_t i = 0; i < rows; ++i) {
            if (!repaired || !(original[i][col] < 0.0f)) {
                FUZZ_CHECK(float_bits(a[i][col]) == float_bits(original[i][col]));
            }
            if (repaired && anchored) FUZZ_CHECK(!(a[i][col] < 0.0f));
        }
    }
}

// A flat run is never longer than the rows, and nothing is flat within a band
// of width 0 or less (or NaN).
void local_flicker_case(Reader& in, Detector& d) {
    const int row_num = static_cast<int>(in.take<uint16_t>() % (KEVRA_MAX_ROWS + 1));
    const float tolerance = in.take<float>();
    const float centre = in.take<float>();
    std::unique_ptr<float[][256]> levels(new float[6][256]);
    in.cycle(&levels[0][0], 6 * 256);
    d.local_flicker_detect(row_num, levels.get(), tolerance, centre);
    for (uint32_t run : d.local_flicker_count) {
        FUZZ_CHECK(run <= static_cast<uint32_t>(row_num));
        if (!(tolerance > 0.0f)) FUZZ_CHECK(run == 0);
    }
}

void weight_compute_case(Reader& in, Detector& d) {
    kevra_config config = in.take<kevra_config>();
    const int row_num = static_cast<int>(in.take<uint16_t>() % (KEVRA_MAX_ROWS + 1));
    unsigned int count_sum[6];
    in.read(count_sum, sizeof count_sum);
    in.read(d.local_flicker_count, sizeof d.local_flicker_count);
    uint8_t high[256][24];
    in.cycle(&high[0][0], sizeof high);
    for (int r = 0; r < 256; ++r) {
        for (int k = 0; k < 24; ++k) d.stat_high[r][k] = high[r][k];
    }
    const Snapshot arguments = Snapshot().add(&config).add(count_sum, 6);
    d.weight_compute(&config, row_num, count_sum);
    FUZZ_CHECK(Snapshot().add(&config).add(count_sum, 6) == arguments);
    for (int z = 0; z < 6; ++z) {
        FUZZ_CHECK(d.zone_high_class[z] >= 0 && d.zone_high_class[z] <= 3);
        FUZZ_CHECK(d.zone_flicker_class[z] >= 0 && d.zone_flicker_class[z] <= 3);
    }
}

}  // namespace

void numeric_members_target(const uint8_t* data, size_t size) {
    Reader in(data, size);
    const uint8_t which = in.take<uint8_t>();
    auto d = std::make_unique<Detector>();
    switch (which % 10) {
        case 0: my_cos_case(in, *d); break;
        case 1: cos_to_sin_case(in, *d); break;
        case 2: flk_func_case(in, *d); break;
        case 3: compare_case(in, *d); break;
        case 4: median_filter_case(in, *d); break;
        case 5: remove_outliers_case(in, *d); break;
        case 6:
            repair_case<256>(in, 16, [&](float (*a)[256], int n, int c) { d->nan_check_v2_6_256(a, n, c); });
            break;
        case 7:
            repair_case<4>(in, 1024, [&](float (*a)[4], int n, int c) { d->nan_check_v2_256_4(a, n, c); });
            break;
        case 8: local_flicker_case(in, *d); break;
        default: weight_compute_case(in, *d); break;
    }
}

}  // namespace kevra_fuzz
