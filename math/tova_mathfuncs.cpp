// Pose conversions and small rotation helpers: thin C wrappers over the cores
// in pose_core.hpp.
#include <cmath>

#include "math/pose_core.hpp"

namespace {

// Elementary rotation with sine and cosine taken in double precision.
// axis 0, 1, 2 = X, Y, Z; (i, j) are the two axes the rotation mixes.
Matrix elementary_rotation(float angle, int axis) {
    const float c = static_cast<float>(std::cos(static_cast<double>(angle)));
    const float s = static_cast<float>(std::sin(static_cast<double>(angle)));
    const int i = (axis + 1) % 3, j = (axis + 2) % 3;
    Matrix r = tova::fm_zero<Matrix>(3, 3);
    r.data[axis][axis] = 1.0f;
    r.data[i][i] = c;
    r.data[j][j] = c;
    r.data[i][j] = -s;
    r.data[j][i] = s;
    return r;
}

}  // namespace

extern "C" {

Matrix pose_euler_to_transformation_matrix(Pose pose) { return tova::transform_from_pose_euler(pose); }
Matrix pose_quat_to_transformation_matrix(Pose pose) { return tova::transform_from_pose_quat(pose); }
Pose transformation_matrix_to_pose(Matrix T) { return tova::pose_from_transform(T); }
Euler matrix_to_euler(Matrix R) { return tova::euler_from_rotation(R); }
Quaternion matrix_to_quat(Matrix R) { return tova::quat_from_rotation(R); }

Matrix euler_to_matrix(Euler e) {
    Matrix r = tova::fm_zero<Matrix>(3, 3);  // (3,3) stays 0: a rotation, not a transform
    tova::put_euler_rotation(r, e.rx, e.ry, e.rz);
    return r;
}

Matrix quat_to_matrix(Quaternion q) {
    Matrix r = tova::fm_zero<Matrix>(3, 3);
    tova::put_quat_rotation(r, q);
    return r;
}

Quaternion euler_to_quat(Euler e) {
    const float cr = std::cos(e.rx / 2.0f), sr = std::sin(e.rx / 2.0f);
    const float cp = std::cos(e.ry / 2.0f), sp = std::sin(e.ry / 2.0f);
    const float cy = std::cos(e.rz / 2.0f), sy = std::sin(e.rz / 2.0f);
    return Quaternion{cr * cp * cy + sr * sp * sy, sr * cp * cy - cr * sp * sy,
                      cr * sp * cy + sr * cp * sy, cr * cp * sy - sr * sp * cy};
}

Euler quat_to_euler(Quaternion q) {
    Matrix r;  // only the rotation block is read back
    tova::put_quat_rotation(r, q);
    return tova::euler_from_rotation(r);
}

Quaternion quaternion_interpolation(float theta, float phi, Quaternion q0, Quaternion q1) {
    const float k = 1.0f / std::sin(theta);
    const float a = std::sin(theta - phi), b = std::sin(phi);
    return Quaternion{(a * q0.w + b * q1.w) * k, (a * q0.x + b * q1.x) * k,
                      (a * q0.y + b * q1.y) * k, (a * q0.z + b * q1.z) * k};
}

Matrix rotx(float angle) { return elementary_rotation(angle, 0); }
Matrix roty(float angle) { return elementary_rotation(angle, 1); }
Matrix rotz(float angle) { return elementary_rotation(angle, 2); }

Matrix cross(Matrix a, Matrix b) {
    const float a0 = a.data[0][0], a1 = a.data[1][0], a2 = a.data[2][0];
    const float b0 = b.data[0][0], b1 = b.data[1][0], b2 = b.data[2][0];
    Matrix r = tova::fm_zero<Matrix>(3, 1);
    r.data[0][0] = a1 * b2 - a2 * b1;
    r.data[1][0] = a2 * b0 - a0 * b2;
    r.data[2][0] = a0 * b1 - a1 * b0;
    return r;
}

float my_atan2f(float y, float x) {
    // Sum in float, root in double, the rest in float; y = -0 counts as
    // non-negative, so a negative x on the axis gives +pi.
    const float r = static_cast<float>(std::sqrt(static_cast<double>(y * y + x * x)));
    const float a = std::acos(x / r);
    return y < 0.0f ? -a : a;
}

int tv_sign(float v) { return v > 0.0f ? 1 : (v < 0.0f ? -1 : 0); }

}  // extern "C"
