// The configuration setters and getters in random order with random values,
// including NaN, infinities, huge values and out-of-range indices. Afterwards
// reselecting a model must give exactly the defaults of a fresh selection.
#include <cstdlib>
#include <cstring>

#include "fuzz_input.hpp"
#include "tova_algorithm.h"

namespace {

struct Snapshot {
    DhTable dh, dh_default;
    JointConfig joints[8];
    float limits[6][8];
    float dir[7], tool[6], work[6], inst[3], grav[3], tcp[4], payload[11], coll[21], cmd[8], cur[8];
    Matrix tool_m, work_m, inst_m;
    DynamicsParams dyn;
    RobotFeedback fb;
    float period;
    uint32_t type, sensor, avoid;
    int32_t dof, all_dof, dyn_type;
    uint16_t safety;
};

void take(Snapshot &s) {
    std::memset(&s, 0, sizeof s);
    libalgo_get_dh_value(&s.dh);
    libalgo_get_dh_params_default(&s.dh_default);
    for (int16_t i = 0; i < 8; ++i) libalgo_get_joint_config(i, &s.joints[i]);
    libalgo_get_jointlim_max(s.limits[0]);
    libalgo_get_jointlim_min(s.limits[1]);
    libalgo_get_joint_vel_maxlim(s.limits[2]);
    libalgo_get_joint_acc_maxlim(s.limits[3]);
    libalgo_get_modeling_jointlim_max(s.limits[4]);
    libalgo_get_modeling_jointlim_min(s.limits[5]);
    libalgo_get_joint_direction(s.dir);
    libalgo_get_tool_cs_params(s.tool);
    libalgo_get_work_cs_params(s.work);
    libalgo_get_robot_install_angle(s.inst);
    libalgo_get_robot_gravity_acc(s.grav);
    libalgo_get_tcp_config(s.tcp);
    libalgo_get_payload_params(s.payload);
    libalgo_get_user_collision_threshold(s.coll);
    libalgo_get_trajectory_planning_joint_cmd(s.cmd);
    libalgo_get_trajectory_planning_joint_cur(s.cur);
    libalgo_get_tool_cs_matrix(&s.tool_m);
    libalgo_get_work_cs_to_base_matrix(&s.work_m);
    libalgo_get_robot_install_angle_matrix(&s.inst_m);
    libalgo_get_dynamics_params(&s.dyn);
    libalgo_get_robot_feedback_data(&s.fb);
    s.period = libalgo_get_control_loop_period();
    s.type = libalgo_get_robot_type();
    s.sensor = libalgo_get_sensor_type();
    s.avoid = libalgo_get_is_avoid_Singularity();
    s.dof = libalgo_get_rbt_dof();
    s.all_dof = libalgo_get_system_all_dof();
    s.dyn_type = libalgo_get_dynamics_model_type();
    s.safety = libalgo_get_safety_level();
}

// Snapshots of a fresh selection of every model, taken before any input ran.
Snapshot g_fresh[10];

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    for (uint32_t t = 0; t < 10; ++t) {
        if (t == 2) continue;
        libalgo_set_robot_and_sensor_type(t, 0);
        take(g_fresh[t]);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    tova_fuzz::Input in(data, size);
    uint32_t final_type = static_cast<uint32_t>(in.range(0, 9));
    if (final_type == 2) final_type = 0;
    float buf[160];
    int steps = 0;
    while (!in.empty() && steps++ < 64) {
        in.reals(buf, 160, 10.0f);
        switch (in.byte() % 24) {
            case 0: libalgo_set_robot_and_sensor_type(in.u32() % 12, in.u32() % 4); break;
            case 1: {
                DhTable t;
                std::memcpy(&t, buf, sizeof t < sizeof buf ? sizeof t : sizeof buf);
                libalgo_set_dh_params(&t);
                libalgo_set_dh_compensation_value(&t);
                break;
            }
            case 2: libalgo_set_dh_params_default(); break;
            case 3: libalgo_set_robot_install_angle(buf); break;
            case 4: libalgo_set_tool_cs_params(buf); break;
            case 5: libalgo_set_work_cs_params(buf); break;
            case 6: libalgo_set_payload_params(buf); break;
            case 7: {
                JointConfig jc;
                std::memcpy(&jc, buf, sizeof jc);
                libalgo_set_joint_config(static_cast<int16_t>(in.u32()), &jc);
                break;
            }
            case 8: libalgo_set_jointlim_max(buf); libalgo_set_jointlim_min(buf + 8); break;
            case 9: libalgo_set_joint_vel_maxlim(buf); libalgo_set_joint_acc_maxlim(buf + 8); break;
            case 10: libalgo_set_joint_direction(buf); break;
            case 11: {
                RobotFeedback fb;
                std::memcpy(&fb, buf, sizeof fb);
                libalgo_update_feedback_data(&fb);
                break;
            }
            case 12: libalgo_set_trajectory_planning_joint_cmd(buf); break;
            case 13: libalgo_set_link_dynamics_params(buf); break;
            case 14: libalgo_set_link_dynamics_params_default(); break;
            case 15: libalgo_set_dynamics_identification_params(buf); break;
            case 16: libalgo_set_drag_regulation_factor(buf); break;
            case 17: libalgo_set_control_loop_period(buf[0]); break;
            case 18: libalgo_set_tcp_config(buf); break;
            case 19: libalgo_set_safety_level(static_cast<uint16_t>(in.u32())); break;
            case 20: libalgo_set_user_collision_threshold(buf); break;
            case 21: libalgo_set_system_all_dof(static_cast<int32_t>(in.u32())); break;
            case 22: libalgo_set_is_avoid_Singularity(in.u32()); libalgo_set_dynamics_model_type(static_cast<int32_t>(in.u32())); break;
            default: {
                Snapshot s;
                take(s);  // every getter, on whatever state we are in
                (void)libalgo_check_dh_params_is_default();
                ikine_set_7dof_solver_search_strategy(in.u32());
                ikine_set_solution_range_quell(buf[1]);
                break;
            }
        }
    }
    // Reselection restores bitwise what a fresh selection in a fresh process gives.
    libalgo_set_robot_and_sensor_type(final_type, 0);
    Snapshot after;
    take(after);
    if (std::memcmp(&after, &g_fresh[final_type], sizeof after) != 0) std::abort();
    ikine_set_7dof_solver_search_strategy(1);
    ikine_set_solution_range_quell(0.013f);
    return 0;
}
