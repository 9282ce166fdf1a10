// Camera motion between two frames, seen as a shift of the picture down the
// rows. The ripple stays with absolute time while the picture moves with the
// camera, so the change between frames is only free of the picture once the
// earlier profile is moved along with it.
#ifndef KEVRA_SCENE_ROW_SHIFT_H
#define KEVRA_SCENE_ROW_SHIFT_H

#include "kevra.h"

namespace kevra_scene {

// Largest camera motion looked for, in statistic rows per frame: a tenth of
// the frame, and at least this many rows.
constexpr int kLargestRowShiftShare = 10;
constexpr int kLeastRowShiftReach = 5;
// Below a row the change between frames holds less of the picture than a
// shifted, interpolated profile would add back: such motion is left alone.
constexpr double kSmallestRowShift = 1.0;

constexpr int kShiftHarmonics = 3;  // of each ripple
constexpr int kShiftBasis = 1 + 4 * kShiftHarmonics;  // an offset, cos and sin of each harmonic of both ripples

constexpr int kMostRowShiftReach = KEVRA_MAX_ROWS / kLargestRowShiftShare > kLeastRowShiftReach
                                       ? KEVRA_MAX_ROWS / kLargestRowShiftShare
                                       : kLeastRowShiftReach;

// The Cholesky factor of the basis products over the first rows, packed by
// rows; its first rank pivots are usable (-1: not yet factored).
struct ShiftFactor {
    int rank = -1;
    double l[kShiftBasis * (kShiftBasis + 1) / 2];
};

// Scratch of the search, kept by the caller (some 115 kB: not for the stack):
// the basis per row; the basis products over all rows and over the last rows
// up to the reach, and their factors over the first rows of every searched
// length (a searched stretch only leaves out an end, and is the stretch from
// the first row with its waves turned); running sums over the rows of the
// later profile against the basis and itself, and of the earlier one against
// the basis, itself and its next row, so that any stretch of rows costs two
// look-ups.
struct RowShiftWork {
    static constexpr int kPairs = kShiftBasis * (kShiftBasis + 1) / 2;
    double basis[kShiftBasis][KEVRA_MAX_ROWS];
    double gram_total[kPairs];
    double gram_tail[kMostRowShiftReach + 1][kPairs];
    double now_basis[kShiftBasis][KEVRA_MAX_ROWS + 1];
    double now_squares[KEVRA_MAX_ROWS + 1];
    double before_basis[kShiftBasis][KEVRA_MAX_ROWS + 1];
    double before_squares[KEVRA_MAX_ROWS + 1];
    double before_pairs[KEVRA_MAX_ROWS + 1];
    ShiftFactor factors[kMostRowShiftReach + 1];  // by rows left out
    double change[KEVRA_MAX_ROWS];
};

// The shift s (rows, a multiple of 1/8, up to a tenth of the rows either way)
// that best matches now[r] with
// before[r - s]: least squares of the difference once an offset and three
// harmonics of both ripples (rates in radians per row) are taken out, so
// that a ripple's own change between the frames is never taken for motion.
// 0 unless the frames differ at rest by more than noise, and the best shift
// halves that mismatch and is at least kSmallestRowShift. Frames with rows without data are not searched (0).
double estimate_row_shift(const double* now, const double* before, int rows, const double (&ripple_rates)[2],
                          RowShiftWork& work);

// The search's measure at one shift: energy per row of now[r] - before[r - shift]
// left after its fit, by a pass over the rows or as the search takes it from
// running sums (HUGE_VAL beyond the reach or short of half the rows).
double row_shift_mismatch(const double* now, const double* before, int rows, const double (&ripple_rates)[2],
                          double shift, bool from_running_sums, RowShiftWork& work);

// The shift is the camera's, not local content's: it halves the mismatch in
// at least half of the zones and makes none clearly worse (more than doubled
// beyond noise), as it would where the picture stood still. The scratch must
// hold the search's preparation; a shift beyond its reach is never global.
bool shift_is_global(const double (*now)[KEVRA_MAX_ROWS], const double (*before)[KEVRA_MAX_ROWS], int zones,
                     int rows, double shift, RowShiftWork& work);

// out[r] = now[r] - before[r - shift], the earlier profile linearly
// interpolated; NaN where r - shift falls outside the rows or on a NaN row.
void shifted_change(const double* now, const double* before, int rows, double shift, double* out);

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_ROW_SHIFT_H
