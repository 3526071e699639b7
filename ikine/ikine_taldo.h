#ifndef TOVA_IKINE_IKINE_TALDO_H
#define TOVA_IKINE_IKINE_TALDO_H
#include "math/tova_matrix.h"
#include "ikine/ikine_quell.h" /* Ikine7Result, shared by both seven-axis solvers */
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

/* Inverse kinematics of the taldo arm (rules in ikine_quell.h). target: the
 * flange pose in the base frame (installation and tool already removed by the
 * caller). q_current, q_out: 7 machine angles, rad (model angle = machine +
 * offset, joint 6 offset 90 deg). Returns 0 or an Ikine7Result. */
TOVA_API int32_t inverse_kinematics_taldo(mat target, const float *q_current, float *q_out);

#ifdef __cplusplus
}
#endif
#endif
