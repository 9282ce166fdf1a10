// kevra: lamp flicker detection from rolling-shutter row statistics.
//
// The records below cross the library boundary as plain structures; their
// offsets and sizes are part of the binary interface and are pinned by the
// static_asserts at the end of each record. Spans named reserved_* are never
// read or written by the library; a caller may keep its own data there.
#ifndef KEVRA_H
#define KEVRA_H

#include <cstddef>
#include <cstdint>

#if defined(_WIN32)
#define KEVRA_EXPORT __declspec(dllexport)
#else
#define KEVRA_EXPORT __attribute__((visibility("default")))
#endif

#define KEVRA_VERSION_MAJOR 0
#define KEVRA_VERSION_MINOR 1
#define KEVRA_VERSION_PATCH 0

static_assert(sizeof(void*) == 8, "kevra records are laid out for 64-bit platforms");

// Status values returned by the entry points.
constexpr int32_t KEVRA_STATUS_OK = 0;
// Returned by the interface's own bodies: the dynamic type does not provide the operation.
constexpr int32_t KEVRA_STATUS_NOT_PROVIDED = static_cast<int32_t>(0x80000001u);
// A record or buffer pointer is null, or a count or index lies outside what the
// detector can hold; nothing at all was written.
constexpr int32_t KEVRA_STATUS_INVALID_ARGUMENT = static_cast<int32_t>(0x80000002u);

// Rows of statistics one detector can hold; every per-row array is this long.
constexpr int KEVRA_MAX_ROWS = 256;

struct kevra_parameter {
    int32_t ratio_index;        // index into ratio_table, 0..2
    float ratio_table[4];       // frame_ratio = ratio_table[i + 1] / ratio_table[i]
    int32_t row_num;            // statistic rows in this run, 0..256
    float* start_time;          // element 0: time of row 0 in the model, us
    float tolerance_ref;        // reference of the local flicker tolerance
    uint8_t reserved_0x24[4];
    float exposure_time;        // us
    float line_time;            // us per sensor line
    int32_t fit_iterations[4];  // output: iterations run per channel
};

struct kevra_statistic {
    uint32_t* sum_stream;    // row_num x 24 words, zone-major; low 24 bits = sum
    uint32_t* count_stream;  // same layout; low 24 bits = count, top byte = zone value
};

struct kevra_config {
    uint8_t reserved_0x00[8];
    int32_t high_full_scale;          // full scale of the 8-bit zone values
    uint8_t reserved_0x0c[32];
    int32_t mains_frequency;          // Hz; 50 selects the 50 Hz periods
    int32_t outlier_threshold;        // zone outlier limit, thousandths
    float local_tolerance_gain;
    float local_tolerance_exponent;
    int32_t local_flicker_level;      // centre of the local flicker band
    float detect_ratio[5];            // share of row_num per model-range band
    float range_threshold[5];         // ascending lower limits of the bands
    int32_t weight_enable;            // nonzero: weighted row levels
    int32_t weight_fixed;             // nonzero (with weight_enable): use fixed_weight
    float fixed_weight[6];
    int32_t lines_per_row;            // sensor lines per statistic row
    int32_t weight_base_x10;
    int32_t weight_exponent_x10;
    int32_t use_initial_values;       // 1: start the fit from the init_* fields
    uint8_t reserved_0x98[536];
    float init_offset[4];
    float init_phase1[4];             // only element 1 is read
    float init_phase2[4];             // only element 1 is read
    float init_phase3[4];             // only element 1 is read
    float init_amplitude1[4];
    float init_amplitude2[4];
    float init_amplitude3[4];
    float offset_step;
    float phase_step;
    float amplitude_step;
    int32_t convergence_exponent;     // stop at a measure <= 10^-n; n <= -3 skips the fit
    uint8_t reserved_0x330[60];
    int32_t max_iterations;           // at most max_iterations + 1 iterations per channel
};

