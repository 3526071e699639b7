// Inverse-kinematics entry of the library: target pose in the work frame to
// joint angles, through the six-axis closed forms (ik_six_axis_core.hpp) or
// the seven-axis solvers. All working values of the six-axis solvers live in
// one file-level SixAxisState, so the best solution of a call is still there
// for the next one (a call that finds no candidate reports it again).
#include "ikine/tova_ikine.h"

#include <cmath>

#include "config/config_generation.hpp"
#include "config/libalgo_interface.h"
#include "ikine/ik_six_axis_core.hpp"
#include "ikine/ikine_quell.h"
#include "ikine/ikine_taldo.h"
#include "math/tova_matrix.h"

namespace {

// The working state of inverse_kinematics and its solvers (one per process;
// callers serialise all calls).
tova::ik::SixAxisState ik_working_state;

}  // namespace


void inverse_data_init(void) { tova::ik::reset_working_values(ik_working_state); }

int32_t T_Base_Tool(const Pose *pose, uint8_t is_euler) {
    tova::ik::load_target(ik_working_state, *pose, is_euler);
    return 1;
}

void pose_n_o_a(const Matrix *m) { tova::ik::load_noa(ik_working_state, *m); }

int32_t inverse_kinematics(const float *q_current, const Pose *pose, float *q_out, uint8_t is_euler) {
    float q[8];
    // The kept state copies the configuration only after it changed.
    const uint32_t type =
        tova::ik::prepare_entry(ik_working_state, q_current, *pose, is_euler, q, tova::config_generation());
    switch (type) {
    case ROBOT_VESK:
        return inverse_kinematics_vesk(q, q_out);
    case ROBOT_QUELL:
        return inverse_kinematics_quell(matrix_to_mat(&ik_working_state.T_BT), q, q_out);
    case ROBOT_PIRRA_2:
        return inverse_kinematics_pirra_2(q, q_out);
    case ROBOT_PIRRA_3:
        return inverse_kinematics_pirra_3(q, q_out);
    case ROBOT_LUMO_A:
    case ROBOT_LUMO_B:
    case ROBOT_LUMO_C:
        return inverse_kinematics_lumo(q, q_out);
    case ROBOT_TALDO: {
        // The flange target; the caller's own joints, without the wrap clamp.
        const Matrix base_inverse = tova::inv_transform(ik_working_state.T_base);
        const Matrix tool_inverse = tova::inv_transform(ik_working_state.Ttool_frame);
        const Matrix in_base = tova::transform_mul(base_inverse, ik_working_state.T_BT);
        const Matrix flange = tova::transform_mul(in_base, tool_inverse);
        return inverse_kinematics_taldo(matrix_to_mat(&flange), q_current, q_out);
    }
    default:
        return IKINE_NO_SOLVER;
    }
}

int32_t inverse_kinematics_vesk(const float *q_current, float *q_out) {
    return tova::ik::solve_six_axis(ik_working_state, ROBOT_VESK, false, q_current, q_out);
}

int32_t inverse_kinematics_pirra_2(const float *q_current, float *q_out) {
    return tova::ik::solve_six_axis(ik_working_state, ROBOT_PIRRA_2, false, q_current, q_out);
}

int32_t inverse_kinematics_pirra_3(const float *q_current, float *q_out) {
    return tova::ik::solve_six_axis(ik_working_state, ROBOT_PIRRA_3, false, q_current, q_out);
}

int32_t inverse_kinematics_lumo(const float *q_current, float *q_out) {
    return tova::ik::solve_six_axis(ik_working_state, ROBOT_LUMO_A, false, q_current, q_out);
}

int32_t joint_overspeed_judgment(const float *q_from, const float *q_to, float ratio) {
    tova::ik::SixAxisState &s = ik_working_state;
    libalgo_get_joint_vel_maxlim(s.joint_limit_vel);
    const float r = ratio > 0.0f ? ratio : 0.0f;  // NaN counts as 0 too
    for (s.i = 0; s.i < libalgo_get_rbt_dof() && s.i < 8; ++s.i) {
        if (std::fabs(q_to[s.i] - q_from[s.i]) > s.joint_limit_vel[s.i] * libalgo_get_control_loop_period() * r)
            return s.i + 1;
    }
    return 0;
}
