// Writes the seed corpus of the fuzz targets (layouts in targets.h): runs on
// synthetic flicker scenes, every refused call, and the worked examples of the
// numeric members. Usage: kevra_fuzz_seeds <corpus directory>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "kevra.h"
#include "robustness/scene_run.h"
#include "support/flicker_run.h"
#include "support/probe.h"

namespace {

using kevra_test::FlickerRun;

class Bytes {
public:
    template <class T>
    Bytes& put(const T& value, size_t n = 1) {
        const auto* b = reinterpret_cast<const unsigned char*>(&value);
        data_.insert(data_.end(), b, b + n * sizeof(T));
        return *this;
    }
    const std::vector<unsigned char>& data() const { return data_; }

private:
    std::vector<unsigned char> data_;
};

std::string g_root;

void write(const std::string& target, const std::string& name, const Bytes& b) {
    const std::string dir = g_root + "/" + target;
    mkdir(dir.c_str(), 0755);
    const std::string path = dir + "/" + name;
    FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr || std::fwrite(b.data().data(), 1, b.data().size(), f) != b.data().size()) {
        std::perror(path.c_str());
        std::exit(1);
    }
    std::fclose(f);
}

constexpr uint8_t kNone = 0xFF;

constexpr unsigned char kCanary = 0xA5;

template <class T>
void fill(T& field) {
    std::memset(&field, kCanary, sizeof field);
}

// The outputs and spans the library does not own hold canary bytes, so that a
// refused or an accepted run that writes where it should not shows.
Bytes kevr_main_input(const FlickerRun& r, uint8_t null_pick, uint8_t row_mode, int32_t row_num) {
    kevra_parameter param = r.param;
    param.start_time = nullptr;
    param.row_num = row_num;
    fill(param.reserved_0x24);
    fill(param.fit_iterations);
    kevra_config config = r.config;
    fill(config.reserved_0x00);
    fill(config.reserved_0x0c);
    fill(config.reserved_0x98);
    fill(config.reserved_0x330);
    kevra_fitting_result result;
    fill(result);
    const size_t words = row_num > 0 && row_num <= 256 ? 24 * static_cast<size_t>(row_num) : 0;
    Bytes b;
    b.put(null_pick).put(row_mode).put(param).put(config).put(result).put(r.start_time);
    if (words != 0) b.put(r.sum_stream[0], words).put(r.count_stream[0], words);
    return b;
}

void kevr_main_seeds() {
    auto flicker = std::make_unique<FlickerRun>(256, 50, 0.05, 1);
    write("kevr_main", "flicker-50hz-256-rows", kevr_main_input(*flicker, kNone, 0, 256));

    auto computed = std::make_unique<FlickerRun>(64, 60, 0.08, 2);
    computed->config.weight_enable = 1;
    computed->config.weight_base_x10 = 20;
    computed->config.weight_exponent_x10 = 10;
    write("kevr_main", "flicker-60hz-computed-weights", kevr_main_input(*computed, kNone, 0, 64));

    auto fixed = std::make_unique<FlickerRun>(17, 50, 0.0, 3);
    fixed->config.weight_enable = 1;
    fixed->config.weight_fixed = 1;
    for (int z = 0; z < 6; ++z) fixed->config.fixed_weight[z] = float(z + 1);
    write("kevr_main", "steady-fixed-weights", kevr_main_input(*fixed, kNone, 0, 17));

    auto started = std::make_unique<FlickerRun>(40, 50, 0.1, 4);
    started->config.use_initial_values = 1;
    for (int c = 0; c < 4; ++c) {
        started->config.init_offset[c] = 1.0f;
        started->config.init_amplitude1[c] = -0.1f;
        started->config.init_amplitude2[c] = 0.01f;
    }
    started->config.init_phase1[1] = 2500.0f;
    write("kevr_main", "configured-start", kevr_main_input(*started, kNone, 0, 40));
    write("kevr_main", "zero-rows", kevr_main_input(*started, kNone, 0, 0));

    // Every refusal, on a small run that would otherwise be accepted.
    auto small = std::make_unique<FlickerRun>(2, 50, 0.05, 5);
    const char* pointers[] = {"param",      "stat",         "config",   "result",    "start-time",
                              "sum-stream", "count-stream", "stat-sum", "stat-count", "stat-level"};
    for (uint8_t p = 0; p < 10; ++p) {
        write("kevr_main", std::string("refuse-null-") + pointers[p], kevr_main_input(*small, p, 0, 2));
    }
    for (const int32_t rows : {-1, 257, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()}) {
        write("kevr_main", "refuse-row-num-" + std::to_string(rows), kevr_main_input(*small, kNone, 1, rows));
    }
    small->param.ratio_index = 3;
    write("kevr_main", "refuse-ratio-index-3", kevr_main_input(*small, kNone, 0, 2));
}

