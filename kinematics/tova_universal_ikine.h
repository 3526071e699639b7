#ifndef TOVA_KINEMATICS_TOVA_UNIVERSAL_IKINE_H
#define TOVA_KINEMATICS_TOVA_UNIVERSAL_IKINE_H
#include "math/tova_mathfuncs.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

typedef struct IkNumericalRequest {
    int32_t max_iterations;         /* per start */
    float   seed[7];                /* machine angles, rad; entries >= dof ignored */
    float   tolerance;              /* bound on 0.5 * |e|^2 */
    Pose    pose;                   /* target for format "Euler" or quaternion */
    Matrix  target_matrix;          /* target for format "T" */
} IkNumericalRequest;

#ifdef __cplusplus
}
#endif
#endif
