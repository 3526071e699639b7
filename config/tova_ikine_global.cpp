// Settings of the seven-axis inverse kinematics. Initialised statics, kept
// apart from the robot configuration so that model selection leaves them be.
#include "config/tova_ikine_global.h"

namespace {
int32_t global_is_movl = 1;  // 1: narrow search (Cartesian motion), 0: wide search
float theta_v = 0.013f;      // half-width of the narrow search window, rad
}  // namespace

extern "C" {

// Stored unchecked; held as int32_t, any value round-trips unchanged.
void ikine_set_7dof_solver_search_strategy(uint32_t strategy) {
    global_is_movl = static_cast<int32_t>(strategy);
}

uint32_t ikine_get_7dof_solver_search_strategy(void) { return static_cast<uint32_t>(global_is_movl); }

void ikine_set_solution_range_quell(float range) { theta_v = range; }

float ikine_get_solution_range_quell(void) { return theta_v; }

}  // extern "C"
