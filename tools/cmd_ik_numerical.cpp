// tova-kin ik-numerical: joint angles for a tool pose by the library's
// numerical solver (also reached through `tova-kin ik --numerical`).
#include <cmath>
#include <cstdio>

#include "cli.hpp"

namespace tova_cli {
namespace {

const char *kUsage =
    "usage: tova-kin ik-numerical [--model NAME] [--sensor N] [--seed q1,...] [--tolerance T]\n"
    "                             [--iterations N] [--tool ...] [--work ...] [--install ...]\n"
    "                             [--degrees] [--json] (x y z rx ry rz | --quat x y z w qx qy qz\n"
    "                             | --matrix m00 ... m33)\n\n"
    "Solves for machine joint angles that put the tool centre point at the given pose in\n"
    "the work frame, by damped least squares with up to thirteen restarts from perturbed\n"
    "seeds. The seed defaults to the middle of the joint ranges; tolerance (bound on half\n"
    "the squared pose error) defaults to 1e-5 and iterations per start to 100. Euler\n"
    "angles and seed in radians, or degrees with --degrees; --matrix takes 16 numbers\n"
    "row-major. Exit status 0 also when the solver fails; the result code is printed.";

int run(const Args &args) {
    std::vector<std::string> valued = kArmOptions;
    for (const char *v : {"seed", "tolerance", "iterations"}) valued.push_back(v);
    Options opt(args, {"degrees", "json", "quat", "matrix"}, valued);
    setup_arm(opt);
    const bool degrees = opt.flag("degrees");
    const int dof = libalgo_get_rbt_dof();
    if (opt.flag("quat") && opt.flag("matrix")) throw CliError("give at most one of --quat, --matrix");

    IkNumericalRequest req{};
    req.max_iterations = 100;
    req.tolerance = 1e-5f;
    if (auto t = opt.value("tolerance")) req.tolerance = parse_float(*t, "--tolerance");
    if (auto it = opt.value("iterations")) {
        const long n = parse_int(*it, "--iterations");
        if (n < 0 || n > 1000000) throw CliError("--iterations must lie in 0..1000000");
        req.max_iterations = static_cast<int32_t>(n);
    }
    float hi[8], lo[8];
    libalgo_get_jointlim_max(hi);
    libalgo_get_jointlim_min(lo);
    for (int i = 0; i < dof && i < 7; ++i) req.seed[i] = 0.5f * (hi[i] + lo[i]);
    if (auto s = opt.value("seed")) {
        const std::vector<float> seed = parse_joints({*s}, degrees);
        for (int i = 0; i < dof && i < 7; ++i) req.seed[i] = seed[i];
    }

    std::vector<float> v = parse_floats(opt.positional(), "the pose");
    const char *format = "Euler";
    if (opt.flag("matrix")) {
        if (v.size() != 16) throw CliError("--matrix needs 16 numbers");
        req.target_matrix = zero_matrix(4, 4);
        for (int i = 0; i < 16; ++i) req.target_matrix.data[i / 4][i % 4] = v[i];
        format = "T";
    } else if (opt.flag("quat")) {
        if (v.size() != 7) throw CliError("--quat needs x y z w qx qy qz");
        req.pose.x = v[0], req.pose.y = v[1], req.pose.z = v[2];
        req.pose.quaternion = Quaternion{v[3], v[4], v[5], v[6]};
        format = "quaternion";
    } else {
        if (v.size() != 6) throw CliError("the pose needs x y z rx ry rz");
        const float k = degrees ? static_cast<float>(1.0 / kDeg) : 1.0f;
        req.pose.x = v[0], req.pose.y = v[1], req.pose.z = v[2];
        req.pose.euler = Euler{v[3] * k, v[4] * k, v[5] * k};
    }

    float q[8] = {};
    const int32_t code = ikine_numerical_solution(&req, format, q);
    const Matrix reached = kin_universal_kinematics_Tn(q, "machine", "Twt");
    const Pose p = transformation_matrix_to_pose(reached);
    if (opt.flag("json")) {
        std::printf("{\"result\": %d, \"joints\": %s, \"reached\": %s}\n", code,
                    json_array(q, dof, degrees ? kDeg : 1.0).c_str(), json_pose(p).c_str());
        return 0;
    }
    std::printf("result             : %d (%s)\n", code, code == 0 ? "converged within limits" : "failed");
    std::printf("joints (rad)       :");
    for (int i = 0; i < dof; ++i) std::printf(" %s", fmt(q[i]).c_str());
    std::printf("\njoints (deg)       :");
    for (int i = 0; i < dof; ++i) std::printf(" %s", fmt(q[i] * kDeg, 4).c_str());
    std::printf("\nreached pose:\n");
    print_pose(p);
    return 0;
}

const Registrar reg("ik-numerical", "numerical inverse kinematics of a tool pose (any model)",
                    kUsage, run);

}  // namespace
}  // namespace tova_cli
