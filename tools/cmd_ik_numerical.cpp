// tova-kin ik-numerical: joint angles for a tool pose by the library's
// numerical solver (also reached through `tova-kin ik --numerical`).
#include <cstdio>

#include "cli.hpp"

namespace tova_cli {
namespace {

const std::string kUsage =
    "usage: tova-kin ik-numerical [arm options] [--seed q1,...] [--tolerance T]\n"
    "                             [--iterations N] [--tool-frame] [--json]\n"
    "                             [--quat | --matrix] (pose numbers | -)\n\n"
    "Solves for machine joint angles that put the tool centre point at the given pose in\n"
    "the work frame, by damped least squares with up to thirteen restarts from perturbed\n"
    "seeds; works for every model. Prints the result code, the joints and the pose they\n"
    "reach.\n"
    "  --seed q1,...    start joints (default: the middle of the joint ranges)\n"
    "  --tolerance T    bound on half the squared pose error (default 1e-5)\n"
    "  --iterations N   iterations per start (default 100)\n"
    "  --tool-frame     use the variant with a consistent error frame (position error in\n"
    "                   tool axes with the tool-frame Jacobian), which converges far more\n"
    "                   often than the standard solver's mix of work and flange axes\n\n" +
    std::string(kTargetHelp) + "\n" + kArmHelp + kJsonHelp + "\n" +
    stream_help("pose", "q1 ... qn (with --json the whole result)",
                "Each pose is seeded with the previous line's solution. A pose that does not\n"
                "converge is noted on standard error and the exit status is 1.\n") +
    "\nExit status: 0 converged, 1 not converged (result code printed), 2 bad input.";

int run(const Args &args) {
    Options opt(args, {"degrees", "json", "quat", "matrix", "tool-frame"},
                arm_options({"seed", "tolerance", "iterations"}));
    setup_arm(opt);
    const bool degrees = opt.flag("degrees"), json = opt.flag("json");
    const double scale = angle_scale(degrees);
    const int dof = libalgo_get_rbt_dof();
    const PoseForm form = pose_form(opt);
    const bool tool_frame = opt.flag("tool-frame");

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

    struct Result {
        int32_t code;
        float q[8];
        Pose reached;
    };
    auto solve = [&](const std::vector<float> &numbers) {
        const Target t = parse_target(numbers, form, degrees);
        const char *format = "Euler";
        if (form == PoseForm::matrix && numbers.size() == 16) {
            req.target_matrix = t.matrix;
            format = "T";
        } else {
            req.pose = t.pose;
            if (!t.is_euler) format = "quaternion";
        }
        Result r{};
        r.code = tool_frame ? ikine_numerical_solution_tool_frame(&req, format, r.q)
                            : ikine_numerical_solution(&req, format, r.q);
        r.reached = transformation_matrix_to_pose(kin_universal_kinematics_Tn(r.q, "machine", "Twt"));
        return r;
    };
    auto to_json = [&](const Result &r) {
        return "{\"result\": " + std::to_string(r.code) + ", \"joints\": " + json_array(r.q, dof, scale) +
               ", \"reached\": " + json_pose(r.reached, degrees) + "}";
    };

    if (opt.streaming())
        return stream_lines(
            [&](const Args &words) {
                const Result r = solve(parse_floats(words, "the pose"));
                if (r.code == 0)
                    for (int i = 0; i < dof && i < 7; ++i) req.seed[i] = r.q[i];  // track the trajectory
                return LineResult{json ? to_json(r) : number_line(r.q, dof, scale),
                                  r.code == 0 ? "" : "result " + std::to_string(r.code) + ": not converged"};
            },
            nan_line(dof), json);

    const Result r = solve(parse_floats(opt.positional(), "the pose"));
    if (json) {
        std::printf("%s\n", to_json(r).c_str());
    } else {
        std::printf("result             : %d (%s)\n", r.code,
                    r.code == 0 ? "converged within limits" : "failed");
        std::printf("joints (rad)       :");
        for (int i = 0; i < dof; ++i) std::printf(" %s", fmt(r.q[i]).c_str());
        std::printf("\njoints (deg)       :");
        for (int i = 0; i < dof; ++i) std::printf(" %s", fmt(r.q[i] * kDeg, 4).c_str());
        std::printf("\nreached pose:\n");
        print_pose(r.reached);
    }
    return r.code == 0 ? kExitOk : kExitUnsolved;
}

const Registrar reg("ik-numerical", "numerical inverse kinematics of a tool pose (any model)",
                    kUsage, run);

}  // namespace
}  // namespace tova_cli