// The records of a confidence call.
struct ConfidenceCall {
    kevra_confidence_idx_input input{};
    kevra_fitting_result result{};
    kevra_confidence_idx_debug_output debug{};
    std::vector<float> level;
    std::vector<uint32_t> sum;

    Bytes bytes(uint8_t null_pick) const {
        kevra_fitting_result r = result;
        r.stat_level = nullptr;
        r.stat_sum = nullptr;
        r.stat_count = nullptr;
        kevra_confidence_idx_debug_output d;
        fill(d);
        d.enable = debug.enable;
        Bytes b;
        b.put(null_pick).put(input).put(r).put(d);
        for (size_t row = 0; row * 24 < level.size(); ++row) b.put(level[24 * row], 24).put(sum[24 * row], 24);
        return b;
    }
};

ConfidenceCall after_run(int rows, int mains, double depth, unsigned seed) {
    auto scene = std::make_unique<kevra_test::SceneRun>(rows, mains, depth, seed);
    auto d = std::make_unique<kevra_test::Probe>();
    if (!scene->detect(*d)) std::exit(1);
    ConfidenceCall c;
    c.input = scene->input;
    c.result = scene->run.result;
    c.debug.enable = 1;
    const size_t words = 24 * static_cast<size_t>(rows);
    c.level.assign(scene->run.stat_level, scene->run.stat_level + words);
    c.sum.assign(scene->run.stat_sum, scene->run.stat_sum + words);
    return c;
}

void confidence_seeds() {
    write("confidence_index", "flicker-50hz-256-rows", after_run(256, 50, 0.05, 6).bytes(kNone));

    ConfidenceCall quiet = after_run(61, 60, 0.0, 7);
    quiet.debug.enable = 0;
    write("confidence_index", "steady-debug-off", quiet.bytes(kNone));
    write("confidence_index", "null-debug", quiet.bytes(3));

    // One row: levels {90, 91, 95, 101, 102, 87}, sums {1, 2, 4, 1, 1, 1}
    // around offset 100, amplitude 10, margin 2. Also read as 300 rows.
    ConfidenceCall worked;
    worked.input.lines_per_row = 16;
    worked.input.sum_norm_a = 1;
    worked.input.sum_norm_b = 2;
    worked.input.band_margin = 2.0f;
    worked.input.row_num = 1;
    worked.result.offset[1] = 100.0f;
    worked.result.amplitude1[1] = 10.0f;
    worked.debug.enable = 1;
    worked.level.assign(24, -32768.0f);
    worked.sum.assign(24, 0);
    const float x[6] = {90, 91, 95, 101, 102, 87};
    const uint32_t s[6] = {1, 2, 4, 1, 1, 1};
    for (int z = 0; z < 6; ++z) {
        worked.level[6 + z] = x[z];
        worked.sum[6 + z] = s[z];
    }
    write("confidence_index", "worked-example", worked.bytes(kNone));
    worked.input.row_num = 300;
    write("confidence_index", "worked-example-300-rows", worked.bytes(kNone));
    worked.input.row_num = -5;
    write("confidence_index", "negative-rows", worked.bytes(kNone));

    worked.input.row_num = 1;
    const char* pointers[] = {"input", "result", "output", "debug", "stat-level", "stat-sum"};
    for (uint8_t p : {0, 1, 2, 4, 5}) {
        write("confidence_index", std::string("refuse-null-") + pointers[p], worked.bytes(p));
    }
}

using Matrix = float[8][8];

