#ifndef TOVA_KINEMATICS_TOVA_KINEMATICS_H
#define TOVA_KINEMATICS_TOVA_KINEMATICS_H
/* Forward kinematics of the configured arm: joint angles to the flange or tool
 * pose, and the closed-form flange transforms of the vesk, quell, pirra and lumo
 * families (taldo: kinematics/kine_taldo.h).
 *
 * q: one f32 per joint of the model (6 or 7), machine angles, rad; the routines
 * add the DH offsets themselves where noted. Lengths in m. Every function reads
 * the configuration at each call, writes the caller's out and returns out.
 * Frames: F(q) flange in the robot base, I install-angle matrix, T tool matrix
 * (t its translation), W work-cs-to-base matrix. Products are 4x4 f32 products
 * (double sums), nested right to left: W*(I*(F*T)).
 * Dispatch by robot type (read as an unsigned byte): 1 quell, 3 pirra_2,
 * 4 pirra_3, 5/6/8 lumo, 7 taldo; every other value, 9 included, uses vesk.
 * The closed forms never read alpha: their twists are built in.
 * Not reentrant: results pass through file-level working buffers. */
#include "math/tova_mathfuncs.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

/* ---- entry points ---- */
/* F(q): flange in the robot base frame, header 4 x 4. */
TOVA_API Matrix *forward_kinematics_e(Matrix *out, const float *q);
/* I*F(q): flange in the world (install-corrected) frame, 4 x 4. */
TOVA_API Matrix *forward_kinematics_world_to_flange(Matrix *out, const float *q);
/* I*(F(q)*T): tool in the world frame, 4 x 4. */
TOVA_API Matrix *forward_kinematics_for_unity(Matrix *out, const float *q);
/* Pose of W*(I*(F(q)*T)): tool in the work frame, position, quaternion and Euler filled. */
TOVA_API Pose *forward_kinematics(Pose *out, const float *q);
/* Rotation of W*I*F(q)*T, header 3 x 3 (row and column 3 zero). */
TOVA_API Matrix *forward_kinematics_rotate(Matrix *out, const float *q);
/* Rotation of W*I*F(q), header 3 x 3. */
TOVA_API Matrix *forward_kinematics_rotate_flange(Matrix *out, const float *q);
/* W*I*F(q)*(t,1): tool origin in the work frame, m; f32 matrix-vector products. */
TOVA_API float *forward_kinematics_pos(float out[3], const float *q);
/* I*F(q)*(t,1): tool origin without the work frame (for calibration), m. */
TOVA_API float *forward_kinematics_pos_calibration(float out[3], const float *q);

/* ---- closed forms per family: flange in the base frame ----
 * _e_: 4 x 4 transform; _rotate_: its rotation block, header 3 x 3; _pos_: its
 * translation. Each reads the current DH table when called (a direct call never
 * sees a stale copy). */
/* vesk: modified DH, twists (0, 90, 0, 90, -90, 90) deg; reads d1, d4, d6, a3 and adds the offsets. */
TOVA_API Matrix *forward_kinematics_e_vesk(Matrix *out, const float *q);
TOVA_API Matrix *forward_kinematics_rotate_vesk(Matrix *out, const float *q);
TOVA_API float *forward_kinematics_pos_vesk(float out[3], const float *q);
/* quell: standard DH, 7 joints; reads d1, d3, d5, d7, never the offsets (its default offsets are zero). */
TOVA_API Matrix *forward_kinematics_e_quell(Matrix *out, const float *q);
TOVA_API Matrix *forward_kinematics_rotate_quell(Matrix *out, const float *q);
TOVA_API float *forward_kinematics_pos_quell(float out[3], const float *q);
/* pirra_2: reads d1, d4, d6, a2, a3, a4; never the offsets: its default offsets
 * (0, -90, 90, 0, 180, 180) deg are built in. */
TOVA_API Matrix *forward_kinematics_e_pirra_2(Matrix *out, const float *q);
TOVA_API Matrix *forward_kinematics_rotate_pirra_2(Matrix *out, const float *q);
TOVA_API float *forward_kinematics_pos_pirra_2(float out[3], const float *q);
/* pirra_3: reads d1, d2, d4, d6, a2, a3, a4 and adds the offsets. */
TOVA_API Matrix *forward_kinematics_e_pirra_3(Matrix *out, const float *q);
TOVA_API Matrix *forward_kinematics_rotate_pirra_3(Matrix *out, const float *q);
TOVA_API float *forward_kinematics_pos_pirra_3(float out[3], const float *q);
/* lumo A, B, C: reads d1, d4, d5, d6, a2, a3, a4 and adds the offsets. */
TOVA_API Matrix *forward_kinematics_e_lumo(Matrix *out, const float *q);
TOVA_API Matrix *forward_kinematics_rotate_lumo(Matrix *out, const float *q);
TOVA_API float *forward_kinematics_pos_lumo(float out[3], const float *q);

#ifdef __cplusplus
}
#endif
#endif
