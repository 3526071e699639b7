// The one independent double-precision reference of the kinematics tests: the
// textbook DH link matrices chained in double, frames as plain 4x4 arrays,
// comparisons against the library's f32 records, and helpers to select
// models and draw joint vectors inside the limits.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "tova_algorithm.h"

namespace ref {

using M4 = std::array<std::array<double, 4>, 4>;

inline M4 eye() { return M4{{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}}; }

inline M4 mul(const M4 &a, const M4 &b) {
    M4 r{};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            for (int k = 0; k < 4; ++k) r[i][j] += a[i][k] * b[k][j];
    return r;
}

inline M4 from(const Matrix &m) {
    M4 r{};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) r[i][j] = m.data[i][j];
    return r;
}

// Link transform of one DH row, written out as the textbook matrix of
// modified  RotX(alpha) TransX(a) RotZ(theta) TransZ(d),
// standard  RotZ(theta) TransZ(d) TransX(a) RotX(alpha).
inline M4 link(bool modified, double th, double d, double a, double al) {
    const double ct = std::cos(th), st = std::sin(th), ca = std::cos(al), sa = std::sin(al);
    if (modified)
        return M4{{{ct, -st, 0, a}, {st * ca, ct * ca, -sa, -sa * d}, {st * sa, ct * sa, ca, ca * d}, {0, 0, 0, 1}}};
    return M4{{{ct, -st * ca, st * sa, a * ct}, {st, ct * ca, -ct * sa, a * st}, {0, sa, ca, d}, {0, 0, 0, 1}}};
}

// The arm as the store describes it: DH table, joints and convention.
struct Arm {
    DhTable dh;
    int n;
    bool modified;  // chosen by the test from the model, not by the library's rule
};

inline Arm current_arm(bool modified) {
    Arm arm{{}, libalgo_get_rbt_dof(), modified};
    libalgo_get_dh_value(&arm.dh);
    return arm;
}

// Base-to-link-`upto` chain for machine angles q (offsets added).
template <class Real>
M4 chain(const Arm &arm, const Real *q, int upto) {
    M4 A = eye();
    for (int i = 0; i < upto; ++i)
        A = mul(A, link(arm.modified, double(q[i]) + arm.dh.offset[i], arm.dh.d[i], arm.dh.a[i], arm.dh.alpha[i]));
    return A;
}

// Twist (v, w) of the change from Tm to Tp over the step 2h: linear part dp
// and angular part vex(dR Rmid^T), both in the frame Tp and Tm are given in.
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

// Rz(rz) Ry(ry) Rx(rx) as a transform without translation.
inline M4 rpy(double rx, double ry, double rz) {
    const double cx = std::cos(rx), sx = std::sin(rx), cy = std::cos(ry), sy = std::sin(ry);
    const M4 X{{{1, 0, 0, 0}, {0, cx, -sx, 0}, {0, sx, cx, 0}, {0, 0, 0, 1}}};
    const M4 Y{{{cy, 0, sy, 0}, {0, 1, 0, 0}, {-sy, 0, cy, 0}, {0, 0, 0, 1}}};
    const M4 Z{{{std::cos(rz), -std::sin(rz), 0, 0}, {std::sin(rz), std::cos(rz), 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
    return mul(Z, mul(Y, X));
}

// Largest element difference over the leading rows x cols block.
inline double max_abs_diff(const Matrix &a, const M4 &b, int rows = 4, int cols = 4) {
    double m = 0.0;
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j) m = std::fmax(m, std::fabs(a.data[i][j] - b[i][j]));
    return m;
}
inline double max_abs_diff(const Matrix &a, const Matrix &b, int rows = 4, int cols = 4) {
    return max_abs_diff(a, from(b), rows, cols);
}

template <class Record>
bool same_bits(const Record &a, const Record &b) {
    return std::memcmp(&a, &b, sizeof(Record)) == 0;
}

struct ModelCase {
    uint32_t type;
    uint32_t sensor;
    bool modified;  // the quell and the generic arm use standard DH
    std::string name;
};
inline std::ostream &operator<<(std::ostream &o, const ModelCase &m) { return o << m.name; }

// Every model once (a varied sensor type each), or with every sensor type it
// accepts (the generic arm, blank until given a table, left out then).
inline std::vector<ModelCase> all_models(bool every_sensor = false) {
    const struct { uint32_t type, sensor, sensors; const char *name; } models[] = {
        {ROBOT_VESK, 2, 3, "vesk"},       {ROBOT_QUELL, 1, 3, "quell"},   {ROBOT_PIRRA_2, 0, 3, "pirra_2"},
        {ROBOT_PIRRA_3, 0, 3, "pirra_3"}, {ROBOT_LUMO_A, 1, 3, "lumo_a"}, {ROBOT_LUMO_B, 0, 1, "lumo_b"},
        {ROBOT_TALDO, 0, 1, "taldo"},     {ROBOT_LUMO_C, 2, 3, "lumo_c"}, {ROBOT_GENERIC_7, 0, 0, "generic_7"}};
    std::vector<ModelCase> out;
    for (const auto &m : models) {
        const bool modified = m.type != ROBOT_QUELL && m.type != ROBOT_GENERIC_7;
        if (!every_sensor) out.push_back({m.type, m.sensor, modified, m.name});
        for (uint32_t s = 0; every_sensor && s < m.sensors; ++s)
            out.push_back({m.type, s, modified, m.name + std::string("_s") + std::to_string(s)});
    }
    return out;
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

// Random joint vector (8 slots) inside the limits shrunk by `margin` on each side.
inline std::vector<float> random_q(std::mt19937 &rng, float margin = 0.0f) {
    float hi[8], lo[8];
    libalgo_get_jointlim_max(hi);
    libalgo_get_jointlim_min(lo);
    std::vector<float> q(8, 0.0f);
    for (int i = 0; i < libalgo_get_rbt_dof(); ++i)
        q[i] = std::uniform_real_distribution<float>(lo[i] + margin, hi[i] - margin)(rng);
    return q;
}

// The library's universal chain: `frame` of the joint vector q, read in `mode`.
inline Matrix frame_of(const std::vector<float> &q, const char *frame, const char *mode = "machine") {
    return kin_universal_kinematics_Tn(q.data(), mode, frame);
}

// Random tool and work frames (offsets within `reach` m) and install angles.
inline void random_frames(std::mt19937 &rng, float reach = 0.2f) {
    std::uniform_real_distribution<float> len(-reach, reach), ang(-3.0f, 3.0f);
    const float tool[6] = {len(rng), len(rng), len(rng), ang(rng), ang(rng), ang(rng)};
    const float work[6] = {len(rng), len(rng), len(rng), ang(rng), ang(rng), ang(rng)};
    const float inst[3] = {ang(rng), ang(rng), ang(rng)};
    libalgo_set_tool_cs_params(tool);
    libalgo_set_work_cs_params(work);
    libalgo_set_robot_install_angle(inst);
}

}  // namespace ref
