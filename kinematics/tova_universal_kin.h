#ifndef TOVA_KINEMATICS_TOVA_UNIVERSAL_KIN_H
#define TOVA_KINEMATICS_TOVA_UNIVERSAL_KIN_H
/* Kinematics of any configured arm from its DH parameters: link transforms,
 * frame products, Jacobians and singularity analysis. */
#include "config/libalgo_interface.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

typedef enum SingularityResult { /* returned as int32_t */
    SINGULARITY_NONE     =  0,
    SINGULARITY_SHOULDER = -1,
    SINGULARITY_ELBOW    = -2,
    SINGULARITY_WRIST    = -3
} SingularityResult;

/* ---- link transforms and frame products ---- */

/* ---- Jacobians ---- */

/* ---- singularity analysis ---- */

#ifdef __cplusplus
}
#endif
#endif
