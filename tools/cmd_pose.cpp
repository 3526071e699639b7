// tova-kin pose: conversions between Euler angles, quaternion and matrix.
#include <cstdio>
#include <string>

#include "cli.hpp"

namespace tova_cli {
namespace {

const std::string kUsage =
    "usage: tova-kin pose (--euler | --quat | --matrix) [--position x,y,z] [--degrees]\n"
    "                     [--json] (numbers | -)\n\n"
    "Converts one orientation into the others and prints the pose in every form and its\n"
    "homogeneous matrix. The numbers, orientation alone or position first:\n"
    "  --euler   [x y z] rx ry rz, R = Rz(rz) * Ry(ry) * Rx(rx); radians, or degrees\n"
    "            with --degrees (which also prints Euler angles in degrees)\n"
    "  --quat    [x y z] w x y z (scalar first; normalised implicitly)\n"
    "  --matrix  9 numbers (rotation, row-major) or 16 (homogeneous transform, row-major)\n"
    "The position is taken from the numbers when given there, else from --position\n"
    "(default 0,0,0).\n" +
    std::string(kJsonHelp) + "\n" +
    stream_help("pose", "x y z qw qx qy qz rx ry rz");

// Orientation-only numbers get the --position in front (or, for a rotation
// matrix, in its last column), so parse_target sees a whole pose.
std::vector<float> with_position(std::vector<float> v, PoseForm form, const std::vector<float> &pos) {
    static const char *need[] = {"[x y z] rx ry rz", "[x y z] w x y z", "9 or 16 numbers"};
    const size_t orientation = form == PoseForm::euler ? 3 : form == PoseForm::quaternion ? 4 : 9;
    const size_t whole = form == PoseForm::matrix ? 16 : orientation + 3;
    if (v.size() != orientation && v.size() != whole && v.size() != 10)
        throw CliError(std::string("the pose needs ") + need[static_cast<int>(form)] + ", got " +
                       std::to_string(v.size()) + " numbers");
    if (form == PoseForm::matrix && v.size() == 9) {
        std::vector<float> m(16, 0.0f);
        for (int r = 0; r < 3; ++r) {
            for (int c = 0; c < 3; ++c) m[r * 4 + c] = v[r * 3 + c];
            m[r * 4 + 3] = pos[r];
        }
        m[15] = 1.0f;
        return m;
    }
    if ((form == PoseForm::euler && v.size() == 3) || (form == PoseForm::quaternion && v.size() == 4))
        v.insert(v.begin(), pos.begin(), pos.end());
    return v;
}

int run(const Args &args) {
    Options opt(args, {"euler", "quat", "matrix", "degrees", "json"}, {"position"});
    if (opt.flag("euler") + opt.flag("quat") + opt.flag("matrix") != 1)
        throw CliError("give exactly one of --euler, --quat, --matrix");
    const PoseForm form = pose_form(opt);
    const bool degrees = opt.flag("degrees"), json = opt.flag("json");
    std::vector<float> pos = {0, 0, 0};
    if (auto p = opt.value("position")) {
        pos = parse_list(*p, "--position");
        if (pos.size() != 3) throw CliError("--position needs x,y,z");
    }
    auto convert = [&](const Args &words) {
        const Target t = parse_target(with_position(parse_floats(words, "the pose"), form, pos), form, degrees);
        return std::make_pair(transformation_matrix_to_pose(t.matrix), t.matrix);
    };
    auto to_json = [&](const Pose &p, const Matrix &T) {
        return "{\"pose\": " + json_pose(p, degrees) + ", \"matrix\": " + json_matrix(T) + "}";
    };
    if (opt.streaming())
        return stream_lines(
            [&](const Args &words) {
                const auto [p, T] = convert(words);
                return LineResult{json ? to_json(p, T) : pose_line(p, degrees), ""};
            },
            nan_line(10), json);

    const auto [p, T] = convert(opt.positional());
    if (json) {
        std::printf("%s\n", to_json(p, T).c_str());
        return kExitOk;
    }
    print_pose(p);
    std::printf("matrix:\n");
    print_matrix(T);
    return kExitOk;
}

const Registrar reg("pose", "convert between Euler angles, quaternion and matrix", kUsage, run);

}  // namespace
}  // namespace tova_cli
