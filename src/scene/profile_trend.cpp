#include "scene/profile_trend.h"

namespace kevra_scene {

void remove_quadratic_trend(const double* v, int n, double* out) {
    double m[3][3] = {}, b[3] = {};
    for (int r = 0; r < n; ++r) {
        if (v[r] != v[r]) continue;
        const double x = (2.0 * r - (n - 1)) / double(n);
        const double basis[3] = {1.0, x, x * x};
        for (int i = 0; i < 3; ++i) {
            b[i] += basis[i] * v[r];
            for (int j = 0; j < 3; ++j) m[i][j] += basis[i] * basis[j];
        }
    }
    // Cramer's rule on the 3x3 normal equations.
    const double det = m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                       m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                       m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
    double c[3] = {};
    if (det != 0.0) {
        for (int k = 0; k < 3; ++k) {
            double a[3][3];
            for (int i = 0; i < 3; ++i)
                for (int j = 0; j < 3; ++j) a[i][j] = j == k ? b[i] : m[i][j];
            c[k] = (a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) - a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
                    a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0])) /
                   det;
        }
    }
    for (int r = 0; r < n; ++r) {
        const double x = (2.0 * r - (n - 1)) / double(n);
        out[r] = v[r] - (c[0] + c[1] * x + c[2] * x * x);
    }
}

}  // namespace kevra_scene
