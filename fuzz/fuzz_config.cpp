// The configuration setters and getters in random order with random values,
// including NaN, infinities, huge values and out-of-range indices. Afterwards
// reselecting a model must give exactly the defaults of a fresh selection.
#include <cstdlib>
#include <cstring>

#include "config_snapshot.hpp"
#include "fuzz_input.hpp"
#include "tova_algorithm.h"

namespace {

using tova_test::ConfigSnapshot;
using tova_test::take_snapshot;

// Snapshots of a fresh selection of every model, taken before any input ran.
ConfigSnapshot g_fresh[10];

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    for (uint32_t t = 0; t < 10; ++t) {
        if (t == 2) continue;
        libalgo_set_robot_and_sensor_type(t, 0);
        take_snapshot(g_fresh[t]);
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
                ConfigSnapshot s;
                take_snapshot(s);  // every getter, on whatever state we are in
                (void)libalgo_check_dh_params_is_default();
                ikine_set_7dof_solver_search_strategy(in.u32());
                ikine_set_solution_range_quell(buf[1]);
                break;
            }
        }
    }
    // Reselection restores bitwise what a fresh selection in a fresh process gives.
    libalgo_set_robot_and_sensor_type(final_type, 0);
    ConfigSnapshot after;
    take_snapshot(after);
    if (!tova_test::same(after, g_fresh[final_type])) std::abort();
    ikine_set_7dof_solver_search_strategy(1);
    ikine_set_solution_range_quell(0.013f);
    return 0;
}
