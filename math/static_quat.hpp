// Quaternion <-> rotation conversions shared by the bare-array Lie maps and
// usable by any other rotation storage: the rotation is read through an
// accessor m(i, j). Quaternions are (w, x, y, z), Hamilton, scalar first.
#ifndef TOVA_MATH_STATIC_QUAT_HPP
#define TOVA_MATH_STATIC_QUAT_HPP

#include <cmath>

namespace tova {
namespace rotation {

// Quaternion of a rotation: trace branch when t > 0, otherwise the branch of
// the largest diagonal element. The comparisons are strict, so ties go to the
// later axis, and the sign of w is left as the branch produces it.
template <typename At>
inline void quat_from_matrix(At m, float q[4]) {
    const float t = m(0, 0) + m(1, 1) + m(2, 2);
    float w, x, y, z;
    if (t > 0.0f) {
        const float r = 2.0f * std::sqrt(t + 1.0f);
        w = r / 4.0f;
        x = (m(2, 1) - m(1, 2)) / r;
        y = (m(0, 2) - m(2, 0)) / r;
        z = (m(1, 0) - m(0, 1)) / r;
    } else if (m(0, 0) > m(1, 1) && m(0, 0) > m(2, 2)) {
        const float r = 2.0f * std::sqrt(1.0f + m(0, 0) - m(1, 1) - m(2, 2));
        x = r / 4.0f;
        w = (m(2, 1) - m(1, 2)) / r;
        y = (m(0, 1) + m(1, 0)) / r;
        z = (m(0, 2) + m(2, 0)) / r;
    } else if (m(1, 1) > m(2, 2)) {
        const float r = 2.0f * std::sqrt(1.0f + m(1, 1) - m(0, 0) - m(2, 2));
        y = r / 4.0f;
        w = (m(0, 2) - m(2, 0)) / r;
        x = (m(0, 1) + m(1, 0)) / r;
        z = (m(1, 2) + m(2, 1)) / r;
    } else {
        const float r = 2.0f * std::sqrt(1.0f + m(2, 2) - m(0, 0) - m(1, 1));
        z = r / 4.0f;
        w = (m(1, 0) - m(0, 1)) / r;
        x = (m(0, 2) + m(2, 0)) / r;
        y = (m(1, 2) + m(2, 1)) / r;
    }
    q[0] = w;
    q[1] = x;
    q[2] = y;
    q[3] = z;
}

// Row-major 3x3 rotation of a quaternion of any non-zero length (scaled by
// 2/n); a squared length of at most 1e-6 gives the identity.
inline void matrix_from_quat(const float q[4], float R[9]) {
    const float w = q[0], x = q[1], y = q[2], z = q[3];
    const float n = w * w + x * x + y * y + z * z;
    const float s = (n > 1e-6f) ? 2.0f / n : 0.0f;
    R[0] = 1.0f - s * (y * y + z * z);
    R[1] = s * (x * y - w * z);
    R[2] = s * (x * z + w * y);
    R[3] = s * (x * y + w * z);
    R[4] = 1.0f - s * (x * x + z * z);
    R[5] = s * (y * z - w * x);
    R[6] = s * (x * z - w * y);
    R[7] = s * (y * z + w * x);
    R[8] = 1.0f - s * (x * x + y * y);
}

}  // namespace rotation
}  // namespace tova

#endif
