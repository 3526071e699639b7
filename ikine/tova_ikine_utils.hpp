// Internal cores of ikine/tova_ikine_utils: the pose error of the numerical
// inverse kinematics, written once for any record with a `data[r][c]` array
// (the 20 x 20 `mat` of the exported wrapper, the 4 x 4 `Matrix` of the
// solver's inner loop). Not part of the exported interface.
#pragma once

#include <cmath>

namespace tova {

// Pose error from the current transform A to the target B (upper-left 4 x 4
// blocks read): e[0..2] = translation of B minus translation of A (work axes),
// e[3..5] = rotation vector of R = R_A^T * R_B. R is formed like the `mat`
// product (float products, float running sum from 0). |v| is a double square
// root of the float sum of squares; theta = atan2(|v|, tr - 1) in double with
// tr - 1 formed in float; the factor theta / |v| is rounded to float once.
// Below |v| = 1e-10 a half turn (tr <= 0) gives pi/2 * (R_ii + 1), the squared
// axis components times pi without their signs; otherwise zero rotation.
template <class RA, class RB>
inline void angle_axis_diff(const RA &A, const RB &B, float e[6]) {
    e[0] = B.data[0][3] - A.data[0][3];
    e[1] = B.data[1][3] - A.data[1][3];
    e[2] = B.data[2][3] - A.data[2][3];

    float R[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            float s = 0.0f;
            for (int k = 0; k < 3; ++k) s += A.data[k][i] * B.data[k][j];
            R[i][j] = s;
        }
    const float tr = R[0][0] + R[1][1] + R[2][2];
    const float v0 = R[2][1] - R[1][2];
    const float v1 = R[0][2] - R[2][0];
    const float v2 = R[1][0] - R[0][1];
    const double norm = std::sqrt(static_cast<double>(v0 * v0 + v1 * v1 + v2 * v2));
    if (norm >= 1e-10) {
        const double theta = std::atan2(norm, static_cast<double>(tr - 1.0f));
        const float k = static_cast<float>(theta / norm);
        e[3] = v0 * k;
        e[4] = v1 * k;
        e[5] = v2 * k;
    } else if (tr <= 0.0f) {
        e[3] = (R[0][0] + 1.0f) * 1.5707964f;
        e[4] = (R[1][1] + 1.0f) * 1.5707964f;
        e[5] = (R[2][2] + 1.0f) * 1.5707964f;
    } else {
        e[3] = 0.0f;
        e[4] = 0.0f;
        e[5] = 0.0f;
    }
}

}  // namespace tova
