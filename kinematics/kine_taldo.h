#ifndef TOVA_KINEMATICS_KINE_TALDO_H
#define TOVA_KINEMATICS_KINE_TALDO_H
/* Closed-form flange transform of the seven-joint taldo arm (modified DH,
 * twists 0, -90, 90, 90, -90, 90, 90 deg), in its base frame. q: seven machine
 * angles, rad; the DH offsets are added. Reads the current d and a of all seven
 * joints; alpha is never read. Trigonometry in f32 (sinf/cosf). Writes the
 * caller's out and returns out. */
#include "math/tova_mathfuncs.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

/* 4 x 4 flange transform, m. */
TOVA_API Matrix *forward_kinematics_e_taldo(Matrix *out, const float *q);
/* Its rotation block, header 3 x 3. */
TOVA_API Matrix *forward_kinematics_rotate_taldo(Matrix *out, const float *q);
/* Its translation, m. */
TOVA_API float *forward_kinematics_pos_taldo(float out[3], const float *q);

#ifdef __cplusplus
}
#endif
#endif
