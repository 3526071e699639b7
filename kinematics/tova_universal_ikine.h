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

/* Numerical inverse kinematics of the tool centre point in the work frame, for any
 * configured arm: damped least squares on the flange-frame Jacobian (damping 0.1 * E,
 * E = half the squared pose error; position error in work axes on purpose) from up to
 * thirteen starts: the seed twice, then joints 1 to 5 each lowered by 0.5 rad on two
 * starts in a row and joint 6 once (downward only, repeats deliberate).
 * format: "T" uses target_matrix, "Euler" position and euler, any other text position
 * and quaternion. q_out receives dof angles (rad, machine frame) also on failure, each
 * folded by whole turns (a negative angle past a turn is raised toward 0; a positive one
 * is raised further, deliberately) and then moved by one turn when within 1e-4 of a limit
 * or beyond it. Returns 0 when converged with every joint inside its limits, else -1.
 * A dof above 7 (not produced by the model catalogue) is treated as 7. */
TOVA_API int32_t ikine_numerical_solution(const IkNumericalRequest *request, const char *format,
                                          float *q_out);

/* The same solver with a consistent error frame, offered beside the one above for new
 * code: the position error is expressed in tool axes and paired with the tool-frame
 * Jacobian, so each damped step points at the target wherever the frames are (the
 * solver above measures position in work axes against the flange-frame Jacobian and
 * converges only where those frames nearly agree). Same request, formats, damping,
 * restart schedule, output folding and result codes. */
TOVA_API int32_t ikine_numerical_solution_tool_frame(const IkNumericalRequest *request,
                                                     const char *format, float *q_out);

#ifdef __cplusplus
}
#endif
#endif
