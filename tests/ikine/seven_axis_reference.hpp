// Test helpers for the seven-axis solvers: an independent double-precision DH
// chain, pose errors, random joints and the default models from the store.
#ifndef TOVA_TESTS_IKINE_SEVEN_AXIS_REFERENCE_HPP
#define TOVA_TESTS_IKINE_SEVEN_AXIS_REFERENCE_HPP

#include <cmath>
#include <random>

#include "config/libalgo_interface.h"

namespace seven_ref {

constexpr double kPi = 3.14159265358979323846;

struct T4 {
    double m[4][4];
};

inline T4 mul(const T4& A, const T4& B) {
    T4 C{};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            for (int k = 0; k < 4; ++k) C.m[i][j] += A.m[i][k] * B.m[k][j];
    return C;
}
inline T4 eye() {
    T4 I{};
    for (int i = 0; i < 4; ++i) I.m[i][i] = 1.0;
    return I;
}
inline T4 rz(double t) {
    T4 T = eye();
    T.m[0][0] = std::cos(t); T.m[0][1] = -std::sin(t);
    T.m[1][0] = std::sin(t); T.m[1][1] = std::cos(t);
    return T;
}
inline T4 rx(double t) {
    T4 T = eye();
    T.m[1][1] = std::cos(t); T.m[1][2] = -std::sin(t);
    T.m[2][1] = std::sin(t); T.m[2][2] = std::cos(t);
    return T;
}
inline T4 tr(double x, double y, double z) {
    T4 T = eye();
    T.m[0][3] = x; T.m[1][3] = y; T.m[2][3] = z;
    return T;
}

// One arm model as the store describes it; theta = q + offset.
struct Model {
    unsigned type;
    bool modified;  // modified DH (taldo) or standard DH (quell)
    double d[7], a[7], alpha[7], offset[7];
    double lo[7], hi[7];  // machine limits
    double vmax[7], period;
};

inline Model load_model(unsigned type, unsigned sensor) {
    libalgo_set_robot_and_sensor_type(type, sensor);
    DhTable dh;
    libalgo_get_dh_value(&dh);
    float hi[8], lo[8], vel[8];
    libalgo_get_jointlim_max(hi);
    libalgo_get_jointlim_min(lo);
    libalgo_get_joint_vel_maxlim(vel);
    Model m{};
    m.type = type;
    m.modified = type == 7;
    // The closed forms have their twists built in: exact right angles here.
    const double h = kPi / 2;
    const double quell_alpha[7] = {-h, h, -h, h, -h, h, 0};
    const double taldo_alpha[7] = {0, -h, h, h, -h, h, h};
    for (int i = 0; i < 7; ++i) {
        m.d[i] = dh.d[i]; m.a[i] = dh.a[i];
        m.alpha[i] = type == 7 ? taldo_alpha[i] : quell_alpha[i];
        m.offset[i] = type == 7 ? dh.offset[i] : 0.0;  // the quell chain ignores offsets
        m.lo[i] = lo[i]; m.hi[i] = hi[i]; m.vmax[i] = vel[i];
    }
    m.period = libalgo_get_control_loop_period();
    return m;
}

// Flange transform for machine angles q.
inline T4 forward(const Model& m, const double* q) {
    T4 T = eye();
    for (int i = 0; i < 7; ++i) {
        const double th = q[i] + m.offset[i];
        const T4 link = m.modified ? mul(mul(rx(m.alpha[i]), tr(m.a[i], 0, 0)), mul(rz(th), tr(0, 0, m.d[i])))
                                   : mul(mul(rz(th), tr(0, 0, m.d[i])), mul(tr(m.a[i], 0, 0), rx(m.alpha[i])));
        T = mul(T, link);
    }
    return T;
}

// Position error (m) and rotation angle error (rad) between two transforms.
inline double pos_err(const T4& A, const T4& B) {
    double s = 0;
    for (int i = 0; i < 3; ++i) s += (A.m[i][3] - B.m[i][3]) * (A.m[i][3] - B.m[i][3]);
    return std::sqrt(s);
}
// Frobenius distance of the rotations over sqrt 2: the angle between them
// for small angles, without the rounding of acos near one.
inline double rot_err(const T4& A, const T4& B) {
    double s = 0;
    for (int i = 0; i < 3; ++i)
        for (int k = 0; k < 3; ++k) s += (A.m[i][k] - B.m[i][k]) * (A.m[i][k] - B.m[i][k]);
    return std::sqrt(0.5 * s);
}

inline double wrap(double a) { return std::remainder(a, 2.0 * kPi); }

// Uniform machine angles inside the limits, `margin` rad away from them.
template <class Rng>
void random_joints(const Model& m, Rng& rng, double* q, double margin = 0.0) {
    for (int i = 0; i < 7; ++i) {
        std::uniform_real_distribution<double> u(m.lo[i] + margin, m.hi[i] - margin);
        q[i] = u(rng);
    }
}

}  // namespace seven_ref

#endif
