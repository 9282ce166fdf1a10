// kevra scene answer: is the scene lit by flickering light, and at 50 or 60 Hz?
//
// A camera stack calls ProcessFrame once per frame, on its own thread, with
// the frame's raw statistics streams and its timing. The answer combines the
// evidence of the last few frames: a lamp's ripple is locked to absolute time,
// the picture to the sensor rows, so between frames the two move against each
// other by the frame interval modulo the ripple period. Each frame's evidence
// is measured per zone of the frame, under both mains hypotheses.
//
// The records are plain structures; their layouts are part of the binary
// interface and are pinned by the static_asserts below.
#ifndef KEVRA_SCENE_H
#define KEVRA_SCENE_H

#include "kevra.h"

// Answers, as Android's scene-flicker result reports them (plus UNKNOWN).
constexpr int32_t KEVRA_SCENE_UNKNOWN = -1;  // the evidence does not decide yet
constexpr int32_t KEVRA_SCENE_NONE = 0;      // no visible ripple
constexpr int32_t KEVRA_SCENE_50HZ = 50;     // 100 Hz ripple: 50 Hz mains
constexpr int32_t KEVRA_SCENE_60HZ = 60;     // 120 Hz ripple: 60 Hz mains

// Frames remembered: the answer draws on at most this many consecutive frames.
constexpr int KEVRA_SCENE_HISTORY = 6;

// One frame as the statistics hardware and the sensor driver describe it.
struct kevra_scene_frame {
    const uint32_t* sum_stream;    // row_num x 24 raw words, as for KevrMain
    const uint32_t* count_stream;  // row_num x 24 raw words
    int64_t timestamp_ns;          // start of exposure of sensor line 0, monotonic clock
    float exposure_time;           // us
    float line_time;               // us per sensor line
    int32_t row_num;               // statistic rows, 1..256
    int32_t lines_per_row;         // sensor lines per statistic row, >= 1
};

// The evidence for one mains hypothesis after the latest frame.
struct kevra_scene_evidence {
    int32_t mains_frequency;  // 50 or 60
    int32_t pairs;            // frame pairs that carried evidence (ripple moved between them)
    float ripple;             // estimated visible ripple in the latest frame, peak to peak / mean level
    float fit;                // 0..1: share of the frames' changes that this hypothesis explains
    float drift;              // ripple shift against the rows between the last two frames, fraction of a period (0..0.5)
    float single_frame;       // ripple-frequency content of the latest frame alone, peak to peak / mean level
    float score;              // log-likelihood-like support for this hypothesis (higher is stronger)
    uint8_t reserved[4];
};

struct kevra_scene_result {
    int32_t scene_flicker;    // KEVRA_SCENE_UNKNOWN, _NONE, _50HZ or _60HZ
    float confidence;         // 0..1: how firmly the evidence backs the answer
    float ripple_period_us;   // keep exposure times at whole multiples of this; 0 when none is needed or known
    int32_t frames;           // consecutive frames behind the answer (since the last reset)
    kevra_scene_evidence evidence[2];  // [0] 50 Hz, [1] 60 Hz
};

#define KEVRA_SCENE_ASSERT_FIELD(record, field, offset) \
    static_assert(offsetof(record, field) == (offset), #record "." #field " moved")

KEVRA_SCENE_ASSERT_FIELD(kevra_scene_frame, sum_stream, 0);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_frame, count_stream, 8);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_frame, timestamp_ns, 16);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_frame, exposure_time, 24);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_frame, line_time, 28);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_frame, row_num, 32);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_frame, lines_per_row, 36);
static_assert(sizeof(kevra_scene_frame) == 40, "kevra_scene_frame size");

KEVRA_SCENE_ASSERT_FIELD(kevra_scene_evidence, mains_frequency, 0);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_evidence, pairs, 4);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_evidence, ripple, 8);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_evidence, fit, 12);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_evidence, drift, 16);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_evidence, single_frame, 20);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_evidence, score, 24);
static_assert(sizeof(kevra_scene_evidence) == 32, "kevra_scene_evidence size");

KEVRA_SCENE_ASSERT_FIELD(kevra_scene_result, scene_flicker, 0);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_result, confidence, 4);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_result, ripple_period_us, 8);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_result, frames, 12);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_result, evidence, 16);
static_assert(sizeof(kevra_scene_result) == 80, "kevra_scene_result size");

