#ifndef TOVA_IKINE_LIBIKINE_PLUGIN_H
#define TOVA_IKINE_LIBIKINE_PLUGIN_H
#include "math/tova_mathfuncs.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

/* Self-contained inverse kinematics: reselects robot_type/sensor_type (the
 * whole configuration returns to the model defaults), sets the 8 upper and 8
 * lower machine joint limits, sets the seven-axis settings (solve_mode 1: range
 * 3.14 and strategy 0; otherwise 0.013 and 1) and solves the flange target
 * given as 16 floats row-major in the robot base frame. q_current: dof machine
 * angles; q_out: 6 angles (7 for seven-axis models). Returns 0, -1, -2, -4 or
 * the seven-axis code. */
TOVA_API int32_t ikine(uint32_t robot_type, uint32_t sensor_type, uint32_t solve_mode, const float *joint_max, const float *joint_min, const float *target, const float *q_current, float *q_out);
/* Stateless vesk solver: target = flange in the base frame (no installation or
 * work frame), configured tool applied; joint-6 filter = modeling limits
 * widened by one degree. Returns 0, -1 (q_out holds no solution) or -2. */
TOVA_API int32_t plugin_inverse_kinematics_vesk(const Matrix *target, const float *q_current, float *q_out);
/* Stateless pirra_2 solver, as the vesk plug-in with joint 6 filtered at
 * offset +-6.3006387. */
TOVA_API int32_t plugin_inverse_kinematics_pirra_2(const Matrix *target, const float *q_current, float *q_out);
/* Stateless pirra_3 solver; target is the flange itself (no tool frame). */
TOVA_API int32_t plugin_inverse_kinematics_pirra_3(const Matrix *target, const float *q_current, float *q_out);
/* Stateless lumo solver; target is the flange itself (no tool frame). */
TOVA_API int32_t plugin_inverse_kinematics_lumo(const Matrix *target, const float *q_current, float *q_out);

#ifdef __cplusplus
}
#endif
#endif
