// Closed-form forward kinematics of the seven-joint taldo arm.
//
// Modified DH: link i is Rx(alpha_i) Tx(a_i) Rz(theta_i) Tz(d_i) with the twists
// (0, -90, 90, 90, -90, 90, 90) deg built in. The chain is multiplied out
// column by column: with X, Y, Z the columns of the rotation so far, a twist of
// 0 gives (cX + sY, -sX + cY, Z), +90 gives (cX + sZ, -sX + cZ, -Y), -90 gives
// (cX - sZ, -sX - cZ, Y); the position gains a_i along the old X, then d_i
// along the new Z. All products f32, angles q + offset in f32, sinf/cosf.
#include "kinematics/kine_taldo.h"

#include <cmath>

#include "config/libalgo_interface.h"
#include "kinematics/forward_internal.hpp"

namespace tova {

namespace {
enum class Twist { Zero, Plus90, Minus90 };
constexpr Twist kTaldoTwists[7] = {Twist::Zero,   Twist::Minus90, Twist::Plus90, Twist::Plus90,
                                   Twist::Minus90, Twist::Plus90,  Twist::Plus90};
}  // namespace

// The taldo routine reads every d, a and offset of its seven joints, so edited
// lengths and offsets always agree with the universal link transforms.
Transform flange_taldo(const DhTable &dh, const float *q) {
    float s[7], c[7];
    for (int i = 0; i < 7; ++i) {
        const float theta = q[i] + dh.offset[i];
        s[i] = std::sin(theta);
        c[i] = std::cos(theta);
    }
    // Link 1 (twist 0) from the identity.
    Vec3f X{c[0], s[0], 0.0f};
    Vec3f Y{-s[0], c[0], 0.0f};
    Vec3f Z{0.0f, 0.0f, 1.0f};
    Vec3f p{dh.a[0], 0.0f, dh.d[0]};
    for (int i = 1; i < 7; ++i) {
        p = add_scaled(p, dh.a[i], X);
        const Vec3f Xo = X;
        switch (kTaldoTwists[i]) {
        case Twist::Zero:
            X = lin2(c[i], Xo, s[i], Y);
            Y = lin2(-s[i], Xo, c[i], Y);
            break;
        case Twist::Plus90: {
            const Vec3f Zo = Z;
            Z = neg(Y);
            X = lin2(c[i], Xo, s[i], Zo);
            Y = lin2(-s[i], Xo, c[i], Zo);
            break;
        }
        case Twist::Minus90: {
            const Vec3f Zo = Z;
            Z = Y;
            X = lin2(c[i], Xo, -s[i], Zo);
            Y = lin2(-s[i], Xo, -c[i], Zo);
            break;
        }
        }
        p = add_scaled(p, dh.d[i], Z);
    }
    return make_transform(X, Y, Z, p);
}

}  // namespace tova

using tova::flange_taldo;

extern "C" {

// Each routine reads its own copy of the DH table.
Matrix *forward_kinematics_e_taldo(Matrix *out, const float *q) {
    DhTable dh;
    libalgo_get_dh_value(&dh);
    tova::store_transform(flange_taldo(dh, q), *out);
    return out;
}

Matrix *forward_kinematics_rotate_taldo(Matrix *out, const float *q) {
    DhTable dh;
    libalgo_get_dh_value(&dh);
    *out = tova::rotation_of(flange_taldo(dh, q));
    return out;
}

float *forward_kinematics_pos_taldo(float out[3], const float *q) {
    DhTable dh;
    libalgo_get_dh_value(&dh);
    const tova::Transform T = flange_taldo(dh, q);
    for (int i = 0; i < 3; ++i) out[i] = T.row[i][3];
    return out;
}

}  // extern "C"
