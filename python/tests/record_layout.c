/* Prints the size of every C record the binding mirrors and the offset of
 * each of their fields, one "name value" per line, for test_binding.py to
 * compare with the ctypes Structures. */
#include <stddef.h>
#include <stdio.h>

#include "tova_algorithm.h"

#define SIZE(T) printf(#T " %zu\n", sizeof(T))
#define FIELD(T, f) printf(#T "." #f " %zu\n", offsetof(T, f))

int main(void) {
    SIZE(Matrix); FIELD(Matrix, rows); FIELD(Matrix, cols); FIELD(Matrix, data);
    SIZE(MatrixMore); FIELD(MatrixMore, rows); FIELD(MatrixMore, cols); FIELD(MatrixMore, data);
    SIZE(Quaternion); FIELD(Quaternion, w); FIELD(Quaternion, x); FIELD(Quaternion, y); FIELD(Quaternion, z);
    SIZE(Euler); FIELD(Euler, rx); FIELD(Euler, ry); FIELD(Euler, rz);
    SIZE(Pose); FIELD(Pose, x); FIELD(Pose, y); FIELD(Pose, z); FIELD(Pose, quaternion); FIELD(Pose, euler);
    SIZE(mat); FIELD(mat, rows); FIELD(mat, cols); FIELD(mat, data);
    SIZE(DynMatrix); FIELD(DynMatrix, rows); FIELD(DynMatrix, cols); FIELD(DynMatrix, data);
    SIZE(Lpf3State); FIELD(Lpf3State, coef_a); FIELD(Lpf3State, coef_b); FIELD(Lpf3State, hist_x);
    FIELD(Lpf3State, hist_y);
    SIZE(Lpf3StateDouble); FIELD(Lpf3StateDouble, coef_a); FIELD(Lpf3StateDouble, coef_b);
    FIELD(Lpf3StateDouble, hist_x); FIELD(Lpf3StateDouble, hist_y);
    SIZE(DhTable); FIELD(DhTable, d); FIELD(DhTable, a); FIELD(DhTable, alpha); FIELD(DhTable, offset);
    FIELD(DhTable, d_compensation); FIELD(DhTable, a_compensation); FIELD(DhTable, alpha_compensation);
    FIELD(DhTable, offset_compensation);
    SIZE(JointConfig); FIELD(JointConfig, caller_data_head); FIELD(JointConfig, jointlim_max);
    FIELD(JointConfig, jointlim_min); FIELD(JointConfig, vel_maxlim); FIELD(JointConfig, acc_maxlim);
    FIELD(JointConfig, caller_data_tail);
    SIZE(RobotFeedback); FIELD(RobotFeedback, joint_vector_a); FIELD(RobotFeedback, joint_vector_b);
    FIELD(RobotFeedback, caller_data);
    SIZE(DynamicsParams); FIELD(DynamicsParams, drag_regulation_factor_a);
    FIELD(DynamicsParams, drag_regulation_factor_b); FIELD(DynamicsParams, identification_group_1);
    FIELD(DynamicsParams, identification_group_2); FIELD(DynamicsParams, identification_group_3);
    FIELD(DynamicsParams, link_dynamics);
    SIZE(RobotConfig); FIELD(RobotConfig, dh); FIELD(RobotConfig, robot_type);
    FIELD(RobotConfig, sensor_type); FIELD(RobotConfig, payload); FIELD(RobotConfig, tcp_config);
    FIELD(RobotConfig, joint_config); FIELD(RobotConfig, feedback); FIELD(RobotConfig, install_angle);
    FIELD(RobotConfig, tool_cs_params); FIELD(RobotConfig, work_cs_params);
    FIELD(RobotConfig, tool_cs_matrix); FIELD(RobotConfig, work_cs_to_base_matrix);
    FIELD(RobotConfig, install_angle_matrix); FIELD(RobotConfig, dynamics);
    FIELD(RobotConfig, joint_direction); FIELD(RobotConfig, user_collision_threshold);
    FIELD(RobotConfig, trajectory_planning_joint_cmd); FIELD(RobotConfig, trajectory_planning_joint_cur);
    FIELD(RobotConfig, dof); FIELD(RobotConfig, control_loop_period); FIELD(RobotConfig, gravity_acc);
    FIELD(RobotConfig, safety_level); FIELD(RobotConfig, system_all_dof);
    FIELD(RobotConfig, is_avoid_singularity); FIELD(RobotConfig, dynamics_model_type);
    SIZE(IkNumericalRequest); FIELD(IkNumericalRequest, max_iterations); FIELD(IkNumericalRequest, seed);
    FIELD(IkNumericalRequest, tolerance); FIELD(IkNumericalRequest, pose);
    FIELD(IkNumericalRequest, target_matrix);
    SIZE(AlgoMatrix); FIELD(AlgoMatrix, rows); FIELD(AlgoMatrix, cols); FIELD(AlgoMatrix, data);
    return 0;
}