// How the classifier may steer the camera. A record that can grow: the caller
// sets `size` to sizeof(kevra_scene_settings) as it was built, and fields
// beyond that size keep their defaults.
struct kevra_scene_settings {
    uint32_t size;              // sizeof(kevra_scene_settings) of the caller's header
    int32_t probe;              // 1: may ask for a longer frame interval where frames alone cannot decide; 0: never (default)
    int64_t longest_extra_ns;   // most one request may add to the camera's own frame interval; 0..100 ms, default 5 ms
    int64_t recheck_ns;         // once the answer is settled, ask again at most this often; 0: never; default 10 s
};

// What the classifier asks of the camera after the latest frame.
struct kevra_scene_request {
    uint32_t size;              // sizeof(kevra_scene_request) of the caller's header
    int32_t hypotheses;         // mains frequencies the request would test: 0, 50, 60, or 110 for both
    int64_t frame_interval_ns;  // 0: nothing asked; else the time wanted from the latest frame's timestamp to the next one's
};

KEVRA_SCENE_ASSERT_FIELD(kevra_scene_settings, size, 0);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_settings, probe, 4);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_settings, longest_extra_ns, 8);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_settings, recheck_ns, 16);
static_assert(sizeof(kevra_scene_settings) == 24, "kevra_scene_settings size");

KEVRA_SCENE_ASSERT_FIELD(kevra_scene_request, size, 0);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_request, hypotheses, 4);
KEVRA_SCENE_ASSERT_FIELD(kevra_scene_request, frame_interval_ns, 8);
static_assert(sizeof(kevra_scene_request) == 16, "kevra_scene_request size");

#undef KEVRA_SCENE_ASSERT_FIELD

// The scene classifier. Obtain one with createInstance() (the only allocation
// it makes), release it with s->destroyInstance(s). Its state is the evidence
// of the last KEVRA_SCENE_HISTORY frames. One object serves one call at a time.
class KEVRA_EXPORT QORKEVRASCENE {
public:
    static QORKEVRASCENE* createInstance();

    virtual void destroyInstance(QORKEVRASCENE* instance) = 0;
    virtual ~QORKEVRASCENE();

    // Adds one frame and writes the answer after it. Returns KEVRA_STATUS_OK, or
    // KEVRA_STATUS_INVALID_ARGUMENT, and then neither the state nor *result
    // changes, for: a null pointer; row_num outside 1..256; lines_per_row below
    // 1; an exposure_time or line_time that is zero, negative, infinite or NaN;
    // a frame whose rows and exposure span more than 10 s
    // (row_num x lines_per_row x line_time + exposure_time > 1e7 us); a
    // timestamp not after the previous frame's, or more than INT64_MAX ns after
    // it. A frame of another row_num, lines_per_row or line_time than the
    // previous one, or more than 250 ms after it, is accepted and starts the
    // evidence and the reported answer anew. `frames` stops at INT32_MAX.
    virtual int32_t ProcessFrame(const kevra_scene_frame* frame, kevra_scene_result* result) = 0;

    // Forgets every frame: for a camera switch or a sensor mode change.
    virtual void Reset() = 0;

    // Replaces the settings; the evidence gathered so far stays. Returns
    // KEVRA_STATUS_INVALID_ARGUMENT, changing nothing, for a null pointer, a
    // size below 8 or a value out of range.
    virtual int32_t SetSettings(const kevra_scene_settings* settings) = 0;

    // Writes the settings in force, as many fields as settings->size holds.
    virtual int32_t GetSettings(kevra_scene_settings* settings) const = 0;

    // The timing request after the latest frame, as many fields as
    // request->size holds. A camera stack may honour it late or not at all:
    // answers rest only on the timestamps and exposures frames report.
    virtual int32_t GetTimingRequest(kevra_scene_request* request) const = 0;

protected:
    QORKEVRASCENE() = default;
    QORKEVRASCENE(const QORKEVRASCENE&) = default;
    QORKEVRASCENE& operator=(const QORKEVRASCENE&) = default;
};

#endif  // KEVRA_SCENE_H
