// ConfidenceIndex on arbitrary records and rows: a refusal writes nothing, an
// accepted call writes all of the output and (when enabled) of the debug
// record and nothing else, keeps their invariants, and gives the same index
// with or without debug figures.
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

enum Pointer { kInput, kResult, kOutput, kDebug, kStatLevel, kStatSum };

struct Call {
    int null_pick;
    kevra_confidence_idx_input input;
    kevra_fitting_result result;
    kevra_confidence_idx_debug_output debug;
    kevra_confidence_idx_output output;
    size_t words;
    Buffer<float> stat_level{0};
    Buffer<uint32_t> stat_sum{0};

    Call(const uint8_t* data, size_t size) {
        Reader in(data, size);
        null_pick = in.take<uint8_t>();
        input = in.take<kevra_confidence_idx_input>();
        result = in.take<kevra_fitting_result>();
        debug = in.take<kevra_confidence_idx_debug_output>();
        std::memset(&output, 0xA5, sizeof output);
        if (input.row_num > kConfidenceMaxRows) input.row_num = 1 + (input.row_num - 1) % kConfidenceMaxRows;
        const size_t rows = input.row_num > 0 ? static_cast<size_t>(input.row_num) : 0;
        words = 24 * rows;
        Buffer<uint32_t> row_words(2 * words);
        in.cycle(row_words.data(), row_words.size());
        stat_level = Buffer<float>(words);
        stat_sum = Buffer<uint32_t>(words);
        for (size_t r = 0; r < rows; ++r) {
            std::memcpy(stat_level.data() + 24 * r, row_words.data() + 48 * r, 24 * sizeof(float));
            std::memcpy(stat_sum.data() + 24 * r, row_words.data() + 48 * r + 24, 24 * sizeof(uint32_t));
        }
        result.stat_level = present(kStatLevel) ? stat_level.data() : nullptr;
        result.stat_sum = present(kStatSum) ? stat_sum.data() : nullptr;
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    bool present(Pointer p) const { return null_pick != p; }

    int32_t call(AppKEVRA& d, bool with_debug) {
        return d.ConfidenceIndex(present(kInput) ? &input : nullptr, present(kResult) ? &result : nullptr,
                                 present(kOutput) ? &output : nullptr,
                                 with_debug && present(kDebug) ? &debug : nullptr);
    }

    // A null debug record only means that none is wanted; rows need both buffers.
    bool acceptable() const {
        if (!present(kInput) || !present(kResult) || !present(kOutput)) return false;
        return input.row_num < 1 || (present(kStatLevel) && present(kStatSum));
    }

    Snapshot inputs() const { return Snapshot().add(&input).add(&result).add(stat_level).add(stat_sum); }
};

void check_debug(const kevra_confidence_idx_debug_output& d, int32_t row_num) {
    FUZZ_CHECK(d.valid == 1);
    FUZZ_CHECK(d.peak_zone >= 0 && d.peak_zone < 6);
    FUZZ_CHECK(d.mean_zone >= 0 && d.mean_zone < 6);
    FUZZ_CHECK(d.peak_error >= 0.0f && d.mean_error >= 0.0f);  // neither negative nor NaN
    if (row_num < 1) {
        FUZZ_CHECK(d.peak_row == -1);
    } else {
        FUZZ_CHECK(d.peak_row >= 0 && d.peak_row < row_num);
    }
}

}  // namespace

void confidence_index_target(const uint8_t* data, size_t size) {
    Call c(data, size);
    auto detector = std::make_unique<kevra_test::Probe>();
    const Snapshot inputs = c.inputs();
    const kevra_confidence_idx_debug_output debug = c.debug;
    const kevra_confidence_idx_output output = c.output;
    const Snapshot state = Snapshot().add(detector.get());

    const int32_t status = c.call(*detector, true);
    FUZZ_CHECK(status == (c.acceptable() ? KEVRA_STATUS_OK : KEVRA_STATUS_INVALID_ARGUMENT));
    FUZZ_CHECK(c.inputs() == inputs);
    FUZZ_CHECK(Snapshot().add(detector.get()) == state);
    if (status != KEVRA_STATUS_OK) {
        FUZZ_CHECK(same_bits(&c.output, &output, sizeof output));
        FUZZ_CHECK(same_bits(&c.debug, &debug, sizeof debug));
        return;
    }
    const float index = c.output.confidence_idx[0];
    FUZZ_CHECK(same_bits(&c.output.confidence_idx[0], &c.output.confidence_idx[1], sizeof index));
    FUZZ_CHECK(!(index < 0.0f));
    if (c.present(kDebug) && debug.enable != 0) {
        check_debug(c.debug, c.input.row_num);
    } else {
        FUZZ_CHECK(same_bits(&c.debug, &debug, sizeof debug));
    }

    // Every output byte is written: calls whose output (and enabled debug
    // fields) start from other bytes end with the same ones, also without a
    // debug record.
    Call other(data, size);
    invert_bytes(&other.output, sizeof other.output);
    if (c.present(kDebug) && debug.enable != 0) {
        invert_bytes(&other.debug.valid, sizeof debug - offsetof(kevra_confidence_idx_debug_output, valid));
    }
    FUZZ_CHECK(other.call(*detector, true) == KEVRA_STATUS_OK);
    FUZZ_CHECK(same_bits(&other.output, &c.output, sizeof output));
    FUZZ_CHECK(same_bits(&other.debug, &c.debug, sizeof debug));
    Call quiet(data, size);
    invert_bytes(&quiet.output, sizeof quiet.output);
    FUZZ_CHECK(quiet.call(*detector, false) == KEVRA_STATUS_OK);
    FUZZ_CHECK(same_bits(&quiet.output, &c.output, sizeof output));
}

}  // namespace kevra_fuzz
