// The scene classifier behind QORKEVRASCENE: fixed-size state.
#ifndef KEVRA_SCENE_SCENE_CLASSIFIER_H
#define KEVRA_SCENE_SCENE_CLASSIFIER_H

#include <cstdint>

#include "kevra.h"
#include "kevra_scene.h"
#include "scene/answer_hold.h"
#include "scene/harmonic_projection.h"
#include "scene/hypothesis_evidence.h"
#include "scene/probe_planner.h"
#include "scene/recent.h"
#include "scene/row_shift.h"

namespace kevra_scene {

class SceneClassifier final : public QORKEVRASCENE {
public:
    SceneClassifier();
    ~SceneClassifier() override;
    SceneClassifier(const SceneClassifier&) = delete;
    SceneClassifier& operator=(const SceneClassifier&) = delete;

    void destroyInstance(QORKEVRASCENE* instance) override;
    int32_t ProcessFrame(const kevra_scene_frame* frame, kevra_scene_result* result) override;
    void Reset() override;
    int32_t SetSettings(const kevra_scene_settings* settings) override;
    int32_t GetSettings(kevra_scene_settings* settings) const override;
    int32_t GetTimingRequest(kevra_scene_request* request) const override;

private:
    struct FrameTiming {
        int64_t timestamp_ns;
        float exposure_time;
        float line_time;
        int32_t row_num;
        int32_t lines_per_row;
    };

    bool pairs_with_previous(const FrameTiming& now) const;
    void forget_exposures();
    void track_exposures(const HoldFacts& hold, HypothesisSummary (&summary)[2], double (&sinc_bound)[2]);
    // The latest pair under one hypothesis (rate: radians per us), from the
    // zones' changes and the whole frame's.
    PairMeasure measure_pair(double rate, const FrameTiming& now, double camera_shift, bool moved,
                             const HarmonicFit& change) const;
    double zone_single_frame(const double (*zones)[KEVRA_MAX_ROWS], int rows);

    kevra_scene_settings settings_;
    kevra_scene_request request_;
    bool has_previous_ = false;
    FrameTiming previous_{};
    int32_t frames_ = 0;
    Recent<float, KEVRA_SCENE_HISTORY> exposures_;  // of the frames since pairing began
    HypothesisEvidence evidence_[2];
    AnswerHold hold_;
    ProbePlanner planner_;
    // Per hypothesis, since pairing began: the most any exposure let a unit
    // lamp show, and whether one could have shown a lamp that no pairs have
    // ruled out since. Exposures that hide the ripple cannot rule it out then.
    double reveal_max_[2] = {0.0, 0.0};
    bool unresolved_[2] = {false, false};

    double profile_[2][KEVRA_MAX_ROWS];  // log row levels of the latest two frames
    int latest_ = 0;                     // index of the previous frame's profile in profile_
    double change_[KEVRA_MAX_ROWS];
    double frame_[KEVRA_MAX_ROWS];
    double zone_profile_[2][kZones][KEVRA_MAX_ROWS];  // per zone, as profile_
    double zone_change_[kZones][KEVRA_MAX_ROWS];
    double zone_noise_[kZones];  // per-row noise energy of each zone's change
    double zone_frame_[kZones][KEVRA_MAX_ROWS];  // the zones' profiles less their trends, once needed
    bool zone_frames_ready_ = false;
    HarmonicRows harmonic_rows_;
    HarmonicNormal change_normal_;
    HarmonicNormal frame_normal_;
    RowShiftWork shift_work_;
};

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_SCENE_CLASSIFIER_H
