// Independent double-precision reference for the universal kinematics tests:
// the DH chain built from elementary rotations and translations, frames as
// plain 4x4 arrays, and helpers to select models and draw joint vectors.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "tova_algorithm.h"

namespace ref {

using M4 = std::array<std::array<double, 4>, 4>;

inline M4 eye() {
    M4 m{};
    for (int i = 0; i < 4; ++i) m[i][i] = 1.0;
    return m;
}

inline M4 mul(const M4 &a, const M4 &b) {
    M4 r{};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            for (int k = 0; k < 4; ++k) r[i][j] += a[i][k] * b[k][j];
    return r;
}

inline M4 rot_x(double t) {
    M4 m = eye();
    m[1][1] = std::cos(t), m[1][2] = -std::sin(t);
    m[2][1] = std::sin(t), m[2][2] = std::cos(t);
    return m;
}
inline M4 rot_z(double t) {
    M4 m = eye();
    m[0][0] = std::cos(t), m[0][1] = -std::sin(t);
    m[1][0] = std::sin(t), m[1][1] = std::cos(t);
    return m;
}
inline M4 trans(double x, double y, double z) {
    M4 m = eye();
    m[0][3] = x, m[1][3] = y, m[2][3] = z;
    return m;
}

inline M4 from(const Matrix &m) {
    M4 r{};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) r[i][j] = m.data[i][j];
    return r;
}

// The arm as the store describes it: DH table, joints and convention.
struct Arm {
    DhTable dh;
    int n;
    bool modified;  // chosen by the test from the model, not by the library's rule
};

inline Arm current_arm(bool modified) {
    Arm arm{};
    libalgo_get_dh_value(&arm.dh);
    arm.n = libalgo_get_rbt_dof();
    arm.modified = modified;
    return arm;
}

// Link transform of one DH row in double, written out as the textbook matrix
// of the product of elementary motions:
// modified  RotX(alpha) TransX(a) RotZ(theta) TransZ(d),
// standard  RotZ(theta) TransZ(d) TransX(a) RotX(alpha).
inline M4 link(bool modified, double th, double d, double a, double al) {
    const double ct = std::cos(th), st = std::sin(th), ca = std::cos(al), sa = std::sin(al);
    if (modified)
        return M4{{{ct, -st, 0, a}, {st * ca, ct * ca, -sa, -sa * d}, {st * sa, ct * sa, ca, ca * d}, {0, 0, 0, 1}}};
    return M4{{{ct, -st * ca, st * sa, a * ct}, {st, ct * ca, -ct * sa, a * st}, {0, sa, ca, d}, {0, 0, 0, 1}}};
}

// Base-to-flange chain for machine angles q (offsets added); `upto` links.
inline M4 chain(const Arm &arm, const double *q, int upto) {
    M4 A = eye();
    for (int i = 0; i < upto; ++i)
        A = mul(A, link(arm.modified, q[i] + arm.dh.offset[i], arm.dh.d[i], arm.dh.a[i], arm.dh.alpha[i]));
    return A;
}

// Twist (v, w) of the change from T0 to T1 over step h: linear part dp/h and
// angular part vex(dR R^T)/h, both in the frame that T0 and T1 are given in.
inline std::array<double, 6> twist(const M4 &Tp, const M4 &Tm, double h, const M4 &Rmid) {
    std::array<double, 6> t{};
    for (int r = 0; r < 3; ++r) t[r] = (Tp[r][3] - Tm[r][3]) / (2 * h);
    double W[3][3] = {};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k) W[i][j] += (Tp[i][k] - Tm[i][k]) / (2 * h) * Rmid[j][k];
    t[3] = 0.5 * (W[2][1] - W[1][2]);
    t[4] = 0.5 * (W[0][2] - W[2][0]);
    t[5] = 0.5 * (W[1][0] - W[0][1]);
    return t;
}

// Rotates the six components of a twist by R^T (into the frame R describes).
inline std::array<double, 6> into_frame(const M4 &R, const std::array<double, 6> &t) {
    std::array<double, 6> o{};
    for (int i = 0; i < 3; ++i)
        for (int k = 0; k < 3; ++k) {
            o[i] += R[k][i] * t[k];
            o[i + 3] += R[k][i] * t[k + 3];
        }
    return o;
}

struct ModelCase {
    uint32_t type;
    uint32_t sensor;
    bool modified;
    const char *name;
};

inline const std::vector<ModelCase> &all_models() {
    static const std::vector<ModelCase> models = {
        {ROBOT_VESK, 2, true, "vesk"},       {ROBOT_QUELL, 1, false, "quell"},
        {ROBOT_PIRRA_2, 0, true, "pirra_2"}, {ROBOT_PIRRA_3, 0, true, "pirra_3"},
        {ROBOT_LUMO_A, 1, true, "lumo_a"},   {ROBOT_LUMO_B, 0, true, "lumo_b"},
        {ROBOT_TALDO, 0, true, "taldo"},     {ROBOT_LUMO_C, 2, true, "lumo_c"},
        {ROBOT_GENERIC_7, 0, false, "generic_7"},
    };
    return models;
}

// Selects the model; the blank generic_7 gets a random non-trivial DH table so
// that its standard-convention chain is exercised.
inline void select(const ModelCase &m, std::mt19937 &rng) {
    libalgo_set_robot_and_sensor_type(m.type, m.sensor);
    if (m.type == ROBOT_GENERIC_7) {
        std::uniform_real_distribution<float> len(-0.3f, 0.3f), ang(-3.1f, 3.1f);
        DhTable dh{};
        for (int i = 0; i < 7; ++i) {
            dh.d[i] = len(rng);
            dh.a[i] = len(rng);
            dh.alpha[i] = ang(rng);
            dh.offset[i] = ang(rng);
        }
        libalgo_set_dh_params(&dh);
    }
}

// Random joint vector inside the limits shrunk by `margin` on each side.
inline std::vector<float> random_q(std::mt19937 &rng, float margin = 0.0f) {
    float hi[8], lo[8];
    libalgo_get_jointlim_max(hi);
    libalgo_get_jointlim_min(lo);
    std::vector<float> q(8, 0.0f);
    for (int i = 0; i < libalgo_get_rbt_dof(); ++i)
        q[i] = std::uniform_real_distribution<float>(lo[i] + margin, hi[i] - margin)(rng);
    return q;
}

}  // namespace ref
