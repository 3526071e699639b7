// tova-kin fk: forward kinematics of the configured arm, for one joint vector
// or a whole recorded trajectory piped through standard input.
#include <cstdio>
#include <iostream>
#include <string>

#include "cli.hpp"

namespace tova_cli {
namespace {

const char *kUsage =
    "usage: tova-kin fk [--model NAME] [--sensor N] [--tool x,y,z,rx,ry,rz] [--work x,y,z,rx,ry,rz]\n"
    "                   [--install rx,ry,rz] [--degrees] [--json] q1 ... qn\n"
    "       tova-kin fk [options] -\n\n"
    "Prints the tool pose in the work frame (position, quaternion, Euler angles) and its\n"
    "4x4 matrix for machine joint angles q (radians, or degrees with --degrees; --degrees\n"
    "also applies to the frame angles). With '-' instead of joints, reads one joint vector\n"
    "per line from standard input (blank lines and lines starting with '#' are skipped) and\n"
    "writes one line per vector: x y z qw qx qy qz rx ry rz (metres, radians).";

// W * (I * (F * T)): the same matrix the pose is converted from.
Matrix tool_in_work(const float *q) {
    Matrix world_tool, work;
    forward_kinematics_for_unity(&world_tool, q);
    libalgo_get_work_cs_to_base_matrix(&work);
    return matrix_m(&work, &world_tool);
}

int run_stream(bool degrees) {
    std::string line;
    long line_no = 0;
    while (std::getline(std::cin, line)) {
        ++line_no;
        const auto first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos || line[first] == '#') continue;
        Args words;
        std::string word;
        for (char ch : line) {
            if (ch == ' ' || ch == '\t' || ch == '\r') {
                if (!word.empty()) words.push_back(word);
                word.clear();
            } else {
                word += ch;
            }
        }
        if (!word.empty()) words.push_back(word);
        std::vector<float> q;
        try {
            q = parse_joints(words, degrees);
        } catch (const CliError &e) {
            throw CliError("line " + std::to_string(line_no) + ": " + e.what());
        }
        Pose p;
        forward_kinematics(&p, q.data());
        const float v[10] = {p.x, p.y, p.z, p.quaternion.w, p.quaternion.x, p.quaternion.y,
                             p.quaternion.z, p.euler.rx, p.euler.ry, p.euler.rz};
        for (int i = 0; i < 10; ++i) std::printf("%s%s", i ? " " : "", fmt(v[i], 7).c_str());
        std::printf("\n");
    }
    return 0;
}

int run(const Args &args) {
    std::vector<std::string> valued = kArmOptions;
    Options opt(args, {"degrees", "json"}, valued);
    setup_arm(opt);
    const bool degrees = opt.flag("degrees");
    const Args &pos = opt.positional();
    if (pos.size() == 1 && pos[0] == "-") return run_stream(degrees);

    const std::vector<float> q = parse_joints(pos, degrees);
    Pose p;
    forward_kinematics(&p, q.data());
    const Matrix T = tool_in_work(q.data());
    if (opt.flag("json")) {
        std::printf("{\"pose\": %s, \"matrix\": [", json_pose(p).c_str());
        for (int r = 0; r < 4; ++r) std::printf("%s%s", r ? ", " : "", json_array(T.data[r], 4).c_str());
        std::printf("]}\n");
        return 0;
    }
    std::printf("model %s, tool in the work frame\n", model_name(libalgo_get_robot_type()));
    print_pose(p);
    std::printf("matrix:\n");
    print_matrix(T);
    return 0;
}

const Registrar reg("fk", "forward kinematics: tool pose of a joint vector (or a stream of them)",
                    kUsage, run);

}  // namespace
}  // namespace tova_cli
