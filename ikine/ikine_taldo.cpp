// Exported taldo solver: configuration in, closed-form search, joints out.
#include "ikine/ikine_taldo.h"

#include "config/libalgo_interface.h"
#include "ikine/seven_axis_entry.hpp"
#include "ikine/seven_axis_taldo.hpp"

using namespace tova::seven_axis;

int32_t inverse_kinematics_taldo(mat target, const float *q_current, float *q_out)
{
    if (q_current == nullptr || q_out == nullptr) return kInvalidInput;
    for (int i = 0; i < kJoints; ++i) q_out[i] = q_current[i];

    DhTable dh;
    libalgo_get_dh_value(&dh);
    const TaldoGeometry geo{dh.d[0], dh.d[2], dh.d[4], dh.d[6], dh.a[3], dh.a[4], dh.a[6]};
    double offset[kJoints], none[kJoints] = {};
    for (int i = 0; i < kJoints; ++i) offset[i] = dh.offset[i];

    Rigid flange;
    double q[kJoints], cur[kJoints];
    if (!read_target(target, &flange) || !read_joints(q_current, q)) return kInvalidInput;
    for (int i = 0; i < kJoints; ++i) cur[i] = q[i] + offset[i];  // model angles

    const JointSpace js = read_joint_space(none);
    const SearchSettings ss = read_settings();
    const Solution s = solve_taldo(geo, js, ss, flange, cur);
    if (s.code == kOk) write_joints(s.th, offset, q_current, ss.narrow && js.check_speed, q_out);
    return s.code;
}
