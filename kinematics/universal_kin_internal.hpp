// Internal core of the universal (DH-table) kinematics, shared by the link
// transforms, the frame products, the Jacobians and the singularity analysis.
// Not part of the exported interface.
#pragma once

#include <cmath>
#include <cstdint>

#include "config/libalgo_interface.h"
#include "kinematics/frame_product.hpp"
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

// Modified-DH link transform from the angle's and the twist's sin/cos pairs,
// as rows (for the chain products) and as a record.
inline Transform mdh_link_rows(SinCos t, SinCos al, float d, float a) {
    return Transform{{{t.c, -t.s, 0.0f, a},
                      {t.s * al.c, t.c * al.c, -al.s, -al.s * d},
                      {t.s * al.s, t.c * al.s, al.c, al.c * d},
                      {0.0f, 0.0f, 0.0f, 1.0f}}};
}
inline Matrix mdh_link(SinCos t, SinCos al, float d, float a) {
    Matrix T;
    store_transform(mdh_link_rows(t, al, d, a), T);
    return T;
}

// Standard-DH link transform, same inputs.
inline Transform sdh_link_rows(SinCos t, SinCos al, float d, float a) {
    return Transform{{{t.c, -t.s * al.c, t.s * al.s, a * t.c},
                      {t.s, t.c * al.c, -t.c * al.s, a * t.s},
                      {0.0f, al.s, al.c, d},
                      {0.0f, 0.0f, 0.0f, 1.0f}}};
}
inline Matrix sdh_link(SinCos t, SinCos al, float d, float a) {
    Matrix T;
    store_transform(sdh_link_rows(t, al, d, a), T);
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
