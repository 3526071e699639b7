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
#include "math/transform_rows.hpp"

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

typedef int32_t LaneMask4 __attribute__((vector_size(16)));

// Lanes of a where mask is set, of b elsewhere.
inline v4f select_lanes(LaneMask4 mask, v4f a, v4f b) {
    return (v4f)(((LaneMask4)a & mask) | ((LaneMask4)b & ~mask));
}

// The conversions below read the top three rows of R (math/transform_rows.hpp)
// and, for the position, their column 3; a caller holding a transform in
// registers (the forward kinematics) passes it without a Matrix record.

// Euler angles of the rotation block of R. In gimbal lock the whole rotation
// about the vertical axis goes into rx and rz is 0; angles below -3.13 are
// wrapped up by one turn. The three arc tangents are taken together
// (batch_trig.hpp: the C library's atan2f, bit for bit, without its
// data-dependent branches), and the lock and wrap adjustments are lane
// selects, not branches.
inline Euler euler_from_rows(const Transform& R) {
    const float m00 = R.row[0][0], m01 = R.row[0][1], m10 = R.row[1][0], m11 = R.row[1][1];
    const float m20 = R.row[2][0], m21 = R.row[2][1], m22 = R.row[2][2];
    const bool up = m20 > kGimbalBound, down = m20 < -kGimbalBound, locked = up || down;
    const float h = std::sqrt(m00 * m00 + m10 * m10);
    // rx, ry, rz = atan2(y, x) lane by lane; rz's pair is a placeholder in gimbal lock
    const LaneMask4 lock = locked ? LaneMask4{-1, -1, -1, -1} : LaneMask4{0, 0, 0, 0};
    const v4f y = select_lanes(lock, v4f{m01, -m20, 0.0f, 1.0f}, v4f{m21, -m20, m10, 1.0f});
    const v4f x = select_lanes(lock, v4f{m11, h, 1.0f, 1.0f}, v4f{m22, h, m00, 1.0f});
    const v4f a = batch_atan2f3_lanes(y, x);
    // rx = -a when ry is near -pi/2 (a sign flip, as negation is); rz = +0 when locked
    const LaneMask4 flip{up ? INT32_MIN : 0, 0, 0, 0}, clear{0, 0, locked ? -1 : 0, 0};
    const v4f e = (v4f)(((LaneMask4)a ^ flip) & ~clear);
    const LaneMask4 low = e < v4f{kWrapBelow, kWrapBelow, kWrapBelow, kWrapBelow};
    const v4f w = select_lanes(low, e + v4f{kTwoPiF, kTwoPiF, kTwoPiF, kTwoPiF}, e);
    return Euler{w[0], w[1], w[2]};
}

inline Euler euler_from_rotation(const Matrix& R) { return euler_from_rows(load_transform(R)); }

// Quaternion of the rotation block of R. Four cases: the trace is positive (the root gives
// w), else the largest diagonal element gives x, y or z. Comparisons are
// strict (ties go to the later case) and the sign of w is left as the case
// gives it.
//
// The case is picked without a branch: on a stream of unrelated poses the
// choice is a coin toss, and a mispredicted branch here would discard the work
// after it (the Euler extraction, the next call) until the whole transform is
// known. Every case's radicand and every off-diagonal sum and difference are
// formed as the case would form them, so the bits are those of the branching
// code.
inline Quaternion quat_from_rows(const Transform& R) {
    const float m00 = R.row[0][0], m01 = R.row[0][1], m02 = R.row[0][2];
    const float m10 = R.row[1][0], m11 = R.row[1][1], m12 = R.row[1][2];
    const float m20 = R.row[2][0], m21 = R.row[2][1], m22 = R.row[2][2];
    const float t = m00 + m11 + m22;
    const int not_w = !(t > 0.0f), not_x = !((m00 > m11) & (m00 > m22));
    const int not_y = !(m11 > m22);
    const int root = not_w * (1 + not_x * (1 + not_y));  // the component taken from the root (w, x, y, z)
    const float radicand[4] = {t + 1.0f, 1.0f + m00 - m11 - m22, 1.0f + m11 - m00 - m22, 1.0f + m22 - m00 - m11};
    const float r = 2.0f * std::sqrt(radicand[root]);
    const float term[7] = {m21 - m12, m02 - m20, m10 - m01, m01 + m10, m02 + m20, m12 + m21, 0.0f};
    // term[] over r gives each component but the root's own (6).
    static constexpr unsigned char kTerm[4][4] = {{6, 0, 1, 2}, {0, 6, 3, 4}, {1, 3, 6, 5}, {2, 4, 5, 6}};
    const unsigned char* k = kTerm[root];
    const v4f quotient = v4f{term[k[0]], term[k[1]], term[k[2]], term[k[3]]} / v4f{r, r, r, r};
    const float q = r / 4.0f;
    const LaneMask4 own = LaneMask4{0, 1, 2, 3} == LaneMask4{root, root, root, root};
    const v4f c = select_lanes(own, v4f{q, q, q, q}, quotient);
    return Quaternion{c[0], c[1], c[2], c[3]};
}

inline Quaternion quat_from_rotation(const Matrix& R) { return quat_from_rows(load_transform(R)); }

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
inline Pose pose_from_rows(const Transform& T) {
    return Pose{T.row[0][3], T.row[1][3], T.row[2][3], quat_from_rows(T), euler_from_rows(T)};
}

inline Pose pose_from_transform(const Matrix& T) { return pose_from_rows(load_transform(T)); }

}  // namespace tova

#endif  // TOVA_MATH_POSE_CORE_HPP
