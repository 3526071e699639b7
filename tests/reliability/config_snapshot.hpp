// Everything the configuration getters report, in one record without padding
// (every field is 4-byte data), so two snapshots compare with memcmp and
// "bitwise equal through the getters" is one comparison. Shared by the
// reliability tests and the configuration fuzz target.
#pragma once

#include <cstdint>
#include <cstring>

#include "tova_algorithm.h"

namespace tova_test {

struct ConfigSnapshot {
    DhTable dh, dh_default, dh_compensation;
    JointConfig joints[8];
    float jointlim_max[8], jointlim_min[8], vel_max[8], acc_max[8], modeling_max[8], modeling_min[8];
    float direction[7], tool[6], work[6], install[3], gravity[3], tcp[4], payload[11], collision[21];
    float joint_cmd[8], joint_cur[8];
    float link_dynamics[80], link_dynamics_default[80];
    Matrix tool_matrix, work_matrix, install_matrix;
    DynamicsParams dynamics;
    RobotFeedback feedback;
    float period;
    uint32_t type, sensor, avoid_singularity, safety_level;
    int32_t dof, all_dof, dynamics_model_type, dh_is_default;
};

inline void take_snapshot(ConfigSnapshot &s) {
    std::memset(&s, 0, sizeof s);
    libalgo_get_dh_value(&s.dh);
    libalgo_get_dh_params_default(&s.dh_default);
    libalgo_get_dh_compensation_value(&s.dh_compensation);
    for (int16_t i = 0; i < 8; ++i) libalgo_get_joint_config(i, &s.joints[i]);
    libalgo_get_jointlim_max(s.jointlim_max);
    libalgo_get_jointlim_min(s.jointlim_min);
    libalgo_get_joint_vel_maxlim(s.vel_max);
    libalgo_get_joint_acc_maxlim(s.acc_max);
    libalgo_get_modeling_jointlim_max(s.modeling_max);
    libalgo_get_modeling_jointlim_min(s.modeling_min);
    libalgo_get_joint_direction(s.direction);
    libalgo_get_tool_cs_params(s.tool);
    libalgo_get_work_cs_params(s.work);
    libalgo_get_robot_install_angle(s.install);
    libalgo_get_robot_gravity_acc(s.gravity);
    libalgo_get_tcp_config(s.tcp);
    libalgo_get_payload_params(s.payload);
    libalgo_get_user_collision_threshold(s.collision);
    libalgo_get_trajectory_planning_joint_cmd(s.joint_cmd);
    libalgo_get_trajectory_planning_joint_cur(s.joint_cur);
    libalgo_get_link_dynamics_params(s.link_dynamics);  // dof x 10 of the 80
    libalgo_get_link_dynamics_params_default(s.link_dynamics_default);
    libalgo_get_tool_cs_matrix(&s.tool_matrix);
    libalgo_get_work_cs_to_base_matrix(&s.work_matrix);
    libalgo_get_robot_install_angle_matrix(&s.install_matrix);
    libalgo_get_dynamics_params(&s.dynamics);
    libalgo_get_robot_feedback_data(&s.feedback);
    s.period = libalgo_get_control_loop_period();
    s.type = libalgo_get_robot_type();
    s.sensor = libalgo_get_sensor_type();
    s.avoid_singularity = libalgo_get_is_avoid_Singularity();
    s.safety_level = libalgo_get_safety_level();
    s.dof = libalgo_get_rbt_dof();
    s.all_dof = libalgo_get_system_all_dof();
    s.dynamics_model_type = libalgo_get_dynamics_model_type();
    s.dh_is_default = libalgo_check_dh_params_is_default();
}

inline bool same(const ConfigSnapshot &a, const ConfigSnapshot &b) { return std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace tova_test
