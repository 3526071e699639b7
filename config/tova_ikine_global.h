#ifndef TOVA_CONFIG_TOVA_IKINE_GLOBAL_H
#define TOVA_CONFIG_TOVA_IKINE_GLOBAL_H
/* Settings of the seven-axis inverse kinematics. They are initialised statics,
 * not part of the robot configuration: model selection does not reset them. */
#include <stdint.h>
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

/* Search strategy: 1 (initial) = narrow search around the current redundancy
 * parameter (Cartesian motion), 0 = wide search. Stored unchecked. */
TOVA_API void ikine_set_7dof_solver_search_strategy(uint32_t strategy);
TOVA_API uint32_t ikine_get_7dof_solver_search_strategy(void);
/* Half-width of the narrow search window, rad (initial 0.013). */
TOVA_API void ikine_set_solution_range_quell(float range);
TOVA_API float ikine_get_solution_range_quell(void);

#ifdef __cplusplus
}
#endif
#endif
