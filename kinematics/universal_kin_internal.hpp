// Internal core of the universal (DH-table) kinematics, shared by the link
// transforms, the frame products, the Jacobians and the singularity analysis.
// Not part of the exported interface.
#pragma once

#include <cmath>
#include <cstdint>

#include "config/libalgo_interface.h"
#include "math/tova_mathfuncs.h"

namespace tova {

// The convention rule: modified DH when the arm has six joints or is a taldo,
// standard DH otherwise (so the seven-axis quell uses standard DH).
bool universal_uses_modified_dh(uint32_t robot_type, int32_t dof);

// True only for the exact text "modeling" (model angles, offsets not added);
// any other text means machine angles.
bool universal_is_modeling_mode(const char *mode);

// Base-to-link products after the 2nd, 5th and 6th link transform of the last
// chain computation that reached that far (all zero before the first one).
const Matrix &universal_T02();
const Matrix &universal_T05();
const Matrix &universal_T06();

// Sine and cosine pair, f32.
struct SinCos {
    float s;
    float c;
};

// sin/cos of a twist: exact 0 and +-1 within 1e-5 of 0, +-pi/2, +-pi (tested in
// that order, strict), otherwise double sin/cos rounded to f32.
inline SinCos dh_twist_sincos(float alpha) {
    if (static_cast<double>(std::fabs(alpha)) < 1e-5) return {0.0f, 1.0f};
    if (static_cast<double>(std::fabs(alpha - 1.5707964f)) < 1e-5) return {1.0f, 0.0f};
    if (static_cast<double>(std::fabs(alpha + 1.5707964f)) < 1e-5) return {-1.0f, 0.0f};
    if (static_cast<double>(std::fabs(alpha - 3.1415927f)) < 1e-5 ||
        static_cast<double>(std::fabs(alpha + 3.1415927f)) < 1e-5)
        return {0.0f, -1.0f};
    const double a = static_cast<double>(alpha);
    return {static_cast<float>(std::sin(a)), static_cast<float>(std::cos(a))};
}

// sin/cos of a joint angle: double evaluation rounded to f32.
inline SinCos dh_angle_sincos(float theta) {
    const double t = static_cast<double>(theta);
    return {static_cast<float>(std::sin(t)), static_cast<float>(std::cos(t))};
}

// Modified-DH link transform from the angle's and the twist's sin/cos pairs.
inline Matrix mdh_link(SinCos t, SinCos al, float d, float a) {
    Matrix T{};
    T.rows = 4;
    T.cols = 4;
    T.data[0][0] = t.c;
    T.data[0][1] = -t.s;
    T.data[0][2] = 0.0f;
    T.data[0][3] = a;
    T.data[1][0] = t.s * al.c;
    T.data[1][1] = t.c * al.c;
    T.data[1][2] = -al.s;
    T.data[1][3] = -al.s * d;
    T.data[2][0] = t.s * al.s;
    T.data[2][1] = t.c * al.s;
    T.data[2][2] = al.c;
    T.data[2][3] = al.c * d;
    T.data[3][3] = 1.0f;
    return T;
}

// Standard-DH link transform from the angle's and the twist's sin/cos pairs.
inline Matrix sdh_link(SinCos t, SinCos al, float d, float a) {
    Matrix T{};
    T.rows = 4;
    T.cols = 4;
    T.data[0][0] = t.c;
    T.data[0][1] = -t.s * al.c;
    T.data[0][2] = t.s * al.s;
    T.data[0][3] = a * t.c;
    T.data[1][0] = t.s;
    T.data[1][1] = t.c * al.c;
    T.data[1][2] = -t.c * al.s;
    T.data[1][3] = a * t.s;
    T.data[2][0] = 0.0f;
    T.data[2][1] = al.s;
    T.data[2][2] = al.c;
    T.data[2][3] = d;
    T.data[3][3] = 1.0f;
    return T;
}

// Link transform of joint i in the given convention, model angle qm taken as
// is. i must lie in 0..7 (the DhTable capacity).
inline Matrix universal_link(bool modified, int32_t i, const DhTable &dh, float qm) {
    const SinCos t = dh_angle_sincos(qm);
    const SinCos al = dh_twist_sincos(dh.alpha[i]);
    return modified ? mdh_link(t, al, dh.d[i], dh.a[i]) : sdh_link(t, al, dh.d[i], dh.a[i]);
}

// Model angles of the first n joints (n clamped to 0..8): q as is in
// "modeling" mode, q + offset otherwise.
inline void universal_model_angles(const float *q, const DhTable &dh, bool modeling, int32_t n,
                                   float qm[8]) {
    if (n > 8) n = 8;
    for (int32_t i = 0; i < n; ++i) qm[i] = modeling ? q[i] : q[i] + dh.offset[i];
}

}  // namespace tova
