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

/* ---- link transforms and frame products ----
 * From the configured DH table (d, a, alpha, offset), any model. Twists within
 * 1e-5 of 0, +-pi/2, +-pi use exact 0 and +-1 for their sine and cosine; other
 * sines and cosines are double evaluations rounded to f32. mode "modeling":
 * q are model angles; any other text: offsets are added. Convention: modified
 * DH when dof = 6 or the type is ROBOT_TALDO, standard DH otherwise. */

/* Modified-DH transform of link i (0-based), q[i] used as is (rad); an index
 * outside 0..7 (beyond the DhTable) gives the 4 x 4 identity and reads nothing. */
TOVA_API Matrix kin_get_MDH_Ti(int32_t i, const DhTable *dh, const float *q);
/* Standard-DH transform of link i, same rules. */
TOVA_API Matrix kin_get_SDH_Ti(int32_t i, const DhTable *dh, const float *q);
/* The selected frame of the chain at q: "T0n" flange in base, "T02"/"T05"/"T06"
 * the stored base-to-link products, "T0t" tool in base, "Tbn"/"Tbt" flange/tool
 * with the install rotation, "Twn"/"Twt" the same in the work frame; any other
 * text gives Work*Inst. Every call refreshes T02, T05, T06 as far as the chain
 * reaches (dof >= 2, 5, 6); a dof above 8 is clamped to the table's 8 joints. */
TOVA_API Matrix kin_universal_kinematics_Tn(const float *q, const char *mode, const char *frame);

/* ---- Jacobians ---- */

/* ---- singularity analysis ---- */

#ifdef __cplusplus
}
#endif
#endif
