// The scene classifier on arbitrary frames: a refused frame changes neither
// the result nor the classifier (a second classifier fed only the accepted
// frames answers the same, bit for bit), and every answer is well formed.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz_input.h"
#include "kevra_scene.h"
#include "targets.h"

namespace kevra_fuzz {

namespace {

struct FrameBytes {
    uint8_t null_pick;  // 1: sum stream, 2: count stream, 3: result; else none
    int32_t row_num;    // folded into -1..300
    int32_t lines_per_row;  // folded into -1..62
    float exposure_time;
    float line_time;
    int64_t step_ns;    // from the previous frame's timestamp
};

struct Classifier {
    std::unique_ptr<QORKEVRASCENE, void (*)(QORKEVRASCENE*)> s{QORKEVRASCENE::createInstance(),
                                                             [](QORKEVRASCENE* c) { c->destroyInstance(c); }};
};

bool well_formed(const kevra_scene_result& r) {
    const int32_t a = r.scene_flicker;
    if (a != KEVRA_SCENE_UNKNOWN && a != KEVRA_SCENE_NONE && a != KEVRA_SCENE_50HZ && a != KEVRA_SCENE_60HZ) return false;
    if (!(r.confidence >= 0.0f && r.confidence <= 1.0f) || r.frames < 1) return false;
    const bool flicker = a == KEVRA_SCENE_50HZ || a == KEVRA_SCENE_60HZ;
    if ((r.ripple_period_us > 0.0f) != flicker) return false;
    return r.evidence[0].mains_frequency == 50 && r.evidence[1].mains_frequency == 60 && r.evidence[0].pairs >= 0 &&
           r.evidence[1].pairs >= 0;
}

}  // namespace

void scene_target(const uint8_t* data, size_t size) {
    Reader in(data, size);
    constexpr int kFrames = 4;
    FrameBytes frames[kFrames];
    for (FrameBytes& f : frames) f = in.take<FrameBytes>();
    int64_t timestamp = 0;
    Classifier fuzzed, reference;
    for (int k = 0; k < kFrames; ++k) {
        const FrameBytes& f = frames[k];
        const int32_t rows = int32_t(uint32_t(f.row_num) % 302u) - 1;
        const size_t words = size_t(rows > 0 ? rows : 0) * 24;
        Buffer<uint32_t> sum(words), count(words);
        in.cycle(sum.data(), words);
        in.cycle(count.data(), words);
        for (size_t i = 0; i < words; ++i) sum[i] ^= uint32_t(k) * 0x9E3779B9u;  // frames differ
        timestamp = int64_t(uint64_t(timestamp) + uint64_t(f.step_ns));
        kevra_scene_frame frame{f.null_pick == 1 ? nullptr : sum.data(), f.null_pick == 2 ? nullptr : count.data(),
                                timestamp, f.exposure_time, f.line_time, rows,
                                int32_t(uint32_t(f.lines_per_row) % 64u) - 1};
        kevra_scene_result result;
        std::memset(&result, 0x5A, sizeof result);
        const kevra_scene_result untouched = result;
        const int32_t status = fuzzed.s->ProcessFrame(&frame, f.null_pick == 3 ? nullptr : &result);
        if (status != KEVRA_STATUS_OK) {
            FUZZ_CHECK(status == KEVRA_STATUS_INVALID_ARGUMENT);
            FUZZ_CHECK(same_bits(&result, &untouched, sizeof result));
            continue;
        }
        FUZZ_CHECK(well_formed(result));
        kevra_scene_result again{};
        FUZZ_CHECK(reference.s->ProcessFrame(&frame, &again) == KEVRA_STATUS_OK);
        FUZZ_CHECK(same_bits(&result, &again, sizeof result));
    }
}

}  // namespace kevra_fuzz
