// Exported quell solver: configuration in, closed-form search, joints out.
#include "ikine/ikine_quell.h"

#include "config/libalgo_interface.h"
#include "ikine/seven_axis_entry.hpp"
#include "ikine/seven_axis_quell.hpp"

using namespace tova::seven_axis;

int32_t inverse_kinematics_quell(mat target, const float *q_current, float *q_out)
{
    if (q_current == nullptr || q_out == nullptr) return kInvalidInput;
    for (int i = 0; i < kJoints; ++i) q_out[i] = q_current[i];

    DhTable dh;
    libalgo_get_dh_value(&dh);
    // The quell forward kinematics works on the joint values themselves (its
    // offsets are zero), so the solver does too: machine limits are the
    // modeling limits minus the offsets.
    double shift[kJoints], none[kJoints] = {};
    for (int i = 0; i < kJoints; ++i) shift[i] = dh.offset[i];
    const QuellGeometry geo{dh.d[0], dh.d[2], dh.d[4], dh.d[6]};

    Rigid tbt, install, tool;
    Matrix m;
    double cur[kJoints];
    if (!read_target(target, &tbt) || !read_joints(q_current, cur)) return kInvalidInput;
    libalgo_get_robot_install_angle_matrix(&m);
    if (!rigid_from_matrix(m, &install)) return kInvalidInput;
    libalgo_get_tool_cs_matrix(&m);
    if (!rigid_from_matrix(m, &tool)) return kInvalidInput;
    // target = installation * flange * tool.
    const Rigid flange = compose(compose(inverse(install), tbt), inverse(tool));

    const JointSpace js = read_joint_space(shift);
    const SearchSettings ss = read_settings();
    const Solution s = solve_quell(geo, js, ss, flange, cur);
    if (s.code == kOk) write_joints(s.th, none, q_current, ss.narrow && js.check_speed, q_out);
    return s.code;
}
