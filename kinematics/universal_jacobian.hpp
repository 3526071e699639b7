// Internal core of the universal Jacobians, shared by the exported
// kin_calc_jacobe_* functions and the numerical inverse kinematics (which
// builds its link transforms once per iteration). Not part of the exported
// interface.
#pragma once

#include <cstdint>

#include "config/libalgo_interface.h"
#include "math/tova_mathfuncs.h"

namespace tova {

// Most joints a Jacobian record can hold (the columns of MatrixMore).
constexpr int kJacobianMaxJoints = 7;

// End-frame Jacobian by the backward recursion over the link transforms
// links[0..n-1] (n in 1..7), U the end frame in the last link frame (the tool,
// or the identity for the flange). Modified DH writes column j before
// U := links[j] * U (joint j+1 turns about z of its own frame); standard DH
// multiplies first (about z of the frame before link j). Products round like
// matrix_m. Columns j < n of J are written; nothing else is touched.
void jacobian_backward(const Matrix *links, int n, bool modified, Matrix U, MatrixMore &J);

// Model angles and link transforms of the configured arm for q in the given
// mode: reads the DH table, dof and robot type from the store. Returns the
// dof as stored; links[0..min(dof, 7)-1] are written and *modified receives
// the convention rule's choice.
int32_t universal_links(const float *q, bool modeling, Matrix links[kJacobianMaxJoints],
                        bool *modified);

}  // namespace tova
