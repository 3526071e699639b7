#include "ikine/seven_axis_entry.hpp"

#include "config/tova_ikine_global.h"

namespace tova::seven_axis {

namespace {

constexpr double kRotationTol = 1e-3;

bool orthonormalise(const double m[3][3], const double p[3], Rigid* out) {
    for (int i = 0; i < 3; ++i) {
        if (!std::isfinite(p[i])) return false;
        for (int j = 0; j < 3; ++j)
            if (!std::isfinite(m[i][j])) return false;
    }
    const V3 c0{m[0][0], m[1][0], m[2][0]}, c1{m[0][1], m[1][1], m[2][1]}, c2{m[0][2], m[1][2], m[2][2]};
    const V3 cols[3] = {c0, c1, c2};
    for (const V3& c : cols)
        if (std::fabs(norm(c) - 1.0) > kRotationTol) return false;
    if (std::fabs(dot(c0, c1)) > kRotationTol || std::fabs(dot(c1, c2)) > kRotationTol ||
        std::fabs(dot(c0, c2)) > kRotationTol || dot(cross(c0, c1), c2) < 0.5)
        return false;
    const V3 z = (1.0 / norm(c2)) * c2;
    V3 x = c0 - dot(c0, z) * z;
    x = (1.0 / norm(x)) * x;
    const V3 y = cross(z, x);
    out->R = {{{x.x, y.x, z.x}, {x.y, y.y, z.y}, {x.z, y.z, z.z}}};
    out->p = {p[0], p[1], p[2]};
    return true;
}

}  // namespace

bool read_target(const mat& target, Rigid* out) {
    if (target.rows != 4 || target.cols != 4) return false;
    double m[3][3], p[3];
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) m[i][j] = target.data[i][j];
        p[i] = target.data[i][3];
    }
    return orthonormalise(m, p, out);
}

bool rigid_from_matrix(const Matrix& mx, Rigid* out) {
    double m[3][3], p[3];
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) m[i][j] = mx.data[i][j];
        p[i] = mx.data[i][3];
    }
    return orthonormalise(m, p, out);
}

bool read_joints(const float* q, double out[kJoints]) {
    for (int i = 0; i < kJoints; ++i) {
        if (!std::isfinite(q[i])) return false;
        out[i] = q[i];
    }
    return true;
}

JointSpace read_joint_space(const double shift[kJoints]) {
    float hi[8], lo[8], vel[8];
    libalgo_get_modeling_jointlim_max(hi);
    libalgo_get_modeling_jointlim_min(lo);
    libalgo_get_joint_vel_maxlim(vel);
    const double period = libalgo_get_control_loop_period();
    JointSpace js{};
    js.check_speed = std::isfinite(period) && period > 0.0;
    for (int i = 0; i < kJoints; ++i) {
        // Non-finite limits leave nothing feasible (NaN compares false).
        js.lo[i] = static_cast<double>(lo[i]) - shift[i];
        js.hi[i] = static_cast<double>(hi[i]) - shift[i];
        const double v = vel[i];
        js.max_step[i] = (js.check_speed && std::isfinite(v) && v > 0.0) ? v * period : 0.0;
    }
    return js;
}

SearchSettings read_settings() {
    SearchSettings ss{};
    ss.narrow = ikine_get_7dof_solver_search_strategy() != 0;
    const double w = ikine_get_solution_range_quell();
    ss.half_window = w > 0.0 ? w : 0.0;  // NaN and negative: 0; +inf stays
    return ss;
}

void write_joints(const double th[kJoints], const double offset[kJoints], const float* q_current,
                  bool speed_checked, float* q_out) {
    float hi[8], lo[8], vel[8];
    libalgo_get_jointlim_max(hi);
    libalgo_get_jointlim_min(lo);
    libalgo_get_joint_vel_maxlim(vel);
    const float period = libalgo_get_control_loop_period();
    for (int i = 0; i < kJoints; ++i) {
        float q = static_cast<float>(th[i] - offset[i]);
        for (int k = 0; k < 4 && q > hi[i]; ++k) q = std::nextafter(q, lo[i]);
        for (int k = 0; k < 4 && q < lo[i]; ++k) q = std::nextafter(q, hi[i]);
        if (speed_checked && vel[i] > 0.0f) {
            const float step = vel[i] * period * 1.0f;
            for (int k = 0; k < 8 && std::fabs(q - q_current[i]) > step; ++k) q = std::nextafter(q, q_current[i]);
        }
        q_out[i] = q;
    }
}

}  // namespace tova::seven_axis
