// The process-wide state outside the configuration record: the seven-axis
// settings, the singularity thresholds and the six-axis entry's carried best
// solution (reported again when a request finds no candidate). Model selection
// resets none of them, so tests and fuzz targets that must not depend on what
// ran before call reset_process_state() first.
#pragma once

#include "tova_algorithm.h"

namespace tova_test {

// Settings to their initial values, the carried solution to that of one fixed
// successful request, model 0 selected.
inline void reset_process_state() {
    ikine_set_7dof_solver_search_strategy(1);
    ikine_set_solution_range_quell(0.013f);
    kin_singularity_thresholds_init();
    libalgo_set_robot_and_sensor_type(ROBOT_VESK, 0);
    const float q0[6] = {0.1f, -0.4f, 0.9f, 0.2f, 0.7f, -0.3f};
    Pose p;
    forward_kinematics(&p, q0);
    float out[6];
    inverse_kinematics(q0, &p, out, 1);
}

}  // namespace tova_test
