// Internal variant of the numerical inverse kinematics. Not part of the
// exported interface.
#pragma once

#include <cstdint>

#include "kinematics/tova_universal_ikine.h"

namespace tova {

// ikine_numerical_solution with a consistent error frame: the position error
// is turned into tool axes and paired with the tool-frame Jacobian (the
// exported solver keeps it in work axes beside the flange-frame Jacobian, by
// design, and converges only where those frames nearly agree). Same request,
// format rule, damping, restart schedule, output folding and result codes.
int32_t ikine_numerical_solution_tool_frame(const IkNumericalRequest *request, const char *format,
                                            float *q_out);

}  // namespace tova
