// KevrMain on arbitrary records and streams: a refusal writes nothing, an
// accepted run writes all of its outputs and nothing else, and the outputs (and
// the working state of the run's rows) depend only on the call's inputs, not on
// what the detector or the output buffers held before.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "fuzz_input.h"
#include "kevra.h"
#include "support/probe.h"
#include "targets.h"

namespace kevra_fuzz {

namespace {

enum Pointer {
    kParam, kStat, kConfig, kResult, kStartTime, kSumStream, kCountStream, kStatSum, kStatCount, kStatLevel
};

// Preset in every output buffer; a refusal must leave it.
constexpr unsigned char kCanary = 0xA5;

// The records and buffers of one call, built from the fuzzer's bytes. Buffers
// hold exactly row_num x 24 entries (none for a row_num outside 0..256).
struct Run {
    int null_pick;
    kevra_parameter param;
    kevra_config config;
    kevra_fitting_result result;
    float start_time;
    kevra_statistic stat{};
    size_t words;
    Buffer<uint32_t> sum_stream{0}, count_stream{0}, stat_sum{0}, stat_count{0};
    Buffer<float> stat_level{0};

    Run(const uint8_t* data, size_t size) {
        Reader in(data, size);
        null_pick = in.take<uint8_t>();
        const uint8_t row_mode = in.take<uint8_t>();
        param = in.take<kevra_parameter>();
        config = in.take<kevra_config>();
        result = in.take<kevra_fitting_result>();
        start_time = in.take<float>();
        if ((row_mode & 1) == 0 && (param.row_num < 0 || param.row_num > KEVRA_MAX_ROWS)) {
            param.row_num = static_cast<int32_t>(static_cast<uint32_t>(param.row_num) % (KEVRA_MAX_ROWS + 1));
        }
        if (config.max_iterations > kMaxIterationsCap) config.max_iterations %= kMaxIterationsCap + 1;

        const bool holdable = param.row_num >= 0 && param.row_num <= KEVRA_MAX_ROWS;
        words = holdable ? 24 * static_cast<size_t>(param.row_num) : 0;
        Buffer<uint32_t> streams(2 * words);
        in.cycle(streams.data(), streams.size());
        sum_stream = Buffer<uint32_t>(words);
        count_stream = Buffer<uint32_t>(words);
        std::copy_n(streams.data(), words, sum_stream.data());
        std::copy_n(streams.data() + words, words, count_stream.data());
        stat_sum = Buffer<uint32_t>(words);
        stat_count = Buffer<uint32_t>(words);
        stat_level = Buffer<float>(words);
        stat_sum.fill_bytes(kCanary);
        stat_count.fill_bytes(kCanary);
        stat_level.fill_bytes(kCanary);

        param.start_time = present(kStartTime) ? &start_time : nullptr;
        stat.sum_stream = present(kSumStream) ? sum_stream.data() : nullptr;
        stat.count_stream = present(kCountStream) ? count_stream.data() : nullptr;
        result.stat_sum = present(kStatSum) ? stat_sum.data() : nullptr;
        result.stat_count = present(kStatCount) ? stat_count.data() : nullptr;
        result.stat_level = present(kStatLevel) ? stat_level.data() : nullptr;
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    bool present(Pointer p) const { return null_pick != p; }

    int32_t call(AppKEVRA& d) {
        return d.KevrMain(present(kParam) ? &param : nullptr, present(kStat) ? &stat : nullptr,
                          present(kConfig) ? &config : nullptr, present(kResult) ? &result : nullptr);
    }

    // What the interface promises to refuse: a missing record, start time or
    // (with rows to read) buffer, or a count or index it cannot hold.
    bool acceptable() const {
        for (Pointer p : {kParam, kStat, kConfig, kResult, kStartTime}) {
            if (!present(p)) return false;
        }
        if (param.row_num < 0 || param.row_num > KEVRA_MAX_ROWS) return false;
        if (param.ratio_index < 0 || param.ratio_index > 2) return false;
        if (param.row_num == 0) return true;
        for (Pointer p : {kSumStream, kCountStream, kStatSum, kStatCount, kStatLevel}) {
            if (!present(p)) return false;
        }
        return true;
    }

    // Everything a run may not write.
    Snapshot inputs() const {
        Snapshot s;
        s.add(reinterpret_cast<const unsigned char*>(&param), offsetof(kevra_parameter, fit_iterations));
        s.add(reinterpret_cast<const unsigned char*>(&result) + offsetof(kevra_fitting_result, reserved_0x74),
              sizeof result - offsetof(kevra_fitting_result, reserved_0x74));
        return s.add(&config).add(&stat).add(&start_time).add(sum_stream).add(count_stream);
    }

    // Sets every output byte to another value, so that a second run shows any
    // output the library leaves unwritten.
    void invert_outputs() {
        invert_bytes(&result, offsetof(kevra_fitting_result, reserved_0x74));
        invert_bytes(param.fit_iterations, sizeof param.fit_iterations);
        invert_bytes(stat_sum.data(), words * sizeof(uint32_t));
        invert_bytes(stat_count.data(), words * sizeof(uint32_t));
        invert_bytes(stat_level.data(), words * sizeof(float));
    }

    // Everything a run writes.
    Snapshot outputs() const {
        Snapshot s;
        s.add(reinterpret_cast<const unsigned char*>(&result), offsetof(kevra_fitting_result, reserved_0x74));
        return s.add(param.fit_iterations, 4).add(stat_sum).add(stat_count).add(stat_level);
    }
};

// A detector whose working state holds nothing a run may rely on: every array
// and frame_ratio filled with 0xFF bytes (NaN, -1 or the largest count).
std::unique_ptr<kevra_test::Probe> spoiled_detector() {
    auto d = std::make_unique<kevra_test::Probe>();
    const auto spoil = [](auto&... members) { (std::memset(&members, 0xFF, sizeof members), ...); };
    spoil(d->stat_high, d->zone_level, d->sample_keep, d->local_flicker_count, d->zone_weight, d->zone_weight_base,
          d->zone_high_class, d->zone_flicker_class, d->row_level, d->design, d->fit_delta, d->frame_ratio);
    return d;
}

// The working state that a run writes for its rows before it reads it.
Snapshot run_state(const kevra_test::Probe& d, int32_t rows) {
    Snapshot s;
    s.add(d.stat_high, rows).add(d.sample_keep, rows).add(d.row_level, rows);
    for (const float* zone : d.zone_level) s.add(zone, rows);
    return s.add(d.local_flicker_count, 6).add(d.zone_weight, 6).add(d.zone_weight_base, 6).add(&d.frame_ratio);
}

void check_outputs(const Run& r) {
    FUZZ_CHECK(r.result.flicker_detected <= 1);
    const int64_t most = std::max<int64_t>(0, int64_t{r.config.max_iterations} + 1);
    for (int32_t n : r.param.fit_iterations) FUZZ_CHECK(n >= 0 && n <= most);
    for (size_t i = 0; i < r.words; ++i) FUZZ_CHECK((r.stat_sum[i] | r.stat_count[i]) <= 0x00FFFFFFu);
}

}  // namespace

void kevr_main_target(const uint8_t* data, size_t size) {
    Run run(data, size);
    auto fresh = std::make_unique<kevra_test::Probe>();
    const Snapshot inputs = run.inputs();
    const Snapshot outputs = run.outputs();
    const Snapshot detector = Snapshot().add(fresh.get());

    const int32_t status = run.call(*fresh);
    FUZZ_CHECK(status == (run.acceptable() ? KEVRA_STATUS_OK : KEVRA_STATUS_INVALID_ARGUMENT));
    FUZZ_CHECK(run.inputs() == inputs);
    if (status != KEVRA_STATUS_OK) {
        FUZZ_CHECK(run.outputs() == outputs);
        FUZZ_CHECK(Snapshot().add(fresh.get()) == detector);
        return;
    }
    check_outputs(run);

    Run again(data, size);
    again.invert_outputs();
    const auto spoiled = spoiled_detector();
    FUZZ_CHECK(again.call(*spoiled) == KEVRA_STATUS_OK);
    FUZZ_CHECK(again.outputs() == run.outputs());
    FUZZ_CHECK(run_state(*spoiled, run.param.row_num) == run_state(*fresh, run.param.row_num));
}

}  // namespace kevra_fuzz
