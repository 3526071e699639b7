// tova-kin pose: conversions between Euler angles, quaternion and matrix.
#include <cmath>
#include <cstdio>

#include "cli.hpp"

namespace tova_cli {
namespace {

const char *kUsage =
    "usage: tova-kin pose [--position x,y,z] (--euler rx ry rz | --quat w x y z | --matrix m...)\n"
    "                     [--degrees] [--json]\n\n"
    "Converts one orientation into the others and prints the pose in every form:\n"
    "  --euler   rx ry rz, R = Rz(rz) * Ry(ry) * Rx(rx); radians, or degrees with --degrees\n"
    "  --quat    w x y z (scalar first; normalised implicitly)\n"
    "  --matrix  9 numbers (rotation, row-major) or 16 (homogeneous transform, row-major)\n"
    "The position defaults to 0,0,0 and is taken from the matrix when 16 numbers are given.";

int run(const Args &args) {
    Options opt(args, {"euler", "quat", "matrix", "degrees", "json"}, {"position"});
    const int forms = opt.flag("euler") + opt.flag("quat") + opt.flag("matrix");
    if (forms != 1) throw CliError("give exactly one of --euler, --quat, --matrix");
    std::vector<float> v = parse_floats(opt.positional(), "the orientation");
    std::vector<float> pos = {0, 0, 0};
    if (auto p = opt.value("position")) {
        pos = parse_list(*p, "--position");
        if (pos.size() != 3) throw CliError("--position needs x,y,z");
    }
    Pose in{};
    in.x = pos[0];
    in.y = pos[1];
    in.z = pos[2];
    Matrix T;
    if (opt.flag("euler")) {
        if (v.size() != 3) throw CliError("--euler needs rx ry rz");
        if (opt.flag("degrees")) v = to_radians(v);
        in.euler = Euler{v[0], v[1], v[2]};
        T = pose_euler_to_transformation_matrix(in);
    } else if (opt.flag("quat")) {
        if (v.size() != 4) throw CliError("--quat needs w x y z");
        in.quaternion = Quaternion{v[0], v[1], v[2], v[3]};
        T = pose_quat_to_transformation_matrix(in);
    } else {
        if (v.size() != 9 && v.size() != 16) throw CliError("--matrix needs 9 or 16 numbers");
        T = unit_matrix(4);
        const int n = v.size() == 9 ? 3 : 4;
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < n; ++c) T.data[r][c] = v[r * n + c];
        if (n == 3) {
            T.data[0][3] = pos[0];
            T.data[1][3] = pos[1];
            T.data[2][3] = pos[2];
        }
    }
    Pose out = transformation_matrix_to_pose(T);
    if (opt.flag("json")) {
        std::printf("{\"pose\": %s, \"matrix\": [", json_pose(out).c_str());
        for (int r = 0; r < 4; ++r)
            std::printf("%s%s", r ? ", " : "", json_array(T.data[r], 4).c_str());
        std::printf("]}\n");
        return 0;
    }
    print_pose(out);
    std::printf("matrix:\n");
    print_matrix(T);
    return 0;
}

const Registrar reg("pose", "convert between Euler angles, quaternion and matrix", kUsage, run);

}  // namespace
}  // namespace tova_cli
