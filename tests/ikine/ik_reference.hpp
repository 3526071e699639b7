// Independent double-precision reference for the inverse-kinematics tests:
// DH chains from the textbook link transforms of tests/kinematics, pose
// errors, the seven-axis models, and the set-up both solver tests share.
#pragma once

#include <algorithm>

#include "../kinematics/universal_reference.hpp"

namespace ikref {

using ref::M4;

// Flange of the first n links for model angles th, or for machine angles
// (the table's offsets added) with `machine`. The twists are right angles in
// every model, exact ones in the closed forms: the table's f32 values are
// rounded to them.
template <class T>
M4 chain(const DhTable &dh, int n, bool modified, const T *th, bool machine = false) {
    M4 F = ref::eye();
    for (int i = 0; i < n; ++i) {
        const double alpha = std::nearbyint(dh.alpha[i] / (M_PI / 2)) * (M_PI / 2);
        F = ref::mul(F, ref::link(modified, th[i] + (machine ? double(dh.offset[i]) : 0.0), dh.d[i], dh.a[i], alpha));
    }
    return F;
}

// Larger of the position distance (m) and the rotation distance (rad). The
// latter is the Frobenius distance over sqrt 2, 2 sin(angle / 2): the angle
// for small angles, without the rounding of acos near one.
inline double gap(const M4 &A, const M4 &B) {
    double s = 0;
    for (int i = 0; i < 3; ++i)
        for (int k = 0; k < 3; ++k) s += (A[i][k] - B[i][k]) * (A[i][k] - B[i][k]);
    return std::fmax(std::hypot(A[0][3] - B[0][3], A[1][3] - B[1][3], A[2][3] - B[2][3]), std::sqrt(0.5 * s));
}
inline M4 pose_m4(const Pose &p) { return ref::from(pose_quat_to_transformation_matrix(p)); }
inline double gap(const Pose &a, const Pose &b) { return gap(pose_m4(a), pose_m4(b)); }

// The library's 4x4 record of T.
inline Matrix to_matrix(const M4 &T) {
    Matrix m = unit_matrix(4);
    for (int i = 0; i < 16; ++i) m.data[i / 4][i % 4] = static_cast<float>(T[i / 4][i % 4]);
    return m;
}

// Non-trivial installation, tool and work frames.
inline void set_frames() {
    const float install[3] = {0.3f, -0.2f, 0.5f}, tool[6] = {0.01f, -0.02f, 0.12f, 0.1f, -0.2f, 0.3f},
                work[6] = {0.3f, -0.1f, 0.05f, 0.2f, 0.1f, -0.4f};
    libalgo_set_robot_install_angle(install);
    libalgo_set_tool_cs_params(tool);
    libalgo_set_work_cs_params(work);
}

// Moves the machine limits of joint j (0-based) to [lo, hi].
inline void set_limit(int j, float lo, float hi) {
    float l[8], h[8];
    libalgo_get_jointlim_min(l);
    libalgo_get_jointlim_max(h);
    l[j] = lo, h[j] = hi;
    libalgo_set_jointlim_min(l);
    libalgo_set_jointlim_max(h);
}

// A seven-axis model as the store describes it.
struct Seven {
    unsigned type;
    DhTable dh;                   // quell: offsets zero (it reads none)
    float lo[8], hi[8], vmax[8];  // machine limits, speed limits
};

inline Seven seven_axis_model(unsigned type, unsigned sensor) {
    libalgo_set_robot_and_sensor_type(type, sensor);
    Seven m{};
    m.type = type;
    libalgo_get_dh_value(&m.dh);
    libalgo_get_jointlim_max(m.hi);
    libalgo_get_jointlim_min(m.lo);
    libalgo_get_joint_vel_maxlim(m.vmax);
    if (type != ROBOT_TALDO) std::fill(m.dh.offset, m.dh.offset + 7, 0.0f);
    return m;
}

// Flange for machine angles q.
template <class T>
M4 forward(const Seven &m, const T *q) { return chain(m.dh, 7, m.type == ROBOT_TALDO, q, true); }

// Uniform machine angles inside the limits, `margin` rad away from them.
template <class T, class Rng>
void random_joints(const Seven &m, Rng &rng, T *q, double margin = 0.0) {
    for (int i = 0; i < 7; ++i) q[i] = static_cast<T>(std::uniform_real_distribution<double>(m.lo[i] + margin, m.hi[i] - margin)(rng));
}

}  // namespace ikref
