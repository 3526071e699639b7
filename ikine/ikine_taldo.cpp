#include "ikine/ikine_taldo.h"

#include <cmath>

// Placeholder until the solver lands: validates the input and reports
// "out of reach", holding the current joints.
int32_t inverse_kinematics_taldo(mat target, const float *q_current, float *q_out)
{
    if (q_current == nullptr || q_out == nullptr) return IKINE7_INVALID_INPUT;
    for (int i = 0; i < 7; ++i) q_out[i] = q_current[i];
    if (target.rows != 4 || target.cols != 4) return IKINE7_INVALID_INPUT;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            if (!std::isfinite(target.data[r][c])) return IKINE7_INVALID_INPUT;
    for (int i = 0; i < 7; ++i)
        if (!std::isfinite(q_current[i])) return IKINE7_INVALID_INPUT;
    return IKINE7_OUT_OF_REACH;
}
