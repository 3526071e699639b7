#ifndef TOVA_IKINE_TOVA_IKINE_H
#define TOVA_IKINE_TOVA_IKINE_H
#include "math/tova_mathfuncs.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

typedef enum IkineResult {       /* returned as int32_t */
    IKINE_OK              =  0,  /* solution within all limits */
    IKINE_NO_CANDIDATE    = -1,  /* no candidate inside the joint bounds */
    IKINE_OUT_OF_LIMIT    = -2,  /* chosen solution outside a modeling limit */
    IKINE_NO_SOLVER       = -4   /* robot type without solver (2, or above 8) */
} IkineResult;

/* Inverse kinematics of the configured arm for a target pose in the work frame.
 * is_euler == 1 takes the orientation from pose->euler, any other value from
 * pose->quaternion. q_current: dof machine angles (rad); q_out: 6 angles (7 for
 * the seven-axis models, written by their solvers). A last joint just past one
 * turn (6.283185 < |q| < 6.318092) is solved as exactly +-6.283185. Returns 0,
 * -1 (no candidate; q_out still written, from the previous solution), -2 (q_out
 * outside a modeling limit), -4 (type 2 or above 8; q_out untouched) or the
 * seven-axis solver's own code. Not reentrant. */
TOVA_API int32_t inverse_kinematics(const float *q_current, const Pose *pose, float *q_out, uint8_t is_euler);
/* Resets the working state of the six-axis solvers; the last best solution
 * (used again on -1) is kept on purpose. */
TOVA_API void inverse_data_init(void);
/* Builds the target flange pose in the base frame, inverse(work frame) x pose,
 * into the working state; is_euler as for inverse_kinematics. Returns 1. */
TOVA_API int32_t T_Base_Tool(const Pose *pose, uint8_t is_euler);
/* Loads columns n, o, a and position p of m into the working scalars. */
TOVA_API void pose_n_o_a(const Matrix *m);
/* vesk solver on the state prepared by inverse_kinematics (target, frames,
 * limits); joint 6 filtered at +-6.300638 in solver space, then checked
 * against its modeling limit. q_current: 6 angles after the wrap clamp.
 * Returns 0, -1 or -2 and always writes q_out (6 angles, rad). */
TOVA_API int32_t inverse_kinematics_vesk(const float *q_current, float *q_out);
/* pirra_2 solver, as vesk with its offset arm; joint 6 filtered at offset
 * +-6.3006387. Returns 0, -1 or -2. */
TOVA_API int32_t inverse_kinematics_pirra_2(const float *q_current, float *q_out);
/* pirra_3 solver (lateral shoulder offset d2): eight candidates, no filter
 * before the choice, double precision. Returns 0, -1 (q_out untouched when the
 * target is out of reach) or -2 (q_out partly in solver space past the first
 * joint outside its limit). */
TOVA_API int32_t inverse_kinematics_pirra_3(const float *q_current, float *q_out);
/* Solver of lumo A, B and C (non-spherical wrist), rules as pirra_3. */
TOVA_API int32_t inverse_kinematics_lumo(const float *q_current, float *q_out);
/* 0, or the 1-based number of the first joint with |q_to - q_from| > velocity
 * limit x control period x max(ratio, 0) (strictly greater). Reads dof joints
 * of each vector (at most 8). */
TOVA_API int32_t joint_overspeed_judgment(const float *q_from, const float *q_to, float ratio);

#ifdef __cplusplus
}
#endif
#endif
