// Internal pieces shared by the closed-form forward kinematics of the six-axis
// families (tova_kinematics.cpp) and of taldo (kine_taldo.cpp).
#pragma once

#include "config/libalgo_interface.h"
#include "kinematics/frame_product.hpp"
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

// The homogeneous transform with rotation columns x, y, z and position p.
inline Transform make_transform(const Vec3f &x, const Vec3f &y, const Vec3f &z, const Vec3f &p) {
    return Transform{{{x.x, y.x, z.x, p.x}, {x.y, y.y, z.y, p.y}, {x.z, y.z, z.z, p.z},
                      {0.0f, 0.0f, 0.0f, 1.0f}}};
}

// The rotation block of T as a rotation record: header 3, 3, row and column 3 zero.
inline Matrix rotation_of(const Transform &T) {
    Matrix R{};
    R.rows = 3;
    R.cols = 3;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) R.data[i][j] = T.row[i][j];
    return R;
}
inline Matrix rotation_of(const Matrix &T) { return rotation_of(load_transform(T)); }

// Flange transform of the taldo arm in its base frame, joint angles q (7,
// machine) plus the offsets of dh; f32 sinf/cosf.
Transform flange_taldo(const DhTable &dh, const float *q);

}  // namespace tova
