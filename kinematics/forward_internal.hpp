// Internal pieces shared by the closed-form forward kinematics of the six-axis
// families (tova_kinematics.cpp) and of taldo (kine_taldo.cpp).
#pragma once

#include "config/libalgo_interface.h"
#include "math/tova_mathfuncs.h"

namespace tova {

// A 3-vector of f32; the closed forms handle rotations column by column.
struct Vec3f {
    float x, y, z;
};

// a*u + b*v, each product and the sum in f32.
inline Vec3f lin2(float a, const Vec3f &u, float b, const Vec3f &v) {
    return {a * u.x + b * v.x, a * u.y + b * v.y, a * u.z + b * v.z};
}
inline Vec3f neg(const Vec3f &u) { return {-u.x, -u.y, -u.z}; }
inline Vec3f add_scaled(const Vec3f &p, float k, const Vec3f &u) {
    return {p.x + k * u.x, p.y + k * u.y, p.z + k * u.z};
}

// Writes a homogeneous transform (header 4, 4) from rotation columns and a position.
inline void put_transform(Matrix &T, const Vec3f &x, const Vec3f &y, const Vec3f &z,
                          const Vec3f &p) {
    T.rows = 4;
    T.cols = 4;
    T.data[0][0] = x.x; T.data[0][1] = y.x; T.data[0][2] = z.x; T.data[0][3] = p.x;
    T.data[1][0] = x.y; T.data[1][1] = y.y; T.data[1][2] = z.y; T.data[1][3] = p.y;
    T.data[2][0] = x.z; T.data[2][1] = y.z; T.data[2][2] = z.z; T.data[2][3] = p.z;
    T.data[3][0] = 0.0f; T.data[3][1] = 0.0f; T.data[3][2] = 0.0f; T.data[3][3] = 1.0f;
}

// The rotation block of T as a rotation record: header 3, 3, row and column 3 zero.
inline Matrix rotation_of(const Matrix &T) {
    Matrix R{};
    R.rows = 3;
    R.cols = 3;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) R.data[i][j] = T.data[i][j];
    return R;
}

// Flange transform of the taldo arm in its base frame (header 4, 4), joint
// angles q (7, machine) plus the offsets of dh; f32 sinf/cosf.
void flange_taldo(const DhTable &dh, const float *q, Matrix &T);

}  // namespace tova
