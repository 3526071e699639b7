// The configuration side of the seven-axis solvers: reading the target, the
// current joints, the limits and the search settings through the store's
// getters, and writing the result. Shared by ikine_quell and ikine_taldo.
#ifndef TOVA_IKINE_SEVEN_AXIS_ENTRY_HPP
#define TOVA_IKINE_SEVEN_AXIS_ENTRY_HPP

#include "config/libalgo_interface.h"
#include "ikine/seven_axis_core.hpp"
#include "math/tova_matrix.h"

namespace tova::seven_axis {

// A 4 x 4 target with finite entries and a rotation block within 1e-3 of a
// rotation (columns unit and orthogonal, right-handed); the rotation is
// re-orthonormalised (Gram-Schmidt on the third, then the first column).
// The last row is not read.
bool read_target(const mat& target, Rigid* out);

// The same test for a configured frame.
bool rigid_from_matrix(const Matrix& m, Rigid* out);

// Seven finite joint angles.
bool read_joints(const float* q, double out[kJoints]);

// Modeling limits minus `shift` (per joint), the joint speed limits times the
// control period. Speed is checked only when the period is finite and
// positive, and per joint only where the speed limit is.
JointSpace read_joint_space(const double shift[kJoints]);

// global_is_movl: 0 = wide, any other value = narrow with half-window theta_v
// (NaN or negative theta_v: the current value alone; pi or more: the circle).
SearchSettings read_settings();

// q_out = th - offset, in float. Rounding to float may carry a joint that
// sits on a limit one step past it, or a step that sits on the speed limit
// just over it (as joint_overspeed_judgment measures it in float); such
// joints are moved back by the few float steps needed.
void write_joints(const double th[kJoints], const double offset[kJoints], const float* q_current,
                  bool speed_checked, float* q_out);

}  // namespace tova::seven_axis

#endif
