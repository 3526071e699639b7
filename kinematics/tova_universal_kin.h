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

/* ---- Jacobians ----
 * 6 x dof geometric Jacobians of the configured arm (all joints revolute):
 * rows 0-2 linear velocity, rows 3-5 angular velocity, column j = joint j+1.
 * Built with the same convention rule as the link transforms. A dof below 1
 * gives an empty 6 x dof record; a dof above 7 (not produced by the model
 * catalogue) is clamped to the 7 columns of MatrixMore. */

/* Flange-frame Jacobian: flange-point velocity and angular velocity in flange axes. */
TOVA_API MatrixMore kin_calc_jacobe_Jn(const float *q, const char *mode);
/* Tool-frame Jacobian: tool-centre-point velocity and angular velocity in tool axes. */
TOVA_API MatrixMore kin_calc_jacobe_Jt(const float *q, const char *mode);
/* Tool-point Jacobian in work-frame axes (diag(R, R) * Jt, R the tool rotation in the
 * work frame); only the 6 x dof block is defined. */
TOVA_API MatrixMore kin_calc_jacobe_J0(const float *q, const char *mode);

/* ---- singularity analysis ----
 * Thresholds live for the process: shoulder distance 0.05 m, elbow and wrist
 * 0.17453292 rad (10 degrees) at load and after kin_singularity_thresholds_init. */

/* Restores the three default thresholds. */
TOVA_API void kin_singularity_thresholds_init(void);
/* Sets the thresholds, argument order elbow (rad), wrist (rad), shoulder (m) on purpose;
 * unchecked: a zero or negative value disables that test. */
TOVA_API void kin_set_singularity_thresholds(float q_elbow, float q_wrist, float d_shoulder);
/* SingularityResult of q (tests in the order shoulder, elbow, wrist; strict: a value exactly
 * at its threshold is not singular). The elbow and wrist angles are read from q as passed
 * (joints 3 and 5 for six joints, 4 and 6 otherwise), without offsets, whatever the mode;
 * for pirra_2 and taldo the elbow singularities sit at -0.1690177 and -0.2142950 rad (and
 * those plus or minus pi). *shoulder_distance (m, may be NULL) receives the wrist point's
 * distance from the shoulder plane before any test; NaN when the shoulder axis is vertical,
 * and then the shoulder test never fires. Refreshes the T02/T05/T06 chain products. */
TOVA_API int32_t kin_robot_singularity_analyse(const float *q, const char *mode,
                                               float *shoulder_distance);

#ifdef __cplusplus
}
#endif
#endif