void solver_seeds() {
    Matrix identity = {}, exchange = {}, zero = {}, scratch = {};
    for (int i = 0; i < 8; ++i) {
        identity[i][i] = 1.0f;
        for (int j = 0; j < 8; ++j) {
            exchange[i][j] = float((i + 2 * j) % 7) + (i == j ? 8.0f : 0.0f);
            scratch[i][j] = -1.5f;
        }
    }
    exchange[0][0] = 0.0f;
    const struct {
        const char* name;
        const Matrix& m;
    } inverses[] = {{"inverse-identity", identity}, {"inverse-row-exchange", exchange}, {"inverse-zero", zero}};
    for (const auto& c : inverses) {
        write("solver", c.name, Bytes().put(uint8_t{0}).put(int32_t{7}).put(c.m).put(scratch));
    }

    // The design rows of the last iteration of a real fit.
    auto run = std::make_unique<FlickerRun>(256, 50, 0.05, 8);
    auto d = std::make_unique<kevra_test::Probe>();
    if (d->KevrMain(&run->param, &run->stat, &run->config, &run->result) != KEVRA_STATUS_OK) std::exit(1);
    for (const int32_t rows : {256, 19, 0}) {
        Bytes b;
        b.put(uint8_t{1}).put(rows).put(int32_t{7}).put(zero).put(zero).put(d->design);
        write("solver", "step-" + std::to_string(rows) + "-rows", b);
    }
    write("solver", "step-three-unknowns",
          Bytes().put(uint8_t{1}).put(int32_t{64}).put(int32_t{3}).put(scratch).put(scratch).put(d->design));
}

void numeric_seeds() {
    const std::string t = "numeric_members";
    write(t, "my-cos", Bytes().put(uint8_t{0}).put(int32_t{11392}));
    write(t, "my-cos-int-min", Bytes().put(uint8_t{0}).put(std::numeric_limits<int32_t>::min()));
    write(t, "cos-to-sin", Bytes().put(uint8_t{1}).put(-3.0f).put(std::cos(-3.0f)));
    write(t, "flk-func", Bytes().put(uint8_t{2}).put(1.0f).put(2.0f).put(3.0f).put(4.0f).put(5.0f).put(6.0f));
    write(t, "compare-nan", Bytes().put(uint8_t{3}).put(1.0f).put(std::numeric_limits<float>::quiet_NaN()));
    const float median[7] = {1, 9, 2, 8, 3, 7, 4};
    write(t, "median-filter", Bytes().put(uint8_t{4}).put(int16_t{7}).put(median));
    const float outliers[5] = {1.0f, 1.1f, 0.9f, 5.0f, -32767.0f};
    write(t, "remove-outliers", Bytes().put(uint8_t{5}).put(int16_t{5}).put(int32_t{100}).put(outliers));
    const float zones[6] = {-32767.0f, 10.0f, -32767.0f, -32767.0f, 40.0f, -32767.0f};
    Bytes zone_repair;
    zone_repair.put(uint8_t{6}).put(int16_t{6}).put(int16_t{256});
    for (const float z : zones) {
        for (int row = 0; row < 256; ++row) zone_repair.put(row % 3 == 0 ? z : float(row));
    }
    write(t, "zone-repair", zone_repair);
    Bytes row_repair;
    row_repair.put(uint8_t{7}).put(int16_t{256}).put(int16_t{4});
    for (int row = 0; row < 256; ++row) {
        for (int c = 0; c < 4; ++c) row_repair.put(row % 5 == c ? -1.0f : float(row + c));
    }
    write(t, "row-repair", row_repair);
    Bytes flat;
    flat.put(uint8_t{8}).put(uint16_t{256}).put(0.02f).put(1.0f);
    for (int i = 0; i < 6 * 256; ++i) flat.put(1.0f + 0.01f * std::sin(0.1f * float(i)));
    write(t, "local-flicker", flat);
    kevra_config config{};
    config.high_full_scale = 255;
    config.weight_base_x10 = 20;
    config.weight_exponent_x10 = 10;
    const uint32_t counts[6] = {4000000, 3000000, 0, 5000000, 4000000, 1000};
    const uint32_t runs[6] = {3, 30, 60, 0, 256, 100};
    Bytes weights;
    weights.put(uint8_t{9}).put(config).put(uint16_t{256}).put(counts).put(runs).put(uint8_t{200});
    write(t, "weight-compute", weights);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <corpus directory>\n", argv[0]);
        return 2;
    }
    g_root = argv[1];
    mkdir(g_root.c_str(), 0755);
    kevr_main_seeds();
    confidence_seeds();
    solver_seeds();
    numeric_seeds();
    return 0;
}
