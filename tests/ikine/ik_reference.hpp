// Independent double-precision reference for the inverse-kinematics tests:
// DH chains from the textbook link transforms of tests/kinematics, pose
// errors, and the seven-axis models.
#pragma once

#include <algorithm>

#include "../kinematics/universal_reference.hpp"

namespace ikref {

using ref::M4;

// Flange of the first n links for model angles th (offsets included). The
// twists are right angles in every model, exact ones in the closed forms:
// the table's f32 values are rounded to them.
inline M4 chain(const DhTable &dh, int n, bool modified, const double *th) {
    M4 T = ref::eye();
    for (int i = 0; i < n; ++i) {
        const double alpha = std::nearbyint(dh.alpha[i] / (M_PI / 2)) * (M_PI / 2);
        T = ref::mul(T, ref::link(modified, th[i], dh.d[i], dh.a[i], alpha));
    }
    return T;
}

inline M4 pose_m4(const Pose &p) { return ref::from(pose_quat_to_transformation_matrix(p)); }

inline double pos_err(const M4 &A, const M4 &B) {
    return std::hypot(A[0][3] - B[0][3], A[1][3] - B[1][3], A[2][3] - B[2][3]);
}
// Frobenius distance of the rotations over sqrt 2, 2 sin(angle / 2): the
// angle for small angles, without the rounding of acos near one.
inline double rot_err(const M4 &A, const M4 &B) {
    double s = 0;
    for (int i = 0; i < 3; ++i)
        for (int k = 0; k < 3; ++k) s += (A[i][k] - B[i][k]) * (A[i][k] - B[i][k]);
    return std::sqrt(0.5 * s);
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
M4 forward(const Seven &m, const T *q) {
    double th[7];
    for (int i = 0; i < 7; ++i) th[i] = q[i] + static_cast<double>(m.dh.offset[i]);
    return chain(m.dh, 7, m.type == ROBOT_TALDO, th);
}

// Uniform machine angles inside the limits, `margin` rad away from them.
template <class T, class Rng>
void random_joints(const Seven &m, Rng &rng, T *q, double margin = 0.0) {
    for (int i = 0; i < 7; ++i) q[i] = static_cast<T>(std::uniform_real_distribution<double>(m.lo[i] + margin, m.hi[i] - margin)(rng));
}

}  // namespace ikref
