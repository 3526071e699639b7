// tova-kin ik: joint angles for a tool pose through the library's
// inverse_kinematics; --all lists every candidate of the six-axis closed form
// with its cost or the reason it was dropped, --wide widens the seven-axis
// search, --numerical hands the request to the numerical solver's command.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "cli.hpp"
#include "ikine/ik_six_axis_core.hpp"

namespace tova_cli {
namespace {

const std::string kUsage =
    "usage: tova-kin ik [arm options] [--current q1,...] [--all] [--wide] [--json]\n"
    "                   [--quat | --matrix] (pose numbers | -)\n"
    "       tova-kin ik --numerical [ik-numerical options] (pose numbers | -)\n\n"
    "Solves for the machine joint angles that put the tool at the given pose in the work\n"
    "frame, with the model's closed form (six axes) or seven-axis solver, choosing the\n"
    "solution nearest to the current joints (--current, default all zero). Prints the\n"
    "joints and the result code with its meaning.\n"
    "  --all        also list every candidate of a six-axis model with its cost or why it\n"
    "               was dropped (candidate bound, no elbow solution, or the modeling limit)\n"
    "  --wide       seven-axis models: search the whole redundancy range instead of a\n"
    "               narrow window around the current joints (no effect on six axes)\n"
    "  --numerical  solve with the numerical solver instead (see tova-kin ik-numerical;\n"
    "               --current becomes its seed)\n\n" +
    std::string(kTargetHelp) + "\n" + kArmHelp + kJsonHelp + "\n" +
    stream_help("pose", "q1 ... qn (with --json the whole result)",
                "Each pose starts from the previous line's solution, so a trajectory is tracked.\n"
                "A pose that does not solve is noted on standard error with its result code, its\n"
                "line repeats the joints the library returned, and the exit status is 1.\n") +
    "\nExit status: 0 solved, 1 not solved (result code printed), 2 bad input.";

const char *meaning(int32_t rc) {
    switch (rc) {
    case 0: return "success: the solution nearest to the current joints, inside all limits";
    case -1: return "no candidate inside the joint bounds (the output repeats the previous solution)";
    case -2: return "the chosen candidate lies outside a modeling joint limit";
    case -4: return "this robot type has no inverse kinematics";
    case IKINE7_INVALID_INPUT: return "invalid target (not a finite rigid transform)";
    case IKINE7_OUT_OF_REACH: return "out of reach of the arm, whatever the limits";
    case IKINE7_JOINT_LIMIT:
        return "no solution inside the modeling joint limits (in the search window; try --wide)";
    case IKINE7_SPEED_LIMIT:
        return "no solution within the joint speed limits over one control period (try --wide)";
    default: return "seven-axis solver code";
    }
}

// Candidate lines for --all, from the solver core's own observer.
struct Lister {
    static constexpr bool active = true;
    std::vector<tova::ik::CandidateReport> seen;
    void candidate(const tova::ik::CandidateReport &r) { seen.push_back(r); }
};

struct Candidate {
    int number;
    double joints[6];  // machine angles, NaN where not computed
    std::string fate;  // "chosen", "scored", "bound", "invalid"
    double cost;       // NaN unless scored
    int joint;         // rejected joint (bound) or 0
};

struct Solution {
    int32_t rc;
    float q[8];
    std::vector<Candidate> candidates;  // --all only
    int modeling_joint = 0;             // --all, rc -2: the joint outside its modeling limit
};

// Same preparation and solver as inverse_kinematics, on a local state with an
// observer that records every candidate.
Solution solve_listing(const float *current, const Pose &pose) {
    Solution sol{};
    tova::ik::SixAxisState s{};
    float q[8];
    const uint32_t type = tova::ik::prepare_entry(s, current, pose, 0, q);
    Lister lister;
    sol.rc = tova::ik::solve_six_axis(s, type, false, q, sol.q, lister);
    if (sol.rc == -4) throw CliError("--all lists the six-axis closed forms only");
    const bool vesk_scheme = type == ROBOT_VESK || type == ROBOT_PIRRA_2;
    // joint 6 is solved without its whole turns; shown with them
    const double turns = vesk_scheme ? s.Iconsult6a_0
                                     : static_cast<double>(tova::ik::whole_turns(static_cast<double>(q[5])));
    int chosen = 0;
    for (const auto &c : lister.seen)
        if (c.became_best) chosen = c.number;
    for (const auto &c : lister.seen) {
        Candidate out{c.number, {}, "", c.cost, c.joint};
        for (int j = 0; j < 6; ++j)
            out.joints[j] = c.joints[j] - s.robot_dh.offset[j] + (j == 5 ? turns * tova::ik::kTurnD : 0.0);
        if (c.fate == tova::ik::Fate::invalid) out.joints[1] = out.joints[2] = out.joints[3] = NAN;
        out.fate = c.fate == tova::ik::Fate::scored ? (c.number == chosen ? "chosen" : "scored")
                   : c.fate == tova::ik::Fate::bound ? "bound"
                                                     : "invalid";
        sol.candidates.push_back(out);
    }
    if (sol.rc == -2)
        for (int j = 0; j < 6 && !sol.modeling_joint; ++j) {
            const float o = s.robot_dh.offset[j];
            if (sol.q[j] > s.joint_max_limit[j] - o || sol.q[j] < s.joint_min_limit[j] - o)
                sol.modeling_joint = j + 1;
        }
    return sol;
}

// Restores the seven-axis search settings when the command ends.
struct WideSearch {
    uint32_t strategy = ikine_get_7dof_solver_search_strategy();
    float range = ikine_get_solution_range_quell();
    explicit WideSearch(bool on) {
        if (!on) return;
        ikine_set_7dof_solver_search_strategy(0);
        ikine_set_solution_range_quell(3.14f);
    }
    ~WideSearch() {
        ikine_set_7dof_solver_search_strategy(strategy);
        ikine_set_solution_range_quell(range);
    }
};

std::string joints_text(const double *q, int n, double scale) {
    std::string s;
    for (int j = 0; j < n; ++j) s += (j ? " " : "") + (std::isnan(q[j]) ? std::string("-") : fmt(q[j] * scale));
    return s;
}

std::string candidates_json(const Solution &sol, double scale) {
    std::string s = "[";
    for (size_t i = 0; i < sol.candidates.size(); ++i) {
        const Candidate &c = sol.candidates[i];
        float q[6];
        for (int j = 0; j < 6; ++j) q[j] = static_cast<float>(c.joints[j]);
        s += std::string(i ? ", " : "") + "{\"number\": " + std::to_string(c.number) +
             ", \"joints\": " + json_array(q, 6, scale) + ", \"fate\": \"" + c.fate + "\"";
        if (!std::isnan(c.cost)) s += ", \"cost\": " + fmt_exact(static_cast<float>(c.cost));
        if (c.fate == "bound") s += ", \"joint\": " + std::to_string(c.joint);
        s += "}";
    }
    return s + "]";
}

std::string result_json(const Solution &sol, int dof, double scale, bool all) {
    std::string s = "{\"result\": " + std::to_string(sol.rc) + ", \"meaning\": " +
                    json_string(meaning(sol.rc)) + ", \"joints\": " +
                    (sol.rc == -4 ? std::string("null") : json_array(sol.q, dof, scale));
    if (all) s += ", \"candidates\": " + candidates_json(sol, scale);
    return s + "}";
}

void print_text(const Solution &sol, int dof, bool degrees, bool all) {
    const double scale = angle_scale(degrees);
    std::printf("model %s, tool pose in the work frame\n", model_name(libalgo_get_robot_type()));
    if (all) {
        std::printf("candidates (machine angles%s; cost in squared radians):\n", degrees ? ", deg" : "");
        for (const auto &c : sol.candidates) {
            std::string why = c.fate == "chosen"   ? "cost " + fmt(c.cost) + "  <- chosen"
                              : c.fate == "scored" ? "cost " + fmt(c.cost)
                              : c.fate == "bound"  ? "rejected: joint " + std::to_string(c.joint) +
                                                        " outside its candidate bound"
                                                   : "rejected: no elbow solution (out of reach)";
            std::printf("  %d: %s   %s\n", c.number, joints_text(c.joints, 6, scale).c_str(), why.c_str());
        }
        if (sol.modeling_joint)
            std::printf("  chosen candidate rejected: joint %d outside its modeling limit\n",
                        sol.modeling_joint);
    }
    if (sol.rc != -4) {
        double q[8];
        for (int j = 0; j < dof; ++j) q[j] = sol.q[j];
        std::printf("joints%s: %s\n", degrees ? " (deg)" : "", joints_text(q, dof, scale).c_str());
    }
    std::printf("result %d: %s\n", sol.rc, meaning(sol.rc));
}

// ik --numerical: the same request for the numerical solver's command.
int run_numerical(const Args &args) {
    auto it = registry().find("ik-numerical");
    if (it == registry().end()) throw CliError("numerical IK not available in this build");
    Args forwarded;
    for (const auto &a : args) {
        if (a == "--numerical") continue;
        if (a == "--all" || a == "--wide")
            throw CliError(a + " belongs to the closed-form solvers; not with --numerical");
        if (a == "--current") forwarded.push_back("--seed");
        else if (a.rfind("--current=", 0) == 0) forwarded.push_back("--seed=" + a.substr(10));
        else forwarded.push_back(a);
    }
    return it->second.run(forwarded);
}

int run(const Args &args) {
    if (std::find(args.begin(), args.end(), "--numerical") != args.end()) return run_numerical(args);
    Options opt(args, {"degrees", "json", "all", "wide", "quat", "matrix"}, arm_options({"current"}));
    setup_arm(opt);
    const bool degrees = opt.flag("degrees"), json = opt.flag("json"), all = opt.flag("all");
    const double scale = angle_scale(degrees);
    const int dof = libalgo_get_rbt_dof();
    const PoseForm form = pose_form(opt);
    const WideSearch wide(opt.flag("wide"));

    float current[8] = {};
    if (auto c = opt.value("current")) {
        const std::vector<float> q = parse_joints({*c}, degrees);
        std::copy(q.begin(), q.end(), current);
    }
    auto solve = [&](const Target &t) {
        Solution sol{};
        if (all) return solve_listing(current, t.pose);
        sol.rc = inverse_kinematics(current, &t.pose, sol.q, t.is_euler);
        return sol;
    };

    if (opt.streaming()) {
        if (all) throw CliError("--all lists the candidates of one pose; not with '-'");
        return stream_lines(
            [&](const Args &words) {
                const Solution sol = solve(parse_target(parse_floats(words, "the pose"), form, degrees));
                if (sol.rc == 0) std::copy(sol.q, sol.q + dof, current);  // track the trajectory
                LineResult r;
                r.output = json ? result_json(sol, dof, scale, false)
                                : sol.rc == -4 ? nan_line(dof) : number_line(sol.q, dof, scale);
                if (sol.rc != 0) r.note = "result " + std::to_string(sol.rc) + ": " + meaning(sol.rc);
                return r;
            },
            nan_line(dof), json);
    }
    const Solution sol = solve(parse_target(parse_floats(opt.positional(), "the pose"), form, degrees));
    if (json)
        std::printf("%s\n", result_json(sol, dof, scale, all).c_str());
    else
        print_text(sol, dof, degrees, all);
    return sol.rc == 0 ? kExitOk : kExitUnsolved;
}

const Registrar reg("ik", "inverse kinematics: joint angles for a tool pose (closed form)", kUsage, run);

}  // namespace
}  // namespace tova_cli
