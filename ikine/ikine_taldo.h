#ifndef TOVA_IKINE_IKINE_TALDO_H
#define TOVA_IKINE_IKINE_TALDO_H
#include "math/tova_matrix.h"
#include "ikine/ikine_quell.h" /* Ikine7Result, shared by both seven-axis solvers */
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

/* Inverse kinematics of the taldo arm (7 joints, offset elbow and flange).
 * target: the flange pose in the base frame, 4 x 4 (installation and tool
 * already removed by the caller). q_current, q_out: 7 machine angles, rad.
 * Returns 0 or an Ikine7Result. */
TOVA_API int32_t inverse_kinematics_taldo(mat target, const float *q_current, float *q_out);

#ifdef __cplusplus
}
#endif
#endif