struct kevra_fitting_result {
    float offset[4];
    float amplitude1[4];
    float amplitude2[4];
    float amplitude3[4];
    float phase1[4];          // us
    float phase2[4];
    float phase3[4];
    uint32_t flicker_detected;
    uint8_t reserved_0x74[4];
    float* stat_level;        // caller buffer, row_num x 24, channel-major
    uint32_t* stat_sum;       // caller buffer, row_num x 24, channel-major
    uint32_t* stat_count;     // caller buffer, row_num x 24, channel-major
};

struct kevra_confidence_idx_input {
    float angle_offset[3];    // degrees, per harmonic
    float angle_rate[3];      // degrees per us, per harmonic
    float line_time;          // us per sensor line
    int32_t row_num;
    int32_t sum_norm_a;
    int32_t lines_per_row;
    int32_t line_offset;
    int32_t sum_norm_b;
    float band_margin;
};

struct kevra_confidence_idx_output {
    float confidence_idx[2];  // both elements receive the same value
};

struct kevra_confidence_idx_debug_output {
    int32_t enable;           // read: nonzero asks for the fields below
    int32_t valid;
    int32_t peak_row;
    int32_t peak_zone;
    int32_t mean_zone;
    float peak_error;
    float mean_error;
};

#define KEVRA_ASSERT_FIELD(record, field, offset) \
    static_assert(offsetof(record, field) == (offset), #record "." #field " moved")

KEVRA_ASSERT_FIELD(kevra_parameter, ratio_index, 0x00);
KEVRA_ASSERT_FIELD(kevra_parameter, ratio_table, 0x04);
KEVRA_ASSERT_FIELD(kevra_parameter, row_num, 0x14);
KEVRA_ASSERT_FIELD(kevra_parameter, start_time, 0x18);
KEVRA_ASSERT_FIELD(kevra_parameter, tolerance_ref, 0x20);
KEVRA_ASSERT_FIELD(kevra_parameter, exposure_time, 0x28);
KEVRA_ASSERT_FIELD(kevra_parameter, line_time, 0x2c);
KEVRA_ASSERT_FIELD(kevra_parameter, fit_iterations, 0x30);
static_assert(sizeof(kevra_parameter) == 0x40, "kevra_parameter size");

KEVRA_ASSERT_FIELD(kevra_statistic, sum_stream, 0x00);
KEVRA_ASSERT_FIELD(kevra_statistic, count_stream, 0x08);
static_assert(sizeof(kevra_statistic) == 0x10, "kevra_statistic size");

KEVRA_ASSERT_FIELD(kevra_config, high_full_scale, 0x08);
KEVRA_ASSERT_FIELD(kevra_config, mains_frequency, 0x2c);
KEVRA_ASSERT_FIELD(kevra_config, outlier_threshold, 0x30);
KEVRA_ASSERT_FIELD(kevra_config, local_tolerance_gain, 0x34);
KEVRA_ASSERT_FIELD(kevra_config, local_tolerance_exponent, 0x38);
KEVRA_ASSERT_FIELD(kevra_config, local_flicker_level, 0x3c);
KEVRA_ASSERT_FIELD(kevra_config, detect_ratio, 0x40);
KEVRA_ASSERT_FIELD(kevra_config, range_threshold, 0x54);
KEVRA_ASSERT_FIELD(kevra_config, weight_enable, 0x68);
KEVRA_ASSERT_FIELD(kevra_config, weight_fixed, 0x6c);
KEVRA_ASSERT_FIELD(kevra_config, fixed_weight, 0x70);
KEVRA_ASSERT_FIELD(kevra_config, lines_per_row, 0x88);
KEVRA_ASSERT_FIELD(kevra_config, weight_base_x10, 0x8c);
KEVRA_ASSERT_FIELD(kevra_config, weight_exponent_x10, 0x90);
KEVRA_ASSERT_FIELD(kevra_config, use_initial_values, 0x94);
KEVRA_ASSERT_FIELD(kevra_config, init_offset, 0x2b0);
KEVRA_ASSERT_FIELD(kevra_config, init_phase1, 0x2c0);
KEVRA_ASSERT_FIELD(kevra_config, init_phase2, 0x2d0);
KEVRA_ASSERT_FIELD(kevra_config, init_phase3, 0x2e0);
KEVRA_ASSERT_FIELD(kevra_config, init_amplitude1, 0x2f0);
KEVRA_ASSERT_FIELD(kevra_config, init_amplitude2, 0x300);
KEVRA_ASSERT_FIELD(kevra_config, init_amplitude3, 0x310);
KEVRA_ASSERT_FIELD(kevra_config, offset_step, 0x320);
KEVRA_ASSERT_FIELD(kevra_config, phase_step, 0x324);
KEVRA_ASSERT_FIELD(kevra_config, amplitude_step, 0x328);
KEVRA_ASSERT_FIELD(kevra_config, convergence_exponent, 0x32c);
KEVRA_ASSERT_FIELD(kevra_config, max_iterations, 0x36c);
static_assert(sizeof(kevra_config) == 0x370, "kevra_config size");

KEVRA_ASSERT_FIELD(kevra_fitting_result, offset, 0x00);
KEVRA_ASSERT_FIELD(kevra_fitting_result, amplitude1, 0x10);
KEVRA_ASSERT_FIELD(kevra_fitting_result, amplitude2, 0x20);
KEVRA_ASSERT_FIELD(kevra_fitting_result, amplitude3, 0x30);
KEVRA_ASSERT_FIELD(kevra_fitting_result, phase1, 0x40);
KEVRA_ASSERT_FIELD(kevra_fitting_result, phase2, 0x50);
KEVRA_ASSERT_FIELD(kevra_fitting_result, phase3, 0x60);
KEVRA_ASSERT_FIELD(kevra_fitting_result, flicker_detected, 0x70);
KEVRA_ASSERT_FIELD(kevra_fitting_result, stat_level, 0x78);
KEVRA_ASSERT_FIELD(kevra_fitting_result, stat_sum, 0x80);
KEVRA_ASSERT_FIELD(kevra_fitting_result, stat_count, 0x88);
static_assert(sizeof(kevra_fitting_result) == 0x90, "kevra_fitting_result size");

KEVRA_ASSERT_FIELD(kevra_confidence_idx_input, angle_offset, 0);
KEVRA_ASSERT_FIELD(kevra_confidence_idx_input, angle_rate, 12);
KEVRA_ASSERT_FIELD(kevra_confidence_idx_input, line_time, 24);
KEVRA_ASSERT_FIELD(kevra_confidence_idx_input, row_num, 28);
KEVRA_ASSERT_FIELD(kevra_confidence_idx_input, sum_norm_a, 32);
KEVRA_ASSERT_FIELD(kevra_confidence_idx_input, lines_per_row, 36);
KEVRA_ASSERT_FIELD(kevra_confidence_idx_input, line_offset, 40);
KEVRA_ASSERT_FIELD(kevra_confidence_idx_input, sum_norm_b, 44);
KEVRA_ASSERT_FIELD(kevra_confidence_idx_input, band_margin, 48);
static_assert(sizeof(kevra_confidence_idx_input) == 52, "kevra_confidence_idx_input size");

KEVRA_ASSERT_FIELD(kevra_confidence_idx_output, confidence_idx, 0);
static_assert(sizeof(kevra_confidence_idx_output) == 8, "kevra_confidence_idx_output size");

KEVRA_ASSERT_FIELD(kevra_confidence_idx_debug_output, enable, 0);
KEVRA_ASSERT_FIELD(kevra_confidence_idx_debug_output, valid, 4);
KEVRA_ASSERT_FIELD(kevra_confidence_idx_debug_output, peak_row, 8);
KEVRA_ASSERT_FIELD(kevra_confidence_idx_debug_output, peak_zone, 12);
KEVRA_ASSERT_FIELD(kevra_confidence_idx_debug_output, mean_zone, 16);
KEVRA_ASSERT_FIELD(kevra_confidence_idx_debug_output, peak_error, 20);
KEVRA_ASSERT_FIELD(kevra_confidence_idx_debug_output, mean_error, 24);
static_assert(sizeof(kevra_confidence_idx_debug_output) == 28, "kevra_confidence_idx_debug_output size");

#undef KEVRA_ASSERT_FIELD

// The detector interface. Obtain one with createInstance(), release it with
// d->destroyInstance(d). One object serves one call at a time; separate
// objects are independent.
class KEVRA_EXPORT QORKEVRA {
public:
    static QORKEVRA* createInstance();

    virtual void destroyInstance(QORKEVRA* instance) = 0;
    virtual ~QORKEVRA();
    virtual int32_t KevrMain(kevra_parameter* param, kevra_statistic* stat, kevra_config* config,
                             kevra_fitting_result* result);
    virtual int32_t ConfidenceIndex(kevra_confidence_idx_input* input, kevra_fitting_result* result,
                                    kevra_confidence_idx_output* output,
                                    kevra_confidence_idx_debug_output* debug);

protected:
    QORKEVRA() = default;
    QORKEVRA(const QORKEVRA&) = default;
    QORKEVRA& operator=(const QORKEVRA&) = default;
};

// The detector. Its working state is fixed-size (256 statistic rows), so a run
// allocates nothing. The stage members below KevrMain are the pipeline's steps;
// they are exported for tools and tests and, unlike the two entry points,
// check none of their arguments.
class KEVRA_EXPORT AppKEVRA : public QORKEVRA {
public:
    static AppKEVRA* getInstance();

    void destroyInstance(QORKEVRA* instance) override;
    ~AppKEVRA() override;
    int32_t KevrMain(kevra_parameter* param, kevra_statistic* stat, kevra_config* config,
                     kevra_fitting_result* result) override;
    int32_t ConfidenceIndex(kevra_confidence_idx_input* input, kevra_fitting_result* result,
                            kevra_confidence_idx_output* output,
                            kevra_confidence_idx_debug_output* debug) override;

    AppKEVRA(const AppKEVRA&) = delete;
    AppKEVRA& operator=(const AppKEVRA&) = delete;

    // Detection pipeline.
    void HW_Statistic_parsing(kevra_statistic* stat, kevra_parameter* param);
    void SW_Curve_Fitting_module(kevra_parameter* param, kevra_config* config, kevra_fitting_result* result);

    // Statistic preprocessing.
    void statistic_preprocess(int row_num, float frame_ratio, kevra_parameter* param, kevra_config* config);
    void local_flicker_detect(int row_num, float (*zone_level)[256], float tolerance, float centre);
    void weight_compute(kevra_config* config, int row_num, unsigned int* count_sum);

    // Linear algebra and missing-value repair.
    void matrix_multiplication(int row_num, int unknown_num, float (*normal)[8], float (*inverse)[8]);
    void inverse_ver2(int order, float (*matrix)[8], float (*inverse)[8]);
    void nan_check_v2_6_256(float (*a)[256], int length, int columns);
    void nan_check_v2_256_4(float (*a)[4], int length, int columns);

    // Fixed-point trigonometry and model term.
    int my_cos(int angle);
    float cos_to_sin(float angle, float cosine);
    float flk_func(float p0, float p1, float p2, float p3, float p4, float p5);

    // Robust statistics.
    void median_filter(float* data, int n, kevra_parameter* param);
    void remove_outliers_ver2(float* data, int n, int* count, unsigned int* keep, int tolerance);
    int compare(const void* a, const void* b);

protected:
    friend class QORKEVRA;  // createInstance() constructs the detector
    AppKEVRA();

    // Caller buffers of the current run (row_num x 24, channel-major).
    uint32_t* stat_sum;
    uint32_t* stat_count;
    float* stat_level;

    alignas(16) uint32_t stat_high[256][24];         // top byte of each count word
    alignas(16) float zone_level[6][256];            // channel-1 level per zone and row
    alignas(16) int32_t sample_keep[256][24];        // -1 keep, 0 drop
    alignas(16) uint32_t local_flicker_count[6];     // longest flat run per zone
    alignas(16) float zone_weight[6];
    alignas(16) float zone_weight_base[6];
    alignas(16) int32_t zone_high_class[6];
    alignas(16) int32_t zone_flicker_class[6];
    alignas(16) float row_level[256][4];             // level per row and channel
    alignas(16) float design[8][256];                // rows 0..6 derivatives, row 7 residual
    alignas(16) float fit_delta[7];
    float frame_ratio;
};

#endif  // KEVRA_H
