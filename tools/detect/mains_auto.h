// The single-frame answer to "50 or 60 Hz?": the detector run under both
// mains frequencies on one capture.
#ifndef KEVRA_TOOLS_MAINS_AUTO_H
#define KEVRA_TOOLS_MAINS_AUTO_H

#include <string>

#include "detection.h"

namespace kevra_tool {

struct MainsAutoReport {
    DetectionReport at50, at60;
    int32_t answer;  // KEVRA_SCENE_NONE, _50HZ or _60HZ
    const DetectionReport& chosen() const { return answer == 60 ? at60 : at50; }
};

// The capture as if taken where the mains has the given frequency: the
// confidence input follows the fit's rates unless the capture set its own.
Capture at_mains(const Capture& capture, int32_t mains);

// Flicker under exactly one hypothesis answers that one; under both, the one
// with the higher confidence index (60 Hz on a tie); under neither, none.
MainsAutoReport detect_auto_mains(QORKEVRA& detector, const Capture& capture, const std::string& name);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_MAINS_AUTO_H
