// tova-kin ik: joint angles for a tool pose through the library's
// inverse_kinematics; --all lists every candidate of the six-axis closed form
// with its cost or the reason it was dropped, --numerical hands the request to
// the numerical solver's command.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "cli.hpp"
#include "ikine/ik_six_axis_core.hpp"

namespace tova_cli {
namespace {

const char *kUsage =
    "usage: tova-kin ik [--model NAME] [--sensor N] [--current q1,...] [--tool x,y,z,rx,ry,rz]\n"
    "                   [--work x,y,z,rx,ry,rz] [--install rx,ry,rz] [--degrees] [--all]\n"
    "                   [--numerical] (x y z rx ry rz | --quat x y z qw qx qy qz\n"
    "                   | --matrix m00 ... m33)\n\n"
    "Solves for the machine joint angles that put the tool at the given pose in the work\n"
    "frame, choosing among the closed-form candidates the one nearest to the current joints\n"
    "(--current, default all zero). Prints the joints and the result code with its meaning.\n"
    "--all also lists every candidate of a six-axis model with its cost or why it was\n"
    "dropped (candidate bound, no elbow solution, or the modeling limit after the choice).\n"
    "--numerical solves with the numerical solver instead (--current becomes its seed).\n"
    "Angles in radians, or degrees with --degrees; --matrix takes 16 numbers row-major.";

const char *meaning(int32_t rc) {
    switch (rc) {
    case 0: return "success: the candidate nearest to the current joints, inside all limits";
    case -1: return "no candidate inside the joint bounds (the output repeats the previous solution)";
    case -2: return "the chosen candidate lies outside a modeling joint limit";
    case -4: return "this robot type has no inverse kinematics";
    default: return "seven-axis solver code";
    }
}

std::string joints_text(const double *q, int n, bool degrees) {
    std::string s;
    for (int j = 0; j < n; ++j) {
        if (j) s += ' ';
        s += std::isnan(q[j]) ? std::string("-") : fmt(degrees ? q[j] * kDeg : q[j]);
    }
    return s;
}

// Candidate lines for --all, from the solver core's own observer.
struct Lister {
    static constexpr bool active = true;
    std::vector<tova::ik::CandidateReport> seen;
    void candidate(const tova::ik::CandidateReport &r) { seen.push_back(r); }
};

// Same preparation and solver as inverse_kinematics, on a local state with an
// observer; prints the candidates. Returns the result code.
int32_t list_candidates(const float *current, const Pose &pose, bool degrees, float *q_out) {
    tova::ik::SixAxisState s{};
    float q[8];
    const uint32_t type = tova::ik::prepare_entry(s, current, pose, 0, q);
    Lister lister;
    const int32_t rc = tova::ik::solve_six_axis(s, type, false, q, q_out, lister);
    if (rc == -4) throw CliError("--all lists the six-axis closed forms only");
    const bool vesk_scheme = type == ROBOT_VESK || type == ROBOT_PIRRA_2;
    // joint 6 is solved without its whole turns; shown with them
    const double turns = vesk_scheme ? s.Iconsult6a_0 : static_cast<double>(tova::ik::whole_turns(static_cast<double>(q[5])));
    int chosen = 0;
    for (const auto &c : lister.seen)
        if (c.became_best) chosen = c.number;
    std::printf("candidates (machine angles; cost in squared radians, joints 1-3 weighted %s):\n",
                vesk_scheme ? "2 x 1.2" : "2.4");
    for (const auto &c : lister.seen) {
        double m[6];
        for (int j = 0; j < 6; ++j) m[j] = c.joints[j] - s.robot_dh.offset[j] + (j == 5 ? turns * tova::ik::kTurnD : 0.0);
        if (c.fate == tova::ik::Fate::invalid) m[1] = m[2] = m[3] = NAN;  // no arm solution
        std::string why;
        switch (c.fate) {
        case tova::ik::Fate::scored:
            why = "cost " + fmt(c.cost, 6) + (c.number == chosen ? "  <- chosen" : "");
            break;
        case tova::ik::Fate::bound:
            why = "rejected: joint " + std::to_string(c.joint) + " outside its candidate bound";
            break;
        case tova::ik::Fate::invalid:
            why = "rejected: no elbow solution (out of reach)";
            break;
        }
        std::printf("  %d: %s   %s\n", c.number, joints_text(m, 6, degrees).c_str(), why.c_str());
    }
    if (rc == -2)
        for (int j = 0; j < 6; ++j) {
            const float o = s.robot_dh.offset[j];
            if (q_out[j] > s.joint_max_limit[j] - o || q_out[j] < s.joint_min_limit[j] - o) {
                std::printf("  chosen candidate rejected: joint %d outside its modeling limit\n", j + 1);
                break;
            }
        }
    return rc;
}

int run(const Args &args) {
    if (std::find(args.begin(), args.end(), "--numerical") != args.end()) {
        auto it = registry().find("ik-numerical");
        if (it == registry().end()) throw CliError("numerical IK not available in this build");
        Args forwarded;
        for (size_t i = 0; i < args.size(); ++i) {
            if (args[i] == "--numerical") continue;
            if (args[i] == "--all") throw CliError("--all lists the closed-form candidates; not with --numerical");
            if (args[i] == "--current") forwarded.push_back("--seed");
            else if (args[i].rfind("--current=", 0) == 0) forwarded.push_back("--seed=" + args[i].substr(10));
            else forwarded.push_back(args[i]);
        }
        return it->second.run(forwarded);
    }
    std::vector<std::string> valued = kArmOptions;
    valued.push_back("current");
    Options opt(args, {"degrees", "all", "quat", "matrix"}, valued);
    setup_arm(opt);
    const bool degrees = opt.flag("degrees");
    const int dof = libalgo_get_rbt_dof();
    if (opt.flag("quat") && opt.flag("matrix")) throw CliError("give at most one of --quat, --matrix");

    std::vector<float> current(8, 0.0f);
    if (auto c = opt.value("current")) {
        const std::vector<float> q = parse_joints({*c}, degrees);
        std::copy(q.begin(), q.end(), current.begin());
    }
    const std::vector<float> v = parse_floats(opt.positional(), "the pose");
    Pose pose{};
    uint8_t is_euler = 0;
    if (opt.flag("matrix")) {
        if (v.size() != 16) throw CliError("--matrix needs 16 numbers");
        Matrix m = zero_matrix(4, 4);
        for (int i = 0; i < 16; ++i) m.data[i / 4][i % 4] = v[i];
        pose = transformation_matrix_to_pose(m);
    } else if (opt.flag("quat")) {
        if (v.size() != 7) throw CliError("--quat needs x y z qw qx qy qz");
        pose.x = v[0], pose.y = v[1], pose.z = v[2];
        pose.quaternion = Quaternion{v[3], v[4], v[5], v[6]};
    } else {
        if (v.size() != 6) throw CliError("the pose needs x y z rx ry rz");
        const double k = degrees ? 1.0 / kDeg : 1.0;
        pose.x = v[0], pose.y = v[1], pose.z = v[2];
        pose.euler = Euler{static_cast<float>(v[3] * k), static_cast<float>(v[4] * k), static_cast<float>(v[5] * k)};
        is_euler = 1;
    }

    std::printf("model %s, tool pose in the work frame\n", model_name(libalgo_get_robot_type()));
    float out[8] = {};
    int32_t rc;
    if (opt.flag("all")) {
        if (is_euler) pose.quaternion = euler_to_quat(pose.euler);
        rc = list_candidates(current.data(), pose, degrees, out);
    } else {
        rc = inverse_kinematics(current.data(), &pose, out, is_euler);
    }
    if (rc != -4) {
        double q[8];
        for (int j = 0; j < dof; ++j) q[j] = out[j];
        std::printf("joints%s: %s\n", degrees ? " (deg)" : "", joints_text(q, dof, degrees).c_str());
    }
    std::printf("result %d: %s\n", rc, meaning(rc));
    return 0;
}

const Registrar reg("ik", "inverse kinematics: joint angles for a tool pose (closed form)", kUsage, run);

}  // namespace
}  // namespace tova_cli
