#ifndef TOVA_IKINE_IKINE_QUELL_H
#define TOVA_IKINE_IKINE_QUELL_H
#include "math/tova_matrix.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

/* The seven-axis solvers (quell here, taldo in ikine_taldo.h) search the arm's
 * redundancy in closed form: quell over the elbow angle (the turn of the
 * shoulder about the line shoulder-wrist), taldo over joint 7; each value
 * gives up to eight solutions. Common rules:
 * - Settings (config/tova_ikine_global.h): search strategy 0 = wide, the whole
 *   feasible range (theta_v is not used); any other value = narrow, the
 *   parameter within theta_v of its current value (NaN or negative: the
 *   current value alone; a window over the whole range is searched as in wide
 *   mode, still speed-checked).
 * - Choice: inside the modeling joint limits, the solution with the smallest
 *   2.4 (d1^2 + d2^2 + d3^2) + d4^2 + ... + d7^2 from the current joints;
 *   joints with more than one turn of range keep the turn nearest the current
 *   value. Narrow mode also keeps every joint step within speed limit x
 *   control period; when the nearest solution does not, the one with the
 *   smallest largest step/limit ratio is taken, and the call fails only when
 *   even that one is too fast. The speed test is skipped when the period is
 *   not positive, and per joint where the speed limit is not.
 * - Current joints that already reach the target (1e-6 m and per rotation
 *   element) inside the limits are returned unchanged: a standing target
 *   holds still. Float rounding of the result is nudged back inside the
 *   limits and, in narrow mode, the speed limits (as joint_overspeed_judgment
 *   measures them).
 * - Only d, a and offset entries the closed forms need are read (quell d1, d3,
 *   d5, d7; taldo d1, d3, d5, d7, a4, a5, a7, offsets); the others are taken
 *   as the zeros of the catalogue.
 * - The target: rows and cols 4, finite, a rotation block within 1e-3 of a
 *   rotation (re-orthonormalised); the last row is not read. No heap;
 *   serialise with configuration changes.
 */

/* Result codes of the seven-axis solvers, below -4 so that they never collide
 * with the codes of inverse_kinematics. On every failure q_out receives the
 * current joints unchanged (nothing is written when q_current or q_out is
 * NULL), so a controller that ignores the code holds still. */
typedef enum Ikine7Result {
    IKINE7_OK            =  0,  /* solution inside all limits (and speed limits in narrow mode) */
    IKINE7_INVALID_INPUT = -5,  /* NULL pointer, non-finite value, or not a 4 x 4 rigid transform */
    IKINE7_OUT_OF_REACH  = -6,  /* no arm geometry reaches the target, whatever the limits */
    IKINE7_JOINT_LIMIT   = -7,  /* no solution inside the modeling joint limits (narrow mode:
                                   within the search window) */
    IKINE7_SPEED_LIMIT   = -8   /* narrow mode: no solution in the window within the joint speed
                                   limits over one control period */
} Ikine7Result;

/* Inverse kinematics of the quell arm. target: T_BT, the tool pose in the base
 * frame with installation and tool in it; the solver removes the configured
 * installation angle and tool frame itself through their getters (identity in
 * the ikine path, where target is the flange pose). Works on the joint values
 * as the quell forward kinematics does (offsets not added; limits = modeling
 * limits minus offsets). q_current, q_out: 7 rad. Returns 0 or Ikine7Result. */
TOVA_API int32_t inverse_kinematics_quell(mat target, const float *q_current, float *q_out);

#ifdef __cplusplus
}
#endif
#endif
