// Internal C++ cores of the pose conversions (Euler angles, quaternions,
// rotation blocks of Matrix records). All single precision with float
// trigonometry; the extern "C" functions in tova_mathfuncs.cpp wrap these, and
// kinematics code may call them inline.
#ifndef TOVA_MATH_POSE_CORE_HPP
#define TOVA_MATH_POSE_CORE_HPP

#include <cmath>
#include <cstdint>

#include "math/batch_trig.hpp"
#include "math/fixed_matrix.hpp"
#include "math/tova_mathfuncs.h"

namespace tova {

// |m(2,0)| beyond this counts as gimbal lock (ry at +-pi/2).
constexpr float kGimbalBound = 0.999999f;
// Extracted angles below this get one turn added, so results never sit near -pi.
constexpr float kWrapBelow = -3.13f;
constexpr float kTwoPiF = 6.2831855f;

inline float wrap_angle(float a) { return a < kWrapBelow ? a + kTwoPiF : a; }

// Writes R = Rz(rz) * Ry(ry) * Rx(rx) into rows/columns 0..2 of r; nothing else.
inline void put_euler_rotation(Matrix& r, float rx, float ry, float rz) {
    const float sx = std::sin(rx), cx = std::cos(rx);
    const float sy = std::sin(ry), cy = std::cos(ry);
    const float sz = std::sin(rz), cz = std::cos(rz);
    auto& m = r.data;
    m[0][0] = cy * cz;
    m[0][1] = sx * sy * cz - cx * sz;
    m[0][2] = cx * sy * cz + sx * sz;
    m[1][0] = cy * sz;
    m[1][1] = cx * cz + sx * sy * sz;
    m[1][2] = cx * sy * sz - sx * cz;
    m[2][0] = -sy;
    m[2][1] = sx * cy;
    m[2][2] = cx * cy;
}

// Writes the rotation of q (normalised implicitly; norm^2 <= 1e-6 gives the
// identity) into rows/columns 0..2 of r; nothing else.
inline void put_quat_rotation(Matrix& r, const Quaternion& q) {
    const float w = q.w, x = q.x, y = q.y, z = q.z;
    const float n = w * w + x * x + y * y + z * z;
    const float s = n > 1e-6f ? 2.0f / n : 0.0f;
    auto& m = r.data;
    m[0][0] = 1.0f - s * (y * y + z * z);
    m[0][1] = s * (x * y - w * z);
    m[0][2] = s * (x * z + w * y);
    m[1][0] = s * (x * y + w * z);
    m[1][1] = 1.0f - s * (x * x + z * z);
    m[1][2] = s * (y * z - w * x);
    m[2][0] = s * (x * z - w * y);
    m[2][1] = s * (y * z + w * x);
    m[2][2] = 1.0f - s * (x * x + y * y);
}

// Euler angles of the rotation block of R. In gimbal lock the whole rotation
// about the vertical axis goes into rx and rz is 0; angles below -3.13 are
// wrapped up by one turn. The three arc tangents are taken together
// (batch_trig.hpp: the C library's atan2f, bit for bit, without its
// data-dependent branches).
inline Euler euler_from_rotation(const Matrix& R) {
    const auto& m = R.data;
    const bool up = m[2][0] > kGimbalBound, down = m[2][0] < -kGimbalBound, locked = up || down;
    // rx, ry, rz = atan2(y[i], x[i]); rz's pair is a placeholder in gimbal lock
    const float y[3] = {locked ? m[0][1] : m[2][1], -m[2][0], locked ? 0.0f : m[1][0]};
    const float x[3] = {locked ? m[1][1] : m[2][2], std::sqrt(m[0][0] * m[0][0] + m[1][0] * m[1][0]),
                        locked ? 1.0f : m[0][0]};
    float a[3];
    batch_atan2f3(y, x, a);
    const float rx = up ? -a[0] : a[0];
    const float rz = locked ? 0.0f : a[2];
    return Euler{wrap_angle(rx), wrap_angle(a[1]), wrap_angle(rz)};
}

// Quaternion of the rotation block of R. Four cases: the trace is positive
// (the root gives w), else the largest diagonal element gives x, y or z.
// Comparisons are strict (ties go to the later case) and the sign of w is left
// as the case gives it.
//
// The case is picked without a branch: on a stream of unrelated poses the
// choice is a coin toss, and a mispredicted branch here would discard the work
// after it (the Euler extraction, the next call) until the whole transform is
// known. Every case's radicand and every off-diagonal sum and difference are
// formed as the case would form them, so the bits are those of the branching
// code.
inline Quaternion quat_from_rotation(const Matrix& R) {
    typedef float Lanes __attribute__((vector_size(16)));  // w, x, y, z
    typedef int32_t LaneMask __attribute__((vector_size(16)));
    const auto& m = R.data;
    const float t = m[0][0] + m[1][1] + m[2][2];
    const int not_w = !(t > 0.0f), not_x = !((m[0][0] > m[1][1]) & (m[0][0] > m[2][2]));
    const int not_y = !(m[1][1] > m[2][2]);
    const int root = not_w * (1 + not_x * (1 + not_y));  // the component taken from the root
    const float radicand[4] = {t + 1.0f, 1.0f + m[0][0] - m[1][1] - m[2][2],
                               1.0f + m[1][1] - m[0][0] - m[2][2], 1.0f + m[2][2] - m[0][0] - m[1][1]};
    const float r = 2.0f * std::sqrt(radicand[root]);
    const float term[7] = {m[2][1] - m[1][2], m[0][2] - m[2][0], m[1][0] - m[0][1], m[0][1] + m[1][0],
                           m[0][2] + m[2][0], m[1][2] + m[2][1], 0.0f};
    // term[] over r gives each component but the root's own (6).
    static constexpr unsigned char kTerm[4][4] = {{6, 0, 1, 2}, {0, 6, 3, 4}, {1, 3, 6, 5}, {2, 4, 5, 6}};
    const unsigned char* k = kTerm[root];
    const Lanes quotient = Lanes{term[k[0]], term[k[1]], term[k[2]], term[k[3]]} / Lanes{r, r, r, r};
    const float q = r / 4.0f;
    const LaneMask own = LaneMask{0, 1, 2, 3} == LaneMask{root, root, root, root};
    const Lanes c = (Lanes)(((LaneMask)quotient & ~own) | ((LaneMask)Lanes{q, q, q, q} & own));
    return Quaternion{c[0], c[1], c[2], c[3]};
}

// Homogeneous transform from a rotation already in rows/columns 0..2 of r and
// a position: column 3 = (x, y, z, 1), row 3 = (0, 0, 0, 1).
inline Matrix& finish_transform(Matrix& r, float x, float y, float z) {
    r.rows = 4;
    r.cols = 4;
    r.data[0][3] = x;
    r.data[1][3] = y;
    r.data[2][3] = z;
    r.data[3][0] = r.data[3][1] = r.data[3][2] = 0.0f;
    r.data[3][3] = 1.0f;
    return r;
}

// 4x4 transform of a pose from its Euler angles (quaternion ignored).
inline Matrix transform_from_pose_euler(const Pose& p) {
    Matrix r;
    put_euler_rotation(r, p.euler.rx, p.euler.ry, p.euler.rz);
    return finish_transform(r, p.x, p.y, p.z);
}

// 4x4 transform of a pose from its quaternion (Euler angles ignored).
inline Matrix transform_from_pose_quat(const Pose& p) {
    Matrix r;
    put_quat_rotation(r, p.quaternion);
    return finish_transform(r, p.x, p.y, p.z);
}

// Pose of a 4x4 transform with both orientation forms filled.
inline Pose pose_from_transform(const Matrix& T) {
    return Pose{T.data[0][3], T.data[1][3], T.data[2][3], quat_from_rotation(T),
                euler_from_rotation(T)};
}

}  // namespace tova

#endif  // TOVA_MATH_POSE_CORE_HPP
