// Every limit the scene answer rests on, in one table, with the reason for
// each value. The paths differ in how many frame pairs carry the evidence.
#ifndef KEVRA_SCENE_SCENE_LIMITS_H
#define KEVRA_SCENE_SCENE_LIMITS_H

namespace kevra_scene {

// What the evidence of one path must reach for a lamp to be named.
struct PathLimits {
    int pairs;          // fewest informative pairs on this path
    double chi_square;  // of the fitted lamp against the pairs' noise
    double fit;         // share of the pairs' change that one lamp explains
    double shape;       // share of each zone's change that the ripple's harmonics explain
};

struct DecisionTable {
    // One pair fits any phasor exactly, so alone it must be far stronger (an
    // exposure change in front of a standing ripple gives no more than that).
    PathLimits one_pair;
    // Two phasors of random phase share 60 % of their energy four times in
    // ten, 85 % about once in four; with twice the chi-square that is rare.
    PathLimits two_pairs;
    // Five standard errors, and one phase explaining most of the change.
    PathLimits three_pairs;
    // A moving picture never cancels exactly (rows average lines that moved
    // by fractions of a row): more pairs must agree more closely, while the
    // picture's remains lower the share the ripple's shape explains.
    PathLimits moving_camera;
    // A pair counts when |G| reaches this share of the larger exposure's
    // sinc: 2 sin(pi x) for a ripple that moved x of a period, 0.25 at x = 0.04.
    double informative;
    // With the camera moving, what the picture leaves behind turns by the
    // same amount per frame: the ripple must move 0.08 of a period.
    double informative_moving;
    // Peak-to-peak ripple, relative to the mean level, from which banding is
    // visible in a picture.
    double visible_ripple;
    // The pairs rule a lamp out below this: they measure its fundamental,
    // and through exposures that pass its harmonics a lamp's peak to peak is
    // up to half as large again (an electronic ballast's 1.66 % showed as
    // under 1.5 %). 1 % is where banding is surely invisible.
    double none_ripple;
    // Both hypotheses qualify: one must explain this many times as much.
    double prefer_ratio;
    // A single pair must beat the other hypothesis by this much more.
    double single_pair_lead;
    // Zones lit by one lamp share its phase: cos of the widest angle allowed
    // between a zone's lamp and the lamp of all lit zones (35 degrees).
    double zone_phase_cos;
    // A zone whose change between the latest frames keeps more than this rms
    // (in logs: 1 %) after the ripple's harmonics is disturbed: moving
    // content or light changing there, which no lamp explains.
    double unexplained_change;
    // ... and more than this many times its noise (half the mean square step
    // between rows): noise steps at every row, a moving edge at a few.
    double disturbed_over_noise;
    // Confidence: the chi-square at which it is half the fit.
    double half_confidence_chi_square;
    // A change at a frequency whose ripple stood still, this many standard
    // errors above the noise (ten), is no accident of noise: the light changed.
    double surprise_chi_square;
};

constexpr DecisionTable kDecision = {
    {1, 100.0, 0.0, 0.5},   // one pair
    {2, 50.0, 0.85, 0.5},   // two pairs
    {3, 25.0, 0.6, 0.5},    // three or more pairs
    {3, 25.0, 0.8, 0.4},    // moving camera
    0.25, 0.5, 0.015, 0.01, 2.0, 4.0, 0.82, 0.01, 4.0, 50.0, 100.0,
};

// The path a stretch of pairs takes.
inline const PathLimits& path_limits(int pairs, bool camera_moved) {
    if (camera_moved) return kDecision.moving_camera;
    return pairs <= 1 ? kDecision.one_pair : pairs == 2 ? kDecision.two_pairs : kDecision.three_pairs;
}

// Evidence that reaches its path's limits shows a visible lamp.
inline bool meets_limits(int pairs, bool camera_moved, double chi_square, double fit, double shape, double ripple) {
    const PathLimits& p = path_limits(pairs, camera_moved);
    return pairs >= p.pairs && chi_square >= p.chi_square && fit >= p.fit && shape >= p.shape &&
           ripple >= kDecision.visible_ripple;
}

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_SCENE_LIMITS_H
