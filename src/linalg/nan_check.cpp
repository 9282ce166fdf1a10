// Missing-value repair along the first index of a two-dimensional array.
#include "kevra.h"

namespace {

// Per column: an entry below 0.0 (missing) takes the value of the anchor, the last
// present entry (index 0 until one is seen, present or not); a present entry turns
// the run since the anchor into the straight line from the anchor to itself. NaN is
// present.
template <int Width>
void repair_columns(float (*a)[Width], int length, int columns) {
    for (int col = 0; col < columns; ++col) {
        int anchor = 0;
        for (int i = 0; i < length; ++i) {
            if (a[i][col] < 0.0f) {
                a[i][col] = a[anchor][col];
                continue;
            }
            const float span = static_cast<float>(i - anchor);
            for (int j = anchor + 1; j < i; ++j) {
                a[j][col] = (a[j][col] * static_cast<float>(i - j) + a[i][col] * static_cast<float>(j - anchor)) / span;
            }
            anchor = i;
        }
    }
}

}  // namespace

void AppKEVRA::nan_check_v2_6_256(float (*a)[256], int length, int columns) { repair_columns(a, length, columns); }

void AppKEVRA::nan_check_v2_256_4(float (*a)[4], int length, int columns) { repair_columns(a, length, columns); }
