// tova-kin fk: forward kinematics of the configured arm, for one joint vector
// or a whole recorded trajectory piped through standard input.
#include <cstdio>
#include <string>

#include "cli.hpp"

namespace tova_cli {
namespace {

const std::string kUsage =
    "usage: tova-kin fk [arm options] [--json] (q1 ... qn | -)\n\n"
    "Prints the tool pose in the work frame (position, quaternion, Euler angles) and its\n"
    "4x4 matrix for the machine joint angles q.\n\n" +
    std::string(kArmHelp) + kJsonHelp + "\n" +
    stream_help("joint vector", "x y z qw qx qy qz rx ry rz (a pose line, which ik reads back)");

// W * (I * (F * T)): the same matrix the pose is converted from.
Matrix tool_in_work(const float *q) {
    Matrix world_tool, work;
    forward_kinematics_for_unity(&world_tool, q);
    libalgo_get_work_cs_to_base_matrix(&work);
    return matrix_m(&work, &world_tool);
}

int run(const Args &args) {
    Options opt(args, {"degrees", "json"}, arm_options());
    setup_arm(opt);
    const bool degrees = opt.flag("degrees"), json = opt.flag("json");
    if (opt.streaming())
        return stream_lines(
            [&](const Args &words) {
                Pose p;
                forward_kinematics(&p, parse_joints(words, degrees).data());
                return LineResult{json ? json_pose(p, degrees) : pose_line(p, degrees), ""};
            },
            nan_line(10), json);

    const std::vector<float> q = parse_joints(opt.positional(), degrees);
    Pose p;
    forward_kinematics(&p, q.data());
    const Matrix T = tool_in_work(q.data());
    if (json) {
        std::printf("{\"pose\": %s, \"matrix\": %s}\n", json_pose(p, degrees).c_str(),
                    json_matrix(T).c_str());
        return kExitOk;
    }
    std::printf("model %s, tool in the work frame\n", model_name(libalgo_get_robot_type()));
    print_pose(p);
    std::printf("matrix:\n");
    print_matrix(T);
    return kExitOk;
}

const Registrar reg("fk", "forward kinematics: tool pose of a joint vector (or a stream of them)",
                    kUsage, run);

}  // namespace
}  // namespace tova_cli
