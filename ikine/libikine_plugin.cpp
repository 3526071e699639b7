// Self-contained inverse kinematics (`ikine`) and the stateless six-axis
// plug-in solvers: the same solver core as inverse_kinematics, run on a local
// SixAxisState with identity installation and work frames.
#include "ikine/libikine_plugin.h"

#include "config/libalgo_interface.h"
#include "config/tova_ikine_global.h"
#include "ikine/ik_six_axis_core.hpp"
#include "ikine/ikine_quell.h"
#include "ikine/ikine_taldo.h"
#include "ikine/tova_ikine.h"
#include "math/tova_matrix.h"

namespace {

int32_t solve_plugin(uint32_t robot_type, bool with_tool, const Matrix *target, const float *q_current,
                     float *q_out) {
    tova::ik::SixAxisState s{};  // inv_angle starts at zero: nothing carries over
    tova::ik::plugin_setup(s, *target, with_tool);
    return tova::ik::solve_six_axis(s, robot_type, true, q_current, q_out);
}

}  // namespace

int32_t plugin_inverse_kinematics_vesk(const Matrix *target, const float *q_current, float *q_out) {
    return solve_plugin(ROBOT_VESK, true, target, q_current, q_out);
}

int32_t plugin_inverse_kinematics_pirra_2(const Matrix *target, const float *q_current, float *q_out) {
    return solve_plugin(ROBOT_PIRRA_2, true, target, q_current, q_out);
}

int32_t plugin_inverse_kinematics_pirra_3(const Matrix *target, const float *q_current, float *q_out) {
    return solve_plugin(ROBOT_PIRRA_3, false, target, q_current, q_out);
}

int32_t plugin_inverse_kinematics_lumo(const Matrix *target, const float *q_current, float *q_out) {
    return solve_plugin(ROBOT_LUMO_A, false, target, q_current, q_out);
}

int32_t ikine(uint32_t robot_type, uint32_t sensor_type, uint32_t solve_mode, const float *joint_max,
              const float *joint_min, const float *target, const float *q_current, float *q_out) {
    const bool wide = solve_mode == 1;
    ikine_set_solution_range_quell(wide ? 3.14f : 0.013f);
    ikine_set_7dof_solver_search_strategy(wide ? 0u : 1u);
    libalgo_set_robot_and_sensor_type(robot_type, sensor_type);
    libalgo_set_jointlim_max(joint_max);
    libalgo_set_jointlim_min(joint_min);

    Matrix m = tova::fm_zero<Matrix>(4, 4);
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) m.data[r][c] = target[4 * r + c];

    const uint32_t type = libalgo_get_robot_type();
    float q[8];
    tova::ik::prepare_joints(q_current, type, q);
    if (type > ROBOT_LUMO_C) return IKINE_NO_SOLVER;
    switch (type) {
    case ROBOT_VESK:
        return plugin_inverse_kinematics_vesk(&m, q, q_out);
    case ROBOT_QUELL:
        return inverse_kinematics_quell(matrix_to_mat(&m), q, q_out);
    case ROBOT_PIRRA_2:
        return plugin_inverse_kinematics_pirra_2(&m, q, q_out);
    case ROBOT_PIRRA_3:
        return plugin_inverse_kinematics_pirra_3(&m, q, q_out);
    case ROBOT_LUMO_A:
    case ROBOT_LUMO_B:
    case ROBOT_LUMO_C:
        return plugin_inverse_kinematics_lumo(&m, q, q_out);
    case ROBOT_TALDO:
        return inverse_kinematics_taldo(matrix_to_mat(&m), q_current, q_out);
    default:
        return IKINE_NO_SOLVER;
    }
}
