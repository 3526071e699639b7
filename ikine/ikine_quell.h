#ifndef TOVA_IKINE_IKINE_QUELL_H
#define TOVA_IKINE_IKINE_QUELL_H
#include "math/tova_matrix.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

/* Result codes of the seven-axis solvers (quell and taldo). They lie below -4
 * so that they never collide with the codes of inverse_kinematics. On every
 * failure q_out receives the current joints unchanged, so a controller that
 * ignores the code holds still. */
typedef enum Ikine7Result {
    IKINE7_OK            =  0,  /* solution inside all limits (and speed limits in narrow mode) */
    IKINE7_INVALID_INPUT = -5,  /* non-finite input, not a 4 x 4 rigid transform, or NULL pointer */
    IKINE7_OUT_OF_REACH  = -6,  /* the target cannot be reached by the arm's geometry */
    IKINE7_JOINT_LIMIT   = -7,  /* reachable, but no solution inside the modeling joint limits
                                   (narrow mode: none inside the search window) */
    IKINE7_SPEED_LIMIT   = -8   /* narrow mode: no solution in the window within the joint speed
                                   limits over one control period */
} Ikine7Result;

/* Inverse kinematics of the quell arm (7 joints, spherical shoulder and wrist).
 * target: T_BT, the tool pose in the base frame, 4 x 4; the solver removes the
 * configured installation angle and tool frame itself (identity in the ikine
 * path). q_current, q_out: 7 machine angles, rad. Returns 0 or an Ikine7Result. */
TOVA_API int32_t inverse_kinematics_quell(mat target, const float *q_current, float *q_out);

#ifdef __cplusplus
}
#endif
#endif
